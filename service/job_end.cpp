#include "service/job_end.h"

#include <ctime>

#include "service/messages.h"

namespace zrtmon::service {

void EnterEnd(CMainLoop& loop, CStorage& storage, const CJobEnd& end, const std::function<void()>& done)
{
    storage.Post([&loop, &storage, end, done, now = std::time(nullptr)] {
        try {
            storage.Journal().Progress(end.id, end.bytes, end.cards);
            storage.Journal().End(end.id, end.outcome, end.reason, now);
            loop.Post(done);
        } catch (const CDatabaseError& error) {
            Report(Severity::Error, {{}, end.id},
                   std::string("its end cannot be entered in the journal yet: ") + error.what());
            loop.Post([&loop, &storage, end, done] {
                loop.After(kEnterEndRetryMs,
                           [&loop, &storage, end, done] { EnterEnd(loop, storage, end, done); });
            });
        }
    });
}

} // namespace zrtmon::service
