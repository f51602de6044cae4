/// The ends of jobs in the journal.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "service/main_loop.h"
#include "service/storage.h"

namespace zrtmon::service {

struct CJobEnd {
    uint64_t id;
    JobOutcome outcome;
    std::string reason;
    uint64_t bytes = 0;
    int cards = 0;
};

/// So long after a try that failed.
inline constexpr DWORD kEnterEndRetryMs = 500;

/// Enters the end, now, and then calls done on the main thread. While the journal cannot be written it tries
/// again, for as long as it takes: a job without its end counts as one that prints, and is offered in vain
/// for ever. The first two are borrowed until done. Main thread.
void EnterEnd(CMainLoop& loop, CStorage& storage, const CJobEnd& end, const std::function<void()>& done);

} // namespace zrtmon::service
