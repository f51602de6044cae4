#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/xtea.h"
#include "tests/simulator/printer_bench.h"

namespace zrtmon::sim {
namespace {

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
        CipherBlock block{};
        for (size_t i = 0; i < block.size(); ++i) {
            block[i] = static_cast<uint8_t>(std::stoul(challenge.substr(2 * i, 2), nullptr, 16));
        }
        const CipherBlock response = Encipher(block, key);
        return {response.begin(), response.end()};
    }
    void Present(const std::string& password) { Send(Command("4" + Answer(Challenge(), password))); }
    void Change(const std::string& password, char mode, const std::string& newPassword = {})
    {
        Send(Command("5" + Answer(Challenge(), password) + mode + newPassword));
    }
};

constexpr char kEnable = '\x73';
constexpr char kDisable = '\xFD';
constexpr char kSetAdmin = '\x01';
constexpr char kSetUser = '\x00';
constexpr const char* kOff = "Plinth:PLINTH=VALID,CORBEL=DISABLED,PASSWORD=DISABLED,";
constexpr const char* kLocked = "Plinth:PLINTH=INVALID,CORBEL=DISABLED,PASSWORD=ENABLED,";
constexpr const char* kValidated = "Plinth:PLINTH=VALID,CORBEL=DISABLED,PASSWORD=ENABLED,";

TEST(PrinterPasswords, OnlyTheAdministratorsChangesAnything)
{
    PasswordBench bench("admin-password=boss,user-password=clerk");
    bench.Change("clerk", kEnable);
    EXPECT_EQ(kOff, bench.Ask("NP"));
    bench.Change("boss", kEnable);
    bench.Change("clerk", kDisable);
    EXPECT_EQ(kLocked, bench.Ask("NP"));
    bench.Change("clerk", kSetAdmin, std::string("mine00000000000\0", 16));
    bench.Change("clerk", kSetUser, "sixteen bytes!!!");
    EXPECT_EQ(3u, bench.printer.View().passwordsRefused) << "a user changes the user's own";
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
    EXPECT_NE(first, PasswordBench("protected=1,seed=2").Challenge());
}

TEST(PrinterPasswords, CardsWaitForOneAndItIsGoodForOneJob)
{
    PasswordBench bench("protected=1,admin-password=boss,card-ms=100");
    bench.Send(Packet(CardPayload()));
    Sleep(1000);
    EXPECT_EQ(1u, bench.printer.View().cardsHeld);
    EXPECT_EQ("PASSWORD REQUIRED", bench.printer.View().displayLines[0]);
    bench.Send(std::string(512, '\0') + Command("XC") + Packet(CardPayload()));
    bench.Present("wrong");
    EXPECT_EQ(1u, bench.printer.View().cardsHeld) << "the cancelled one is not waiting any more";
    bench.Present("boss");
    bench.Send(Packet(Command("XZ")));
    Sleep(100);
    EXPECT_EQ(1u, bench.printer.View().cardsPrinted);
    EXPECT_EQ(kLocked, bench.Ask("NP")) << "the validation ended with the job";

    bench.Send(Packet(CardPayload()) + Packet(Command("XZ")));
    Sleep(1000);
    EXPECT_EQ(1u, bench.printer.View().cardsPrinted);
    EXPECT_EQ(1u, bench.printer.View().cardsRefused);
    EXPECT_EQ(0u, bench.printer.View().violationCount);

    bench.Send(Packet(CardPayload()));
    bench.Change("boss", kDisable);
    Sleep(100);
    EXPECT_EQ(2u, bench.printer.View().cardsPrinted) << "switched off in the middle of a job";
}

} // namespace
} // namespace zrtmon::sim
