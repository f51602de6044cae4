#pragma once

#include <gtest/gtest.h>

#include <string>

#include "requests/data.h"

namespace zrtmon::test {

/// The bytes that the request sends; empty if it sends nothing.
inline std::string CommandOf(CData& request)
{
    uint32_t length = 4711;
    const uint8_t* bytes = request.GetCommand(&length);
    EXPECT_TRUE(!bytes || length > 0);
    return bytes ? std::string(bytes, bytes + length) : std::string();
}

/// Passes a reply to the request, as the transport does.
inline BOOL Take(CData& request, const std::string& reply)
{
    return request.ProcessReply(reply.c_str(), static_cast<uint32_t>(reply.size()));
}

} // namespace zrtmon::test
