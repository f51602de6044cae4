#include "tests/service/client/scripted_service.h"

#include <algorithm>
#include <unistd.h>

#include "platform/faults.h"
#include "platform/print_system.h"
#include "service/client/service_printers.h"

namespace zrtmon::test {
namespace {

constexpr DWORD kStepMs = 10;
constexpr char kJobObject[] = "/org/zrtmon/jobs/7";

class CScriptedJob final : public client::IRemoteJob {
public:
    explicit CScriptedJob(CScriptedService& service) : m_service(service) {}

    client::CJobStatus Status() override
    {
        m_service.Advance();
        m_service.ThrowIfLost();
        return m_service.job;
    }
    void Cancel() override
    {
        m_service.Note("Cancel");
        m_service.job.state = "cancelled";
    }
    void SupplyPassword(std::string_view password) override
    {
        const CFaultExemption own; // a copy that is the script's
        m_service.Note("SupplyPassword", std::string(password));
        m_service.job.wantsPassword = false;
    }

private:
    CScriptedService& m_service;
};

class CScriptedPrinter final : public client::IRemotePrinter {
public:
    explicit CScriptedPrinter(CScriptedService& service) : m_service(service) {}

    client::CPrinterStatus Status() override
    {
        m_service.Advance();
        m_service.ThrowIfLost();
        return m_service.printer;
    }
    std::string Query(const std::string& text) override { return Ask("Query", text); }
    std::string Perform(const std::string& text) override { return Ask("Perform", text); }
    std::unique_ptr<client::IRemoteJob> Print(int descriptor, const std::string& title) override
    {
        m_service.Note("Print", title);
        char bytes[4096];
        for (ssize_t count = 0; (count = read(descriptor, bytes, sizeof bytes)) > 0;) {
            m_service.printed.append(bytes, static_cast<size_t>(count));
        }
        return std::make_unique<CScriptedJob>(m_service);
    }
    std::unique_ptr<client::IRemoteJob> FollowJob(const std::string& object) override
    {
        EXPECT_EQ(kJobObject, object);
        return std::make_unique<CScriptedJob>(m_service);
    }
    CStoredValue ReadStored(const std::string& name) override
    {
        m_service.Note("ReadStored", name);
        client::ThrowBusError("org.zrtmon.Error.NoSuchName", name + ": no such stored value");
    }
    void WriteStored(const std::string& name, DWORD, std::span<const char>) override
    {
        m_service.Note("WriteStored", name);
    }
    void RemoveStored(const std::string& name) override { m_service.Note("RemoveStored", name); }

private:
    std::string Ask(const std::string& method, const std::string& text)
    {
        m_service.Note(method, text);
        return m_service.answers[text];
    }

    CScriptedService& m_service;
};

} // namespace

void CScriptedService::At(DWORD milliseconds, std::function<void()> change)
{
    m_due.push_back({milliseconds, std::move(change)});
}

size_t CScriptedService::Count(const std::string& method) const
{
    return static_cast<size_t>(
        std::ranges::count_if(calls, [&](const std::string& call) { return call.starts_with(method); }));
}

void CScriptedService::LoseWith(client::CServiceLost::Cause cause, const std::string& message)
{
    m_loss.emplace(cause, message);
}

void CScriptedService::Note(const std::string& method, const std::string& arguments)
{
    const CFaultExemption own; // the script's copies of a password are not the command line's
    calls.push_back(method + ' ' + arguments);
    const auto refusal = refusals.find(method);
    if (refusal != refusals.end()) {
        const std::string& name = refusal->second.first;
        client::ThrowBusError(name.starts_with("org.") ? name : "org.zrtmon.Error." + name,
                              refusal->second.second);
    }
}

void CScriptedService::Advance()
{
    while (!m_due.empty() && GetTickCount() - m_start >= m_due.front().at) {
        m_due.front().change();
        m_due.pop_front();
        ++m_changes;
    }
}

void CScriptedService::ThrowIfLost() const
{
    if (m_loss) {
        throw client::CServiceLost(*m_loss);
    }
}

std::vector<client::IPrintService::CPrinterName> CScriptedService::Printers()
{
    return {{"Cards", "/org/zrtmon/printers/Cards"}};
}

std::unique_ptr<client::IRemotePrinter> CScriptedService::FollowPrinter(const std::string&)
{
    return std::make_unique<CScriptedPrinter>(*this);
}

std::vector<host::CListedJob> CScriptedService::Jobs(int64_t since)
{
    Note("GetJobs", std::to_string(since));
    return journal;
}

bool CScriptedService::WaitForChange(uint64_t* seen, DWORD milliseconds)
{
    for (DWORD waited = 0; m_changes == *seen && waited < milliseconds; waited += kStepMs) {
        Sleep(kStepMs);
        Advance();
    }
    return std::exchange(*seen, m_changes) != m_changes;
}

CServiceFixture::CServiceFixture()
{
    port.clear();
    printSystem = &MachinePrintSystem();
    systemPrinters = [this](const host::CHostEnvironment&) {
        return std::make_unique<client::CServicePrinters>([this] { return service; });
    };
}

} // namespace zrtmon::test
