#include "service/storage.h"

#include "service/messages.h"

namespace zrtmon::service {

void CStorage::Post(std::function<void()> work)
{
    m_worker.Post([work = std::move(work)] {
        try {
            work();
        } catch (const CDatabaseError& error) {
            Report(Severity::Error, {}, error.what());
        }
    });
}

void CStorage::RunAndWait(const std::function<void()>& work)
{
    const CHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::exception_ptr problem;
    m_worker.Post([&] {
        try {
            work();
        } catch (...) {
            problem = std::current_exception();
        }
        SetEvent(done.Get());
    });
    WaitForSingleObject(done.Get(), INFINITE);
    if (problem) {
        std::rethrow_exception(problem);
    }
}

} // namespace zrtmon::service
