/// A job as clients see it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "service/job_control.h"
#include "service/job_data.h"
#include "service/journal.h"

namespace zrtmon::service {

enum class JobState { Waiting, Printing, Held, Finishing, Completed, Cancelled, Failed, Interrupted };

/// "waiting", "printing", ...
const char* StateText(JobState state);

/// What changes while a job prints.
struct CJobStatus {
    JobState state = JobState::Waiting;
    std::string reason;
    int category = 1; ///< of the hold; 1: none
    bool wantsPassword = false;
    uint64_t bytes = 0;
    int cards = 0;

    bool operator==(const CJobStatus&) const = default;
    bool HasEnded() const { return state >= JobState::Completed; }
};

/// Main thread, except for the control and the data.
struct CJob {
    uint64_t id;
    CNewJob job;
    CJobStatus status;
    // Null once the job has ended: they hold descriptors.
    std::unique_ptr<CJobControl> control;
    std::unique_ptr<CJobData> data; ///< of the thread that prints
};

} // namespace zrtmon::service
