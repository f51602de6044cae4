#include <list>
#include <memory>

#include "host/commands/commands.h"
#include "host/passwords/password_supply.h"
#include "host/places/system_printers.h"
#include "host/printer/status_words.h"

namespace zrtmon::host {
namespace {

constexpr DWORD kStepMs = 50;
constexpr DWORD kWatchMs = 1000;

/// One of the printers whose jobs are watched.
class CWatchedPrinter {
public:
    CWatchedPrinter(std::unique_ptr<IPrinter> printer, CPasswordReader& reader, CConsole& console)
        : m_printer(std::move(printer)), m_supply(*m_printer, reader, console)
    {
    }

    IPrinter& Printer() { return *m_printer; }

    /// Whether a job waits for a password. What was published may be left over from a spooler that crashed:
    /// it counts only while a job prints.
    bool IsWaiting()
    {
        m_state = m_printer->ReadState();
        return m_state.printingJob != 0 && m_state.values.printerError == kPasswordCategory;
    }

    /// Asks for a password if a job waits for one. False if one is needed and the input has ended.
    bool Poll(const CHostEnvironment& environment)
    {
        const bool isWaiting = IsWaiting();
        if (m_state.printingJob != m_job) {
            m_job = m_state.printingJob;
            m_supply.StartOver();
        }
        return !isWaiting ||
               m_supply.Poll(m_state.values, [&] { return environment.wasInterrupted() || !IsWaiting(); });
    }

    bool WasWaiting() const { return m_state.values.printerError == kPasswordCategory; }

private:
    std::unique_ptr<IPrinter> m_printer;
    CPasswordSupply m_supply;
    CPrinterState m_state;
    uint64_t m_job = 0; ///< that the supply's entries are for
};

std::vector<std::unique_ptr<IPrinter>> OpenPrinters(const CPrinterChoice& choice,
                                                    const CHostEnvironment& environment)
{
    if (!choice.port.empty()) {
        throw CHostError(ExitStatus::Usage, "--port: only jobs of installed printers are watched; zrtctl "
                                            "print asks for its passwords itself");
    }
    std::vector<std::unique_ptr<IPrinter>> printers;
    if (choice.printer.empty()) {
        for (const CListedPrinter& listed : environment.systemPrinters->List()) {
            printers.push_back(environment.systemPrinters->Open(listed.name));
        }
    }
    if (printers.empty()) {
        printers.push_back(OpenPrinter(choice, environment)); // or says that there is none
    }
    return printers;
}

/// Waits until a printer may have changed.
void Rest(std::list<CWatchedPrinter>& printers, const CHostEnvironment& environment)
{
    for (DWORD waited = 0; waited < kWatchMs && !environment.wasInterrupted(); waited += kStepMs) {
        bool isNews = printers.front().Printer().WaitForChange(kStepMs);
        for (CWatchedPrinter& printer : printers) {
            isNews = isNews || printer.WasWaiting();
        }
        if (isNews) {
            return;
        }
    }
}

ExitStatus Supply(const CPrinterChoice& choice, CHostEnvironment& environment, CConsole& console)
{
    CPasswordReader reader(environment, console);
    std::list<CWatchedPrinter> printers;
    std::string names;
    for (std::unique_ptr<IPrinter>& printer : OpenPrinters(choice, environment)) {
        names += (names.empty() ? "" : ", ") + printer->Place();
        printers.emplace_back(std::move(printer), reader, console);
    }
    console.Message("watching " + names + " for jobs that wait for a password");
    while (!environment.wasInterrupted()) {
        for (CWatchedPrinter& printer : printers) {
            if (!printer.Poll(environment)) {
                throw CHostError(ExitStatus::NoPermission, "no more passwords on standard input");
            }
        }
        Rest(printers, environment);
    }
    return ExitStatus::Interrupted;
}

} // namespace

CCommand PasswordSupplyCommand()
{
    const auto choice = std::make_shared<CPrinterChoice>();
    return {.name = "supply",
            .help = "Watch for jobs that wait for a password, and ask for it",
            .options = WithPrinterOptions({}, *choice),
            .run = [choice](CHostEnvironment& environment,
                            CConsole& console) { return Supply(*choice, environment, console); },
            .hidesExtraArguments = true};
}

} // namespace zrtmon::host
