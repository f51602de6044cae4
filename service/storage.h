/// The service's database on a thread of its own.
#pragma once

#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <utility>

#include "service/database.h"
#include "service/journal.h"
#include "service/value_table.h"
#include "service/worker.h"

namespace zrtmon::service {

class CStorage {
public:
    /// Throws CDatabaseError.
    explicit CStorage(const std::filesystem::path& file) : m_database(file) {}

    CJournal& Journal() { return m_journal; }
    CValueTable& Values() { return m_values; }

    /// Carries out the work on the database's thread; what it throws is reported as a message. Any thread.
    void Post(std::function<void()> work);

    /// Carries out the work on the database's thread and returns its result, or throws what it throws. Any
    /// other thread.
    template <class Work>
    auto Run(Work work) -> decltype(work())
    {
        using Result = decltype(work());
        if constexpr (std::is_void_v<Result>) {
            RunAndWait([&] { work(); });
        } else {
            Result result{};
            RunAndWait([&] { result = work(); });
            return result;
        }
    }

private:
    void RunAndWait(const std::function<void()>& work);

    CDatabase m_database;
    CJournal m_journal{m_database};
    CValueTable m_values{m_database};
    CWorker m_worker; ///< last: what was posted runs before the database is closed
};

} // namespace zrtmon::service
