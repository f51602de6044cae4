// What a WritePort costs once a job is on its way: no allocation, no copy.
#include <gtest/gtest.h>

#include "platform/faults.h"
#include "simulator/job_builder.h"
#include "tests/support/spooler_bench.h"

namespace zrtmon {
namespace {

/// Takes everything and looks where it lies.
class WatchingPort : public test::ScriptedPort {
public:
    BOOL WritePort(LPBYTE data, DWORD size, LPDWORD written) override
    {
        *written = size;
        const bool inside = data >= begin && data + size <= end;
        (inside ? bytesInPlace : bytesElsewhere) += size;
        return TRUE;
    }
    BOOL ReadPort(LPBYTE, DWORD, LPDWORD) override { return FALSE; }

    const uint8_t* begin = nullptr;
    const uint8_t* end = nullptr;
    uint64_t bytesInPlace = 0;
    uint64_t bytesElsewhere = 0;
};

template <typename Body>
uint64_t AllocationsOf(Body&& body)
{
    const FaultPlan plan(FaultPoint::Allocation, ~uint64_t{0});
    body();
    return plan.Calls();
}

TEST(SteadyState, AWriteOf64KiBNeitherAllocatesNorCopies)
{
    const sim::Job job = sim::BuildJob({.recordsPerSide = 2000});
    constexpr DWORD kPiece = 64 * 1024;
    ASSERT_GT(job.bytes.size(), 10 * kPiece);

    WatchingPort lower;
    test::SpoolerBench bench;
    ASSERT_TRUE(bench.OpenAbove(lower));
    ASSERT_TRUE(bench.StartDocument());
    lower.begin = job.bytes.data();
    lower.end = lower.begin + job.bytes.size();
    size_t offset = 0;
    const auto writeUpTo = [&](size_t end) {
        while (offset < end) {
            DWORD written = 0;
            bench.table->pfnWritePort(bench.port, const_cast<LPBYTE>(job.bytes.data() + offset), kPiece,
                                      &written);
            offset += written;
        }
    };
    writeUpTo(kPiece); // makes what lasts
    EXPECT_EQ(0u, AllocationsOf([&] { writeUpTo(9 * kPiece); }));
    EXPECT_EQ(1u, AllocationsOf([] { ::operator delete(::operator new(1)); })) << "the count counts nothing";
    EXPECT_GE(lower.bytesInPlace, 8 * kPiece);
    EXPECT_EQ(0u, lower.bytesElsewhere);
    EXPECT_TRUE(bench.Close());
}

} // namespace
} // namespace zrtmon
