// The security function's requests: what they send and what they make of replies.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

#include "link/print_monitor_zrt.h"
#include "security/data_security_token.h"
#include "security/password.h"
#include "security/xtea.h"
#include "simulator/xtea.h"
#include "tests/support/request_steps.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CommandOf;
using test::Take;

const std::string kQuery = "\x1B\0\2NP"s;

TEST(SecurityXtea, AgreesWithPublishedVectors)
{
    constexpr XteaKey kCounting = {0x00010203, 0x04050607, 0x08090A0B, 0x0C0D0E0F};
    EXPECT_EQ((XteaBlock{0x497DF3D0, 0x72612CB5}), EncipherXtea({0x41424344, 0x45464748}, kCounting));
    EXPECT_EQ((XteaBlock{0xED23375A, 0x821A8C2D}), EncipherXtea({0x41414141, 0x41414141}, {}));
}

std::string Zeros(size_t count) { return std::string(count, '0'); }

TEST(PasswordText, GivesPaddedPasswords)
{
    struct Case {
        std::wstring text;
        std::optional<std::string> current; ///< nothing: the text is refused
        std::string next = "none";
    };
    const auto read = [](const char* field) { return std::string(field ? field : "none"); };
    for (const Case& c :
         {Case{L"Password", {}}, Case{L"/ab\u0100", {}}, Case{L"/ab/\u20AC", {}},
          Case{L"Password/", Zeros(15)}, Case{L"/abcdefghijklmno", "abcdefghijklmno"},
          Case{L"/abcdefghijklmnop", "abcdefghijklmnop"},
          Case{L"/" + std::wstring(255, L'y'), std::string(255, 'y')},
          Case{L"/" + std::wstring(300, L'y') + L"/n", std::string(255, 'y'), "n" + Zeros(14)},
          Case{L"Set/ab/cd/ef", "ab" + Zeros(13), "cd" + Zeros(13)},
          Case{L"Set/ab/", "ab" + Zeros(13), Zeros(15)}, Case{L"Set//cd", Zeros(15), "cd" + Zeros(13)},
          Case{L"/\u00E9\u00FF", "\xE9\xFF" + Zeros(13)}, Case{L"\u20AC/ab", "ab" + Zeros(13)}}) {
        SCOPED_TRACE(testing::PrintToString(c.text));
        CPassword password;
        ASSERT_TRUE(password.SetText(L"Password/before"));
        EXPECT_EQ(c.current.has_value(), password.SetText(c.text.c_str()));
        EXPECT_EQ(c.current.value_or("before" + Zeros(9)), read(password.GetCurrent()));
        EXPECT_EQ(c.next, read(password.GetNew()));
    }
}

TEST(Challenge, IsReadOrRefused)
{
    struct Case {
        const char* reply;
        std::string bytes; ///< empty: refused
    };
    for (const Case& c :
         {Case{"Corbel:aBCdef00FF1E0102", "\xAB\xCD\xEF\0\xFF\x1E\1\2"s},
          Case{"??Corbel:1122334455667788;9900", "\x11\x22\x33\x44\x55\x66\x77\x88"},
          Case{"Corbel:AABBC;", "\xAA\xBB\0\0\0\0\0\0"s}, Case{"Corbel:", std::string(8, '\0')},
          Case{"Corbel:zz1g0102;", "\0\1\1\2\0\0\0\0"s}, Case{"corbel:0102030405060708;", ""},
          Case{"", ""}}) {
        SCOPED_TRACE(c.reply);
        CDataSecurityToken token;
        ASSERT_EQ(!c.bytes.empty(), Take(token, c.reply) != FALSE);
        if (!c.bytes.empty()) {
            uint8_t bytes[10];
            ASSERT_EQ(10u, token.GetChallenge(bytes, 10));
            EXPECT_EQ(c.bytes + "\0\0"s, std::string(bytes, bytes + 10));
        }
    }
}

/// What the printer expects for the challenge 01 02 .. 08, by its own cipher.
std::string Response(const std::string& password)
{
    sim::CipherKey key;
    key.fill('0');
    std::copy_n(password.begin(), std::min(password.size(), key.size()), key.begin());
    const sim::CipherBlock block = sim::Encipher({1, 2, 3, 4, 5, 6, 7, 8}, key);
    return {block.begin(), block.end()};
}

const std::string kPresent = "\x1B\0\2"s + "4";
const std::string kChange = "\x1B\0\2"s + "5";
const std::string kAbc = Response("abc");
const std::string kXyzField = "xyz" + Zeros(12) + "\0"s;

TEST(PasswordCommands, AnswerTheChallengeOrAreRefused)
{
    struct Case {
        const wchar_t* text;
        std::string command; ///< after the security query; empty: the text is refused
    };
    for (const Case& c :
         {Case{L"Password/abc", kPresent + kAbc},
          {L"password/", kPresent + Response("")},
          {L"Password/abcdefghijklmnop", kPresent + Response("abcdefghijklmnop")},
          {L"DisablePassword/abc", kChange + kAbc + "\xFD"},
          {L"EnablePassword/abc", kChange + kAbc + "\x73"},
          {L"SetAdminPassword/abc/xyz", kChange + kAbc + "\1" + kXyzField},
          {L"SetUserPassword/abc/xyz", kChange + kAbc + "\0"s + kXyzField},
          {L"SetUserPassword/abc", kChange + kAbc + "\0"s + Zeros(16)},
          {L"SetAdminPassword/abc/ABCDEFGHIJKLMNO", kChange + kAbc + "\1" + "ABCDEFGHIJKLMNO\0"s},
          {L"SetAdminPassword/abc/ABCDEFGHIJKLMNOP", ""},
          {L"Password", ""},
          {L"DisablePassword", ""},
          {L"SetUserPassword/a/\u20AC", ""}}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
        CPrintMonitorZRT model;
        CData* token = model.GetRequestByName(c.text);
        ASSERT_EQ(c.command.empty(), token == nullptr);
        EXPECT_FALSE(model.GetRequestByName(L"SetAdminPassword/other/ABCDEFGHIJKLMNOP"))
            << "and changes nothing";
        for (int run = 0; token && run < 2; ++run) {
            ASSERT_TRUE(Take(*token, "Corbel:0102030405060708;"));
            CData& command = *token->GetNext();
            EXPECT_EQ(kQuery + c.command, CommandOf(command));
            command.SetSentLength(34);
            EXPECT_TRUE(Take(command, "anything"));
            EXPECT_EQ(0u, token->GetTextLength() + command.GetTextLength())
                << "the challenge is not an answer";
        }
    }
}

TEST(OemSupplies, CarriesEightCharactersOfTheSerialNumber)
{
    struct Case {
        const char* deviceId;
        std::string serial;
    };
    for (const Case& c : {Case{"MFG:X;SN:AB123456789;", "AB123456"}, Case{"SN:12345678;", "12345678"},
                          Case{"SN:AB1;", "AB1\0\0\0\0\0"s}, Case{"SN:;", std::string(8, '\0')}}) {
        SCOPED_TRACE(c.deviceId);
        CPrintMonitorZRT model;
        CData* serial = model.GetRequestByName(L"EnableOemSupplies");
        ASSERT_TRUE(serial);
        EXPECT_EQ(CData::kReceiveDeviceId, serial->GetReceiveMethod());
        ASSERT_TRUE(Take(*serial, c.deviceId));
        CData& enable = *serial->GetNext();
        const std::string block = "\x1B\0\2TU"s + c.serial + "S\1T";
        EXPECT_EQ(block + kQuery, CommandOf(enable));
        EXPECT_EQ(block + kQuery, CommandOf(enable)) << "built anew";
        EXPECT_FALSE(Take(enable, "no state"));
        EXPECT_TRUE(Take(enable, "Plinth:VALID,ENABLED,DISABLED,"));
        EXPECT_EQ(0u, serial->GetTextLength() + enable.GetTextLength());
    }
}

} // namespace
} // namespace zrtmon
