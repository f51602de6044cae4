#include "link/command_prefix.h"

namespace zrtmon {

namespace {

/// So many places are looked at together once an escape has been found: where escapes stand close to each
/// other that is faster than a memchr call for each.
constexpr uint32_t kCloseLook = 32;

/// Whether a prefix begins at one of kCloseLook places. No branch for each of them, so that the compiler can
/// look at many in one instruction.
bool IsPrefixClose(const uint8_t* data)
{
    unsigned found = 0;
    for (uint32_t place = 0; place < kCloseLook; ++place) {
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
        const uint32_t closeEnd = std::min(from + kCloseLook, end);
        if (closeEnd - from < kCloseLook || IsPrefixClose(data + from)) {
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
