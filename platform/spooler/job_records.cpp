#include "platform/spooler/job_records.h"

#include <cstring>
#include <string_view>

namespace zrtmon::spooler {

namespace {

constexpr std::wstring_view kMachineName = L"\\\\LOCAL";
constexpr std::wstring_view kUserName = L"user";
constexpr std::wstring_view kDatatype = L"RAW";
constexpr DWORD kDefaultPriority = 1;

size_t TextSize(std::wstring_view text) { return (text.size() + 1) * sizeof(wchar_t); }

/// Appends terminated texts to a buffer that is large enough.
class CTextWriter {
public:
    explicit CTextWriter(LPBYTE position) : m_position(position) {}

    /// The address of the text.
    LPWSTR Append(std::wstring_view text)
    {
        LPBYTE const start = m_position;
        std::memcpy(start, text.data(), text.size() * sizeof(wchar_t));
        std::memset(start + text.size() * sizeof(wchar_t), 0, sizeof(wchar_t));
        m_position += TextSize(text);
        return reinterpret_cast<LPWSTR>(start);
    }

private:
    LPBYTE m_position;
};

JOB_INFO_1W MakeRecord(const Printer& printer, const Job& job, CTextWriter& texts)
{
    JOB_INFO_1W record = {};
    record.JobId = job.id;
    record.pPrinterName = texts.Append(printer.name);
    record.pMachineName = texts.Append(kMachineName);
    record.pUserName = texts.Append(kUserName);
    record.pDocument = texts.Append(job.document);
    record.pDatatype = texts.Append(kDatatype);
    record.Status = job.status;
    record.Priority = kDefaultPriority;
    record.Position = static_cast<DWORD>(&job - printer.jobs.data()) + 1;
    record.Submitted = job.submitted;
    return record;
}

} // namespace

size_t PackedSize(const Printer& printer, std::span<const Job> jobs)
{
    const size_t common = sizeof(JOB_INFO_1W) + TextSize(printer.name) + TextSize(kMachineName) +
                          TextSize(kUserName) + TextSize(kDatatype);
    size_t size = 0;
    for (const Job& job : jobs) {
        size += common + TextSize(job.document);
    }
    return size;
}

void PackJobs(const Printer& printer, std::span<const Job> jobs, LPBYTE buffer)
{
    CTextWriter texts(buffer + jobs.size() * sizeof(JOB_INFO_1W));
    for (const Job& job : jobs) {
        const JOB_INFO_1W record = MakeRecord(printer, job, texts);
        std::memcpy(buffer, &record, sizeof record);
        buffer += sizeof record;
    }
}

} // namespace zrtmon::spooler
