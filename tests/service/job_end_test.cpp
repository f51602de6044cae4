#include "service/job_end.h"

#include <gtest/gtest.h>

#include "tests/service/temporary_folder.h"

namespace zrtmon::service {
namespace {

TEST(JobEnd, IsEnteredAsSoonAsTheJournalCanBeWritten)
{
    const CTemporaryFolder folder;
    const std::filesystem::path file = folder.Path() / "test.db";
    CMainLoop loop;
    CStorage storage(file);
    const uint64_t id = storage.Run([&] {
        return std::get<uint64_t>(storage.Journal().Admit({"Cards", "Title", "owner", "lp", "u", 0}, 1));
    });
    CDatabase administrator(file);
    administrator.Execute("CREATE TRIGGER full BEFORE UPDATE OF ended ON job BEGIN"
                          " SELECT RAISE(ABORT, 'disk full'); END");
    bool isRepaired = false;
    bool isEntered = false;
    EnterEnd(loop, storage, {id, JobOutcome::Completed, "", 5, 1}, [&] {
        isEntered = true;
        loop.Stop();
    });
    loop.After(kEnterEndRetryMs / 2, [&] {
        EXPECT_FALSE(isEntered);
        administrator.Execute("DROP TRIGGER full");
        isRepaired = true;
    });
    loop.After(20 * kEnterEndRetryMs, [&] { loop.Stop(); });
    loop.Run({});
    EXPECT_TRUE(isRepaired && isEntered);
    const std::vector<CJobEntry> jobs = storage.Run([&] { return storage.Journal().Jobs(0, ""); });
    ASSERT_EQ(1u, jobs.size());
    EXPECT_EQ("completed", jobs[0].outcome);
    EXPECT_EQ(5u, jobs[0].bytes);
    EXPECT_EQ(1, jobs[0].cards);
}

} // namespace
} // namespace zrtmon::service
