// Passwords at the command line: what is asked for, what is told, and that none of them is ever shown.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <sstream>

#include "host/text/text.h"
#include "platform/spooler_admin.h"
#include "tests/host/support/scripted_monitor.h"
#include "tests/support/allocation.h"

namespace zrtmon::test {
namespace {

using Texts = std::vector<std::string>;

const std::string kAdmin = "Adm1nPw";
const std::string kUser = "Us3rPw";
const std::string kNew = "Fr3shPw";
const std::string kWrong = "Wr0ngPw";
const std::string kPasswords = "admin-password=" + kAdmin + ",user-password=" + kUser;
const std::string kLocked = "sim:protected=1," + kPasswords;
const std::string kOpen = "sim:" + kPasswords;

/// Looks for every password, as text and as the trace shows bytes, in all that a command has left behind.
void ExpectNoneShown(const CHostFixture& fixture, const CCommandResult& result, const Texts& given)
{
    const std::string left = result.out + result.err + fixture.ReadFile("trace");
    Texts passwords = given;
    passwords.insert(passwords.end(), {kAdmin, kUser});
    for (const std::string& password : passwords) {
        EXPECT_FALSE(!password.empty() && Shows(left, password)) << password << "\n" << left;
        EXPECT_FALSE(!password.empty() && Shows(left, host::Hex(password))) << password << "\n" << left;
    }
    const std::string prefix = "1b 00 02 3";
    for (const char* letter : {"4 ", "5 "}) { // present, change: the response too is hidden
        EXPECT_EQ(CountOf(left, prefix + letter), CountOf(left, prefix + letter + "** ** ** ** ** ** ** **"));
    }
}

TEST(Password, IsTakenOrRefusedInOneLineAndNeverShown)
{
    const struct {
        const char* action;
        std::string port;
        Texts input;
        int status;
        const char* message; ///< the last line, or part of it
        bool typed = false;
    } dialogs[] = {
        {"check", kLocked, {kAdmin}, 0, "accepts the password"},
        {"check", kLocked, {kUser}, 0, "accepts the password"},
        {"check", "sim:protected=1", {""}, 0, "accepts the password"},
        {"check", kLocked, {kWrong}, 77, "wrong password: the printer does not accept it"},
        {"check", kOpen, {kAdmin}, 1, "cannot check the password: the printer only does so while"},
        {"check", kLocked, {}, 77, "password: no more passwords on standard input"},
        {"check", kLocked, {std::string(254, 'L')}, 77, "wrong password"},
        {"check", kLocked, {std::string(255, 'L')}, 65, "longer than 254 characters"},
        {"check", kLocked, {"a/b" + kAdmin}, 65, "contains a character that"},
        {"check", kLocked, {"\xE2\x82\xAC" + kAdmin}, 65, "contains a character that"},
        {"check", kLocked, {"\xFC" + kAdmin}, 65, "contains a character that"},
        {"check", kLocked + ",never-answer=1", {kAdmin}, 1, "SecurityInfo: "},
        {"check", kLocked, {kAdmin}, 0, "accepts", true},
        {"check", kLocked, {}, 130, "interrupted", true},
        {"check", kLocked + "\xE2\x82\xAC", {kAdmin}, 64, "not ASCII"},
        {"check", kLocked + ",x=1", {kAdmin}, 64, "unknown printer option"},
        {"set-admin", kLocked, {kAdmin, kNew}, 0, "administrator's password is set"},
        {"set-user", kLocked, {kAdmin, kNew}, 0, "user's password is set"},
        {"set-user", kLocked, {kUser, kNew}, 0, "user's password is set"},
        {"set-user", kLocked, {kUser, "Gr\xC3\xBC" + kNew}, 0, "password is set"},
        {"set-user", kLocked, {kUser, std::string(15, 'L')}, 0, "password is set"},
        {"set-user", kLocked, {kUser, std::string(16, 'L')}, 65, "longer than 15 characters"},
        {"set-user", kLocked, {kUser, kUser + "00"}, 65, "same as the current one"},
        {"set-user", kLocked, {kWrong, kNew}, 77, "wrong current password"},
        {"set-admin", kLocked, {kUser, kNew}, 77, "not allowed to change it"},
        {"set-admin", kOpen, {kAdmin, kNew}, 0, "new password sent; cannot check"},
        {"set-admin", kLocked, {kAdmin}, 77, "new password: no more passwords on standard input"},
        {"set-admin", kLocked, {kAdmin, kNew, kNew}, 0, "is set", true},
        {"set-admin", kLocked, {kAdmin, kNew, kWrong}, 65, "two entries of the new password differ", true},
        {"enable", kOpen, {kAdmin}, 0, "protection is on"},
        {"enable", kLocked, {kWrong}, 0, "protection is on already"},
        {"enable", kOpen, {kUser}, 77, "wrong administrator's password"},
        {"disable", kLocked, {kAdmin}, 0, "protection is off"},
        {"disable", kLocked, {kWrong}, 77, "wrong administrator's password"},
    };
    for (const auto& row : dialogs) {
        SCOPED_TRACE(std::string(row.action) + ": " + row.message);
        CHostFixture fixture;
        fixture.input = row.input;
        fixture.typed = row.typed;
        fixture.interruptAtMs = 20000;
        const CCommandResult result =
            fixture.Run("password " + std::string(row.action) + " --trace @trace --port " + row.port);
        EXPECT_EQ(row.status, result.status);
        EXPECT_EQ("", result.out);
        const Texts lines = Lines(result.err);
        const size_t prompts =
            row.typed ? CountOf(result.err, "password: \n") + CountOf(result.err, "again: \n") : 0;
        ASSERT_EQ(prompts + 1, lines.size()) << result.err;
        EXPECT_TRUE(Shows(lines.back(), row.message));
        EXPECT_EQ(row.status == 0, lines.back().find("zrtctl: ") != 0) << lines.back();
        ExpectNoneShown(fixture, result, row.input);
    }
}

TEST(PasswordCommand, ReportsABusyPrinterAndSendsNothingNewToAPrinterThatRefusesTheOld)
{
    CScriptedFixture fixture;
    std::string state = "Validation=0;OemSupplies=0;Password=1;";
    fixture.script.answer = [&](const std::string& name) {
        return CScriptedMonitor::CAnswer{name == "SecurityInfo" ? state : "",
                                         state.empty() ? ERROR_BUSY : ERROR_SUCCESS};
    };
    fixture.input = {kWrong, kNew};
    EXPECT_EQ(77, fixture.Run("password set-admin").status);
    EXPECT_EQ(1u, fixture.script.Count("Password/" + kWrong));
    EXPECT_EQ(0u, fixture.script.Count("SetAdminPassword/" + kWrong + "/" + kNew));
    state = "Validation=1;OemSupplies=0;Password=1;";
    fixture.input = {kAdmin, "\xC3\xBC"};
    EXPECT_EQ(0, fixture.Run("password set-user").status);
    EXPECT_EQ(1u, fixture.script.Count("SetUserPassword/" + kAdmin + "/\xC3\xBC"));
    state.clear();
    const CCommandResult busy = fixture.Run("password check");
    EXPECT_EQ(75, busy.status);
    EXPECT_EQ(1u, Lines(busy.err).size()) << busy.err;
}

TEST(Password, IsNeverInMemoryThatIsFreed)
{
    constexpr char kMarker[] = "M4rkedSecret";
    for (const char* action : {"check", "set-admin"}) {
        CScriptedFixture fixture;
        fixture.script.answer = [](const std::string& name) {
            return CScriptedMonitor::CAnswer{name == "SecurityInfo" ? "Validation=1;OemSupplies=0;Password=1;"
                                                                    : ""};
        };
        fixture.input = {kMarker, "An0ther"};
        const CSecretWatch watch(kMarker);
        EXPECT_EQ(0, fixture.Run("password " + std::string(action)).status);
        EXPECT_EQ(0u, watch.UnwipedBlocks()) << action;
    }
}

constexpr char kPolicy[] = "<Configurations><Configuration ModuleName='Password Protection'>"
                           "<PassWordAfterDelay Enabled='True'><DelayHours DelayTime='10 minutes'/>"
                           "</PassWordAfterDelay></Configuration></Configurations>";

/// Prints on the locked printer; the arguments stand behind "print".
CCommandResult PrintLocked(CHostFixture& fixture, const std::string& arguments)
{
    fixture.WriteFile("job", JobBytes(1));
    fixture.WriteFile("policy", kPolicy);
    return fixture.Run("print --port " + kLocked + " --ask SecurityInfo,CardCount --trace @trace " +
                       arguments);
}

TEST(HeldPrint, AsksForThePasswordAndGoesOn)
{
    const std::string wrongThenRight = kWrong + " " + kUser;
    const std::string threeWrong = kWrong + " " + kWrong + " " + kWrong;
    const struct {
        const char* arguments;
        std::string input; ///< passwords, between blanks
        int status;
        int cards;
        const char* messages;
        bool typed = false;
    } jobs[] = {
        {"@job", kUser, 0, 1, "waiting: password required\n...stored for...printed: 1 card"},
        {"@job", wrongThenRight, 0, 1,
         "waiting...stored for...waiting...not accept...stored for...printed: 1"},
        {"@job", "a/b " + kUser, 0, 1, "waiting...Card Printer: contains a character...stored for...printed"},
        {"@job --policy @policy", wrongThenRight, 0, 1,
         "stored for...not accept...stored for...printed: 1 card"},
        {"@job --give-up 5", threeWrong, 1, 0,
         "stored for...not accept...stored for...not accept...stored for...not accept...three wrong "
         "passwords...held longer than"},
        {"@job", threeWrong, 130, 0,
         "stored for...stored for...stored for...three wrong passwords...deleting the job"},
        {"@job @job", "", 77, 0, "waiting...no more passwords on standard input: deleting the job\n"},
        {"@job", kWrong, 77, 0, "stored for...not accept...no more passwords on standard input"},
        {"@job @job --policy @policy", kUser, 0, 2,
         "waiting...stored for...printed: 1 card...printing ...printed: 1 card"},
        {"@job @job", kUser + " " + kAdmin, 0, 2,
         "stored for...printed: 1 card...printing ...waiting...stored for...printed: 1 card"},
        {"@job", wrongThenRight, 0, 1,
         "waiting...Card Printer: \n...stored for...not accept...password for...stored for...printed", true},
        {"@job --give-up 5", "", 1, 0,
         "waiting...password for Card Printer: \n...held longer than --give-up allows: deleting the job\n",
         true},
        {"@job", "", 130, 0, "password for...interrupted: deleting the job", true},
    };
    for (const auto& row : jobs) {
        SCOPED_TRACE(row.messages);
        CHostFixture fixture;
        std::istringstream input(row.input);
        const Texts passwords{std::istream_iterator<std::string>(input), {}};
        fixture.input = passwords;
        fixture.typed = row.typed;
        fixture.interruptAtMs = 40000;
        const CCommandResult result = PrintLocked(fixture, row.arguments);
        EXPECT_EQ(row.status, result.status);
        EXPECT_TRUE(Shows(result.err, row.messages));
        EXPECT_EQ(CountOf(row.messages, "stored for"),
                  CountOf(result.err, "password stored for the monitor to send\n"));
        EXPECT_EQ(0u, CountOf(result.err, "resuming")) << "no error has cleared";
        EXPECT_TRUE(fixture.input.empty()) << "a password was not asked for";
        EXPECT_TRUE(result.out.ends_with("CardCount=" + std::to_string(100 + row.cards) + "\n"))
            << result.out;
        ExpectNoneShown(fixture, result, passwords);
        EXPECT_EQ(!passwords.empty(), CountOf(fixture.ReadFile("trace"), "4 present a password") > 0);
    }
}

TEST(HeldPrintOnATerminal, KeepsThePromptInOnePiece)
{
    CHostFixture fixture;
    fixture.terminal = fixture.typed = true;
    fixture.input = {kUser};
    const CCommandResult result = PrintLocked(fixture, "@job");
    EXPECT_EQ(0, result.status);
    const std::string prompt = "password for Card Printer: ";
    EXPECT_GE(CountOf(result.err, prompt), 1u);
    EXPECT_EQ(CountOf(result.err, prompt), CountOf(result.err, "\r\x1b[K" + prompt + "\r\x1b[K"));
}

/// A monitor that wants a password all the time.
struct CWantingFixture : CScriptedFixture {
    CWantingFixture()
    {
        WriteFile("job", "data");
        script.answer = [](const std::string&) { return CScriptedMonitor::CAnswer{"1"}; };
        script.take = [this](DWORD) {
            spooler::StoreValue(L"Card Printer", L"PrinterError", REG_BINARY, "100");
            seen = spooler::LoadValue(L"Card Printer", L"Password");
            return 0;
        };
        script.hooks["ClosePort"] = [this] { left = spooler::LoadValue(L"Card Printer", L"Password"); };
    }

    std::optional<std::string> seen;
    std::optional<std::string> left;
};

TEST(HeldPrint, StoresThePasswordForTheMonitorAndRemovesItAfterTheJob)
{
    CWantingFixture fixture;
    fixture.input = {"Gr\xC3\xBC" + kUser, kAdmin};
    EXPECT_EQ(1, fixture.Run("print @job --give-up 5").status);
    EXPECT_EQ("Gr\xFC" + kUser + std::string(1, '\0'), fixture.seen);
    EXPECT_EQ(std::nullopt, fixture.left);
    EXPECT_EQ(1u, fixture.input.size()) << "none is asked for while one waits for the monitor";
}

TEST(Print, NamesThePolicyByItsWholePath)
{
    CWantingFixture fixture;
    fixture.WriteFile("policy", kPolicy);
    std::string stored;
    fixture.script.take = [&](DWORD size) {
        stored = spooler::LoadValue(L"Card Printer", L"ConfigurationFile").value_or("");
        return size;
    };
    const std::filesystem::path relative = std::filesystem::relative(fixture.Folder() / "policy");
    ASSERT_EQ(0, fixture.Run("print @job --policy '" + relative.string() + "'").status);
    std::wstring path(stored.size() / sizeof(wchar_t), L'\0');
    std::memcpy(path.data(), stored.data(), stored.size());
    ASSERT_TRUE(path.ends_with(L'\0'));
    path.pop_back();
    EXPECT_TRUE(std::filesystem::path(path).is_absolute());
    EXPECT_TRUE(std::filesystem::equivalent(path, fixture.Folder() / "policy"));
}

} // namespace
} // namespace zrtmon::test
