// Finding the next command in job data.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "link/command_prefix.h"

namespace zrtmon {
namespace {

TEST(FindPrefix, AnswersWhatASearchPlaceByPlaceDoes)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    constexpr uint8_t kAlphabet[] = {0x1B, 0x00, 0x02, 'C'}; // prefixes and near misses are frequent
    for (int round = 0; round < 20000; ++round) {
        std::vector<uint8_t> data(3 + random() % 150);
        const auto letters = 1 + random() % std::size(kAlphabet);
        std::generate(data.begin(), data.end(), [&] { return kAlphabet[random() % letters]; });
        const auto end = static_cast<uint32_t>(data.size() - 2); // the last places have no room for a prefix
        const auto from = static_cast<uint32_t>(random() % (end + 1));
        const auto found =
            std::search(data.begin() + from, data.end(), CommandPrefix.begin(), CommandPrefix.end());
        const auto expected = std::min(static_cast<uint32_t>(found - data.begin()), end);
        ASSERT_EQ(expected, FindPrefix(data.data(), from, end))
            << "from " << from << " in " << testing::PrintToString(data);
    }
}

} // namespace
} // namespace zrtmon
