#include "link/print_job.h"

#include <new>

namespace zrtmon {

namespace {
constexpr DWORD kRecordLevel = 1; // JOB_INFO_1W
}

const uint8_t* CPrintJob::Enumerate(DWORD count, DWORD level, DWORD* returned)
{
    *returned = 0;
    DWORD needed = 0;
    EnumJobsW(m_printer, 0, count, level, nullptr, 0, &needed, returned);
    if (needed == 0) {
        return nullptr;
    }
    if (m_buffer.size() < needed) {
        try {
            m_buffer.resize(needed);
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    const auto size = static_cast<DWORD>(m_buffer.size());
    if (!EnumJobsW(m_printer, 0, count, level, m_buffer.data(), size, &needed, returned)) {
        *returned = 0;
        return nullptr;
    }
    return m_buffer.data();
}

BOOL CPrintJob::IsFirstJobDeleted()
{
    DWORD returned = 0;
    const uint8_t* records = Enumerate(1, kRecordLevel, &returned);
    if (!records || returned == 0) {
        return FALSE;
    }
    const auto* job = reinterpret_cast<const JOB_INFO_1W*>(records);
    return (job->Status & (JOB_STATUS_DELETED | JOB_STATUS_DELETING)) != 0;
}

BOOL CPrintJob::HasQueuedJobs()
{
    DWORD returned = 0;
    return Enumerate(2, kRecordLevel, &returned) && returned == 2;
}

} // namespace zrtmon
