#pragma once

#include <cstdint>
#include <vector>

#include "platform/win32.h"

namespace zrtmon {

/// The spooler's job queue of one printer.
class CPrintJob {
public:
    /// printer is borrowed for the object's life; null: a queue that cannot be read.
    explicit CPrintJob(HANDLE printer) : m_printer(printer) {}
    virtual ~CPrintJob() = default;
    CPrintJob(const CPrintJob&) = delete;
    CPrintJob& operator=(const CPrintJob&) = delete;

    /// The first count jobs as records of that level, their number in *returned. Null if the queue is empty
    /// or the spooler refuses. Borrowed until the next call.
    const uint8_t* Enumerate(DWORD count, DWORD level, DWORD* returned);

    /// The job at the head of the queue has been deleted, or is about to be.
    BOOL IsFirstJobDeleted();
    /// At least two jobs are queued.
    BOOL HasQueuedJobs();

private:
    HANDLE m_printer;
    std::vector<uint8_t> m_buffer;
};

} // namespace zrtmon
