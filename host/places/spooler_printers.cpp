#include "host/places/spooler_printers.h"

#include "host/commands/installation.h"
#include "host/places/queue_printer.h"
#include "host/printer/status_words.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

bool UsesMonitor(const CQueueEntry& entry)
{
    return EqualsIgnoringCase(Utf8FromWide(entry.monitor), kMonitorName);
}

/// Those of the spooler; throws CHostError if it has none to tell.
std::vector<CQueueEntry> Queues(ISystemSpooler& spooler)
{
    std::vector<CQueueEntry> queues;
    const DWORD error = spooler.ListQueues(&queues);
    if (error != ERROR_SUCCESS && error != ERROR_NOT_SUPPORTED) {
        throw CHostError(SpoolerErrorStatus(error),
                         "the printers cannot be listed: " + SpoolerErrorWords(error));
    }
    return queues;
}

std::string StateWords(const CQueueEntry& entry)
{
    std::string words = QueueWords(entry);
    if (!words.empty()) {
        return words;
    }
    return (entry.status & PRINTER_STATUS_PRINTING) != 0 ? "printing" : "ready";
}

/// Leaves them out of a printer that has just been removed.
void ReadErrors(ISpoolerQueue& queue, CListedPrinter* printer)
try {
    const CPublishedValues values = PublishedTo(queue, printer->name);
    printer->printerError = values.printerError;
    printer->deviceError = values.deviceError;
} catch (const CHostError&) {
}

} // namespace

std::vector<CListedPrinter> CSpoolerPrinters::List()
{
    std::vector<CListedPrinter> printers;
    for (const CQueueEntry& entry : Queues(m_spooler)) {
        if (!UsesMonitor(entry)) {
            continue;
        }
        CListedPrinter printer{Utf8FromWide(entry.name), Utf8FromWide(entry.port), StateWords(entry), {}, {}};
        std::unique_ptr<ISpoolerQueue> queue;
        if (m_spooler.Open(entry.name, PRINTER_ACCESS_USE, &queue) == ERROR_SUCCESS) {
            ReadErrors(*queue, &printer);
        }
        printers.push_back(std::move(printer));
    }
    return printers;
}

std::unique_ptr<IPrinter> CSpoolerPrinters::Open(const std::string& name)
{
    std::unique_ptr<ISpoolerQueue> queue;
    DWORD error = m_spooler.Open(WideFromUtf8(name), PRINTER_ACCESS_USE, &queue);
    CQueueEntry entry;
    if (error == ERROR_SUCCESS) {
        error = queue->Info(&entry);
    }
    if (error == ERROR_INVALID_PRINTER_NAME || error == ERROR_NOT_SUPPORTED) {
        throw CHostError(ExitStatus::NoDevice, NoSuchPrinter(name));
    }
    if (error == ERROR_ACCESS_DENIED) {
        throw CHostError(ExitStatus::NoPermission,
                         PrintableInput(name) + ": access denied: the right to print on it is missing");
    }
    if (error != ERROR_SUCCESS) {
        throw CHostError(SpoolerErrorStatus(error), PrintableInput(name) + ": " + SpoolerErrorWords(error));
    }
    if (!entry.monitor.empty() && !UsesMonitor(entry)) {
        throw CHostError(ExitStatus::NoDevice, PrintableInput(name) + ": its driver names another monitor (" +
                                                   Printable(Utf8FromWide(entry.monitor)) +
                                                   "); zrtctl printers lists the printers that use this one");
    }
    return std::make_unique<CQueuePrinter>(Utf8FromWide(entry.name), std::move(queue), m_spooler,
                                           m_environment);
}

std::vector<CListedJob> CSpoolerPrinters::Jobs(int64_t)
{
    throw CHostError(ExitStatus::Usage,
                     "this system's print system keeps no journal of jobs; see the printer's queue");
}

std::string CSpoolerPrinters::NoSuchPrinter(const std::string& name)
{
    std::vector<std::string> names;
    for (const CQueueEntry& entry : Queues(m_spooler)) {
        names.push_back(Utf8FromWide(entry.name));
    }
    return NoSuchPrinterText(name, names);
}

} // namespace zrtmon::host
