// What a WritePort costs once a job is on its way: no allocation, no copy.
#include <gtest/gtest.h>

#include "platform/faults.h"
#include "simulator/job_builder.h"
#include "tests/support/spooler_bench.h"

namespace zrtmon {
namespace {

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

    test::OpenBench bench;
    ASSERT_TRUE(bench.StartDocument());
    uint64_t bytesInPlace = 0;
    uint64_t bytesElsewhere = 0;
    bench.lower.limitWrite = [&](const uint8_t* data, DWORD size) {
        const bool inside = data >= job.bytes.data() && data + size <= job.bytes.data() + job.bytes.size();
        (inside ? bytesInPlace : bytesElsewhere) += size;
        return size;
    };
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
    EXPECT_GE(bytesInPlace, 8 * kPiece);
    EXPECT_EQ(0u, bytesElsewhere);
}

} // namespace
} // namespace zrtmon
