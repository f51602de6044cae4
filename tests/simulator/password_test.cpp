#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/xtea.h"
#include "tests/simulator/printer_bench.h"

namespace zrtmon::sim {
namespace {

template <size_t N>
std::array<uint8_t, N> Unhex(std::string_view text)
{
    std::array<uint8_t, N> bytes{};
    for (size_t i = 0; i < N; ++i) {
        bytes[i] = static_cast<uint8_t>(std::stoul(std::string(text.substr(2 * i, 2)), nullptr, 16));
    }
    return bytes;
}

/// The published vectors read their words most significant byte first, the printer least significant first.
template <size_t N>
std::array<uint8_t, N> WordsTurned(std::array<uint8_t, N> bytes)
{
    for (size_t i = 0; i < N; i += 4) {
        std::reverse(bytes.begin() + i, bytes.begin() + i + 4);
    }
    return bytes;
}

TEST(Xtea, AgreesWithPublishedVectors)
{
    struct Vector {
        const char* key;
        const char* plain;
        const char* cipher;
    };
    const Vector kVectors[] = {
        {"000102030405060708090a0b0c0d0e0f", "4142434445464748", "497df3d072612cb5"},
        {"000102030405060708090a0b0c0d0e0f", "4141414141414141", "e78f2d13744341d8"},
        {"000102030405060708090a0b0c0d0e0f", "5a5b6e278948d77f", "4141414141414141"},
        {"00000000000000000000000000000000", "4142434445464748", "a0390589f8b8efa5"},
        {"00000000000000000000000000000000", "4141414141414141", "ed23375a821a8c2d"},
        {"00000000000000000000000000000000", "70e1225d6e4e7655", "4141414141414141"},
    };
    for (const Vector& vector : kVectors) {
        const CipherKey key = WordsTurned(Unhex<16>(vector.key));
        const CipherBlock plain = WordsTurned(Unhex<8>(vector.plain));
        const CipherBlock cipher = WordsTurned(Unhex<8>(vector.cipher));
        EXPECT_EQ(cipher, Encipher(plain, key)) << vector.cipher;
        EXPECT_EQ(plain, Decipher(cipher, key)) << vector.cipher;
    }
}

/// A host that knows a password.
struct PasswordBench : PrinterBench {
    using PrinterBench::PrinterBench;

    std::string Challenge()
    {
        const std::string reply = Ask("NT");
        EXPECT_EQ("Corbel:", reply.substr(0, 7));
        EXPECT_EQ(";", reply.substr(23));
        return reply.substr(7, 16);
    }
    static std::string Answer(const std::string& challenge, const std::string& password)
    {
        CipherKey key;
        key.fill('0');
        std::copy_n(password.begin(), std::min<size_t>(password.size(), 16), key.begin());
        const CipherBlock response = Encipher(Unhex<8>(challenge), key);
        return {response.begin(), response.end()};
    }
    void Present(const std::string& password) { Send(Command("4" + Answer(Challenge(), password))); }
    void Change(const std::string& password, char mode, const std::string& newPassword = {})
    {
        Send(Command("5" + Answer(Challenge(), password) + mode + newPassword));
    }
    /// The field of a new password: its text filled with '0' to 15 bytes, and a NUL.
    static std::string Field(std::string text)
    {
        text.resize(15, '0');
        return text + '\0';
    }
    void PrintCard() { Send(Packet(CardPayload()) + Packet(Command("XZ"))); }
};

constexpr char kEnable = '\x73';
constexpr char kDisable = '\xFD';
constexpr char kSetAdmin = '\x01';
constexpr char kSetUser = '\x00';
constexpr const char* kOff = "Plinth:PLINTH=VALID,CORBEL=DISABLED,PASSWORD=DISABLED,";
constexpr const char* kLocked = "Plinth:PLINTH=INVALID,CORBEL=DISABLED,PASSWORD=ENABLED,";
constexpr const char* kValidated = "Plinth:PLINTH=VALID,CORBEL=DISABLED,PASSWORD=ENABLED,";

TEST(PrinterPasswords, ProtectionGoesOnAndOffWithTheAdministratorsPasswordOnly)
{
    PasswordBench bench("admin-password=boss,user-password=clerk");
    EXPECT_EQ(kOff, bench.Ask("NP"));
    bench.Change("clerk", kEnable);
    bench.Change("", kEnable);
    EXPECT_EQ(kOff, bench.Ask("NP"));
    bench.Change("boss", kEnable);
    EXPECT_EQ(kLocked, bench.Ask("NP"));
    bench.Change("clerk", kDisable);
    EXPECT_EQ(kLocked, bench.Ask("NP"));
    bench.Change("boss", kDisable);
    EXPECT_EQ(kOff, bench.Ask("NP"));
    EXPECT_EQ(2u, bench.printer.View().passwordsAccepted);
    EXPECT_EQ(3u, bench.printer.View().passwordsRefused);
}

TEST(PrinterPasswords, NewOnesReplaceTheOldOnes)
{
    PasswordBench bench("protected=1");
    bench.Change("", kSetAdmin, PasswordBench::Field("boss"));
    bench.Change("boss", kSetUser, PasswordBench::Field("clerk"));
    bench.Change("clerk", kSetAdmin, PasswordBench::Field("mine"));
    bench.Change("clerk", kSetUser, "sixteen bytes!!!");
    EXPECT_EQ(1u, bench.printer.View().passwordsRefused) << "the user may not change the administrator's";
    for (const auto& [password, good] : {std::pair{"boss", true},
                                         {"sixteen bytes!!!", true},
                                         {"mine", false},
                                         {"clerk", false},
                                         {"", false}}) {
        bench.Present(password);
        EXPECT_EQ(good ? kValidated : kLocked, bench.Ask("NP")) << password;
    }
}

TEST(PrinterPasswords, AChallengeIsFreshAndAnsweredOnce)
{
    std::string first;
    {
        PasswordBench bench("protected=1,admin-password=boss");
        first = bench.Challenge();
        EXPECT_NE(first, bench.Challenge());
        bench.Send(Command("4" + PasswordBench::Answer(first, "boss")));
        EXPECT_EQ(kLocked, bench.Ask("NP")) << "the challenge before the last";
        const std::string answer = Command("4" + PasswordBench::Answer(bench.Challenge(), "boss"));
        bench.Send(answer);
        EXPECT_EQ(kValidated, bench.Ask("NP"));
        bench.Send(answer);
        EXPECT_EQ(kLocked, bench.Ask("NP")) << "the same answer again";
    }
    EXPECT_EQ(first, PasswordBench("protected=1").Challenge());
    EXPECT_NE(first, PasswordBench("protected=1,seed=2").Challenge());
}

TEST(PrinterPasswords, CardsWaitForOneAndItIsGoodForOneJob)
{
    PasswordBench bench("protected=1,admin-password=boss,card-ms=100");
    bench.Send(Packet(CardPayload()));
    Sleep(1000);
    EXPECT_EQ(1u, bench.printer.View().cardsHeld);
    EXPECT_EQ("PASSWORD REQUIRED", bench.printer.View().displayLines[0]);
    bench.Present("wrong");
    EXPECT_EQ(1u, bench.printer.View().cardsHeld);
    bench.Present("boss");
    bench.Send(Packet(Command("XZ")));
    Sleep(100);
    EXPECT_EQ(1u, bench.printer.View().cardsPrinted);
    EXPECT_EQ(kLocked, bench.Ask("NP")) << "the validation ended with the job";

    bench.PrintCard();
    Sleep(1000);
    EXPECT_EQ(1u, bench.printer.View().cardsPrinted);
    EXPECT_EQ(1u, bench.printer.View().cardsRefused);
    EXPECT_EQ(0u, bench.printer.View().violationCount);

    bench.Send(Packet(CardPayload()));
    bench.Change("boss", kDisable);
    Sleep(100);
    EXPECT_EQ(2u, bench.printer.View().cardsPrinted) << "switched off in the middle of a job";
}

TEST(PrinterPasswords, OemSuppliesAreSwitchedWithTheSerialNumber)
{
    struct Case {
        const char* serial;
        std::string parameters;
        bool on;
        bool sensible;
    };
    const std::string on("S\x01T", 3);
    for (const Case& c :
         {Case{"AB123456789", "AB123456" + on, true, true}, Case{"AB123456789", "AB123457" + on, false, true},
          Case{"AB1", "AB1" + std::string(5, '\0') + on, true, true},
          Case{"AB1", "AB1     " + on, false, true}, Case{"AB123456789", "AB123456S\x01X", false, false}}) {
        SCOPED_TRACE(c.parameters);
        PrinterBench bench(std::string("serial=") + c.serial);
        bench.Send(Command("TU" + c.parameters) + Command("NP"));
        EXPECT_EQ(std::string("Plinth:PLINTH=VALID,CORBEL=") + (c.on ? "ENABLED" : "DISABLED") +
                      ",PASSWORD=DISABLED,",
                  bench.Read());
        EXPECT_EQ(c.sensible ? 0u : 1u, bench.printer.View().violationCount);
    }
    PrinterBench bench("oem=1,serial=AB123456");
    bench.Send(Command("TUAB123456" + std::string("S\0T", 3)));
    EXPECT_FALSE(bench.printer.View().oemSupplies);
}

} // namespace
} // namespace zrtmon::sim
