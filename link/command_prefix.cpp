#include "link/command_prefix.h"

namespace zrtmon {

namespace {

/// The number of positions that are compared together once an escape has been found: where escapes are close
/// to each other, that is faster than one memchr call for each.
constexpr uint32_t kBlockSize = 32;

/// Whether a prefix begins at one of kBlockSize positions. Has no branch for each of them, so that the
/// compiler can compare many in one instruction.
bool BlockHasPrefix(const uint8_t* data)
{
    unsigned found = 0;
    for (uint32_t place = 0; place < kBlockSize; ++place) {
        found |= static_cast<unsigned>(data[place] == CommandPrefix[0]) &
                 static_cast<unsigned>(data[place + 1] == CommandPrefix[1]) &
                 static_cast<unsigned>(data[place + 2] == CommandPrefix[2]);
    }
    return found != 0;
}

} // namespace

uint32_t FindPrefix(const uint8_t* data, uint32_t from, uint32_t end)
{
    while (const void* escape = std::memchr(data + from, CommandPrefix[0], end - from)) {
        from = static_cast<uint32_t>(static_cast<const uint8_t*>(escape) - data);
        const uint32_t closeEnd = end - from < kBlockSize ? end : from + kBlockSize;
        if (closeEnd - from < kBlockSize || BlockHasPrefix(data + from)) {
            for (; from < closeEnd; ++from) {
                if (OpensWithPrefix(data + from)) {
                    return from;
                }
            }
        }
        from = closeEnd;
    }
    return end;
}

} // namespace zrtmon
