#include "tests/support/allocation.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/faults.h"
#include "platform/wipe.h"

namespace zrtmon::test {
namespace {

/// Frees a block that holds the text, wiped or not.
template <typename Text>
void FreeBlock(const Text& text, bool isWiped)
{
    auto block = std::make_unique<Text>(text);
    if (isWiped) {
        Wipe(block->data(), block->size());
    }
}

TEST(SecretWatch, CountsTheBlocksThatAreFreedUnwiped)
{
    constexpr std::string_view kSecret = "open sesame"; // short: the string is inside its object
    const CSecretWatch watch(kSecret);
    FreeBlock(std::string(kSecret), false);
    FreeBlock("..." + std::string(100, '.') + std::string(kSecret), false);
    EXPECT_LE(2u, watch.UnwipedBlocks());
    const uint64_t narrow = watch.UnwipedBlocks();
    FreeBlock(std::wstring(kSecret.begin(), kSecret.end()), false);
    EXPECT_LT(narrow, watch.UnwipedBlocks());
    const uint64_t all = watch.UnwipedBlocks();
    FreeBlock(std::string(kSecret), true);
    FreeBlock(std::string(kSecret.substr(1)), false);
    const CFaultExemption outside;
    FreeBlock(std::string(kSecret), false);
    EXPECT_EQ(all, watch.UnwipedBlocks());
}

TEST(FaultPoints, IncludeGlobalAlloc)
{
    const CFaultPlan plan(FaultPoint::Allocation, 0);
    EXPECT_EQ(nullptr, GlobalAlloc(GPTR, 1));
    EXPECT_TRUE(plan.Fired());
}

} // namespace
} // namespace zrtmon::test
