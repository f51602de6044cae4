#include "link/print_monitor.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "queries/data_status.h"
#include "requests/data.h"
#include "requests/data_print_job.h"

namespace zrtmon {

namespace {
constexpr int kNameCapacity = 256;
constexpr wchar_t kParameterSeparator = L'/';
} // namespace

CPrintMonitor::CPrintMonitor() = default;

CPrintMonitor::~CPrintMonitor()
{
    while (!m_requests.empty()) {
        // In code order, which the map's own destructor does not promise.
        m_requests.erase(m_requests.begin());
    }
}

void CPrintMonitor::OnStatusRefreshed(PortRecord* /*port*/) {}

BOOL CPrintMonitor::CanInterleave()
{
    CDataPrintJob* job = FindPrintJob();
    return !job || job->IsPacketDone();
}

BOOL CPrintMonitor::IsJobAtCheckpoint()
{
    CDataPrintJob* job = FindPrintJob();
    return job && job->IsJobEnd() && job->HasPending();
}

CData* CPrintMonitor::GetRequest(RequestCode code)
{
    const CSectionHold hold(m_registryLock);
    return Find(code);
}

CData* CPrintMonitor::GetRequestByName(const wchar_t* valueName)
{
    const RequestCode code = GetRequestCode(valueName);
    if (code == UnknownRequest) {
        return nullptr;
    }
    CData* request = GetRequest(code);
    return request && request->Prepare(valueName) ? request : nullptr;
}

CPrinterData* CPrintMonitor::GetTransport() { return nullptr; }

CDataStatus* CPrintMonitor::GetStatusRequest() { return dynamic_cast<CDataStatus*>(GetRequest(Status)); }

CDataPrintJob* CPrintMonitor::FeedJobData(const uint8_t* data, DWORD size)
{
    if (!FindPrintJob() && !GetRequest(PrintJob)) {
        return nullptr;
    }
    CDataPrintJob* job = FindPrintJob();
    return job && job->ProcessReply(reinterpret_cast<const char*>(data), size) ? job : nullptr;
}

BOOL CPrintMonitor::ResetJob()
{
    CData* job = GetRequest(PrintJob);
    return !job || job->Prepare(nullptr);
}

BOOL CPrintMonitor::OverlapsJobs() { return FALSE; }

RequestCode CPrintMonitor::GetRequestCode(const wchar_t* valueName)
{
    wchar_t name[kNameCapacity];
    if (!lstrcpynW(name, valueName, kNameCapacity)) {
        return UnknownRequest;
    }
    *std::find(std::begin(name), std::find(std::begin(name), std::end(name) - 1, L'\0'),
               kParameterSeparator) = L'\0';
    const auto found =
        std::find_if(RequestNameTable.rbegin(), RequestNameTable.rend(),
                     [&name](const RequestName& row) { return lstrcmpiW(name, row.valueName) == 0; });
    return found != RequestNameTable.rend() ? found->code : UnknownRequest;
}

std::unique_ptr<CData> CPrintMonitor::CreateRequest(RequestCode /*code*/) const { return nullptr; }

bool CPrintMonitor::AcceptsRequest(const wchar_t* valueName)
{
    try {
        const std::unique_ptr<CData> request = CreateRequest(GetRequestCode(valueName));
        return request && request->Prepare(valueName);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool CPrintMonitor::SentJobDataEndsAtBoundary() const
{
    const CDataPrintJob* job = FindPrintJob();
    return !job || job->SentDataEndsAtBoundary();
}

CData* CPrintMonitor::Find(RequestCode code)
{
    const auto found = m_requests.find(code);
    return found != m_requests.end() ? found->second.get() : nullptr;
}

CData* CPrintMonitor::FindOrCreate(RequestCode code)
{
    const CSectionHold hold(m_registryLock);
    if (CData* registered = Find(code)) {
        return registered;
    }
    try {
        std::unique_ptr<CData> created = CreateRequest(code);
        if (!created) {
            return nullptr;
        }
        CData* request = m_requests.emplace(code, std::move(created)).first->second.get();
        if (code == PrintJob) {
            m_printJob = dynamic_cast<CDataPrintJob*>(request);
        }
        return request;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

} // namespace zrtmon
