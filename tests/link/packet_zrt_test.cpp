#include "link/packet_zrt.h"

#include <gtest/gtest.h>

#include "tests/support/case_name.h"

namespace zrtmon {
namespace {

struct HeaderCase {
    const char* name;
    std::vector<uint8_t> bytes;
    BOOL result;
    uint32_t consumed;      ///< beginning at 5
    uint32_t payloadLength; ///< beginning at 77
};
class PacketHeader : public testing::TestWithParam<HeaderCase> {};

TEST_P(PacketHeader, IsTakenRefusedOrAwaited)
{
    CPacketZRT packet;
    packet.m_payloadLength = 77;
    uint32_t consumed = 5;
    const auto& bytes = GetParam().bytes;
    EXPECT_EQ(GetParam().result,
              packet.ParseHeader(bytes.data(), static_cast<uint32_t>(bytes.size()), &consumed));
    EXPECT_EQ(GetParam().consumed, consumed);
    EXPECT_EQ(GetParam().payloadLength, packet.m_payloadLength);
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, PacketHeader,
    testing::Values(HeaderCase{"Nothing", {}, TRUE, 5, 77},
                    HeaderCase{"OneByteRefutable", {0x41}, TRUE, 5, 77},
                    HeaderCase{"OneByte", {0x1B}, TRUE, 5, 77},
                    HeaderCase{"Other", {0x1B, 0x00}, FALSE, 5, 77},
                    HeaderCase{"OtherFirst", {0x00, 0x5F, 0, 0, 0, 0, 0, 0}, FALSE, 5, 77},
                    HeaderCase{"Short", {0x1B, 0x5F, 0, 0, 0, 0, 1}, TRUE, 5, 77},
                    HeaderCase{"BigEndian", {0x1B, 0x5F, 0xAA, 0xBB, 0, 0, 1, 0}, TRUE, 13, 256},
                    HeaderCase{"Longest", {0x1B, 0x5F, 0, 0, 0xFF, 0xFE, 0xFD, 0xFC}, TRUE, 13, 0xFFFEFDFC},
                    HeaderCase{"Empty", {0x1B, 0x5F, 0, 0, 0, 0, 0, 0, 0x1B}, TRUE, 13, 0}),
    test::CaseName{});

} // namespace
} // namespace zrtmon
