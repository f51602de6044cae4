#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/xtea.h"
#include "tests/simulator/printer_fixture.h"

namespace zrtmon::sim {
namespace {

/// A host that knows a password.
struct CPasswordFixture : CPrinterFixture {
    using CPrinterFixture::CPrinterFixture;

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
    CPasswordFixture fixture("admin-password=boss,user-password=clerk");
    fixture.Change("clerk", kEnable);
    EXPECT_EQ(kOff, fixture.Ask("NP"));
    fixture.Change("boss", kEnable);
    fixture.Change("clerk", kDisable);
    EXPECT_EQ(kLocked, fixture.Ask("NP"));
    fixture.Change("clerk", kSetAdmin, std::string("mine00000000000\0", 16));
    fixture.Change("clerk", kSetUser, "sixteen bytes!!!");
    EXPECT_EQ(3u, fixture.printer.View().passwordsRefused) << "a user changes the user's own";
    for (const auto& [password, good] : {std::pair{"boss", true},
                                         {"sixteen bytes!!!", true},
                                         {"mine", false},
                                         {"clerk", false},
                                         {"", false}}) {
        fixture.Present(password);
        EXPECT_EQ(good ? kValidated : kLocked, fixture.Ask("NP")) << password;
    }
}

TEST(PrinterPasswords, AChallengeIsFreshAndAnsweredOnce)
{
    std::string first;
    {
        CPasswordFixture fixture("protected=1,admin-password=boss");
        first = fixture.Challenge();
        EXPECT_NE(first, fixture.Challenge());
        fixture.Send(Command("4" + CPasswordFixture::Answer(first, "boss")));
        EXPECT_EQ(kLocked, fixture.Ask("NP")) << "the challenge before the last";
        const std::string answer = Command("4" + CPasswordFixture::Answer(fixture.Challenge(), "boss"));
        fixture.Send(answer);
        EXPECT_EQ(kValidated, fixture.Ask("NP"));
        fixture.Send(answer);
        EXPECT_EQ(kLocked, fixture.Ask("NP")) << "the same answer again";
    }
    EXPECT_NE(first, CPasswordFixture("protected=1,seed=2").Challenge());
}

TEST(PrinterPasswords, CardsWaitForOneAndItIsGoodForOneJob)
{
    CPasswordFixture fixture("protected=1,admin-password=boss,card-ms=100");
    fixture.Send(Packet(CardPayload()));
    Sleep(1000);
    EXPECT_EQ(1u, fixture.printer.View().cardsHeld);
    EXPECT_EQ("PASSWORD REQUIRED", fixture.printer.View().displayLines[0]);
    fixture.Send(std::string(512, '\0') + Command("XC") + Packet(CardPayload()));
    fixture.Present("wrong");
    EXPECT_EQ(1u, fixture.printer.View().cardsHeld) << "the cancelled one is not waiting any more";
    fixture.Present("boss");
    fixture.Send(Packet(Command("XZ")));
    Sleep(100);
    EXPECT_EQ(1u, fixture.printer.View().cardsPrinted);
    EXPECT_EQ(kLocked, fixture.Ask("NP")) << "the validation ended with the job";

    fixture.Send(Packet(CardPayload()) + Packet(Command("XZ")));
    Sleep(1000);
    EXPECT_EQ(1u, fixture.printer.View().cardsPrinted);
    EXPECT_EQ(1u, fixture.printer.View().cardsRefused);
    EXPECT_EQ(0u, fixture.printer.View().violationCount);

    fixture.Send(Packet(CardPayload()));
    fixture.Change("boss", kDisable);
    Sleep(100);
    EXPECT_EQ(2u, fixture.printer.View().cardsPrinted) << "switched off in the middle of a job";
}

} // namespace
} // namespace zrtmon::sim
