/// The queue's jobs in the form in which EnumJobsW gives them.
#pragma once

#include <cstddef>
#include <span>

#include "platform/spooler/printer_store.h"
#include "platform/win32.h"

namespace zrtmon::spooler {

/// Bytes that PackJobs writes.
size_t PackedSize(const Printer& printer, std::span<const Job> jobs);

/// Writes one record for each job and the texts after the last record. buffer holds PackedSize bytes and is
/// aligned for a record; the records' pointers point into it.
void PackJobs(const Printer& printer, std::span<const Job> jobs, LPBYTE buffer);

} // namespace zrtmon::spooler
