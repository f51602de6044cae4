// Passwords at the command line: what is asked for, what is told, and that none of them is ever shown.
#include <gtest/gtest.h>

#include <cstring>

#include "host/text.h"
#include "platform/spooler_admin.h"
#include "tests/host/host_bench.h"
#include "tests/host/scripted_monitor.h"
#include "tests/support/case_name.h"

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
void ExpectNoneShown(const HostBench& bench, const CommandResult& result, const Texts& given)
{
    const std::string left = result.out + result.err + bench.ReadFile("trace");
    Texts passwords = given;
    passwords.insert(passwords.end(), {kAdmin, kUser});
    for (const std::string& password : passwords) {
        EXPECT_TRUE(password.empty() || !Contains(left, password)) << password << "\n" << left;
        EXPECT_TRUE(password.empty() || !Contains(left, host::Hex(password))) << password << "\n" << left;
    }
    const std::string prefix = "1b 00 02 3";
    for (const char* letter : {"4 ", "5 "}) { // present, change: the response too is hidden
        EXPECT_EQ(CountOf(left, prefix + letter), CountOf(left, prefix + letter + "** ** ** ** ** ** ** **"));
    }
}

struct Dialog {
    const char* name;
    const char* action;
    std::string port;
    Texts input;
    int status;
    const char* message; ///< the last line, or part of it
    bool typed = false;
};

class Password : public testing::TestWithParam<Dialog> {};

TEST_P(Password, IsTakenOrRefusedInOneLineAndNeverShown)
{
    const Dialog& dialog = GetParam();
    HostBench bench;
    bench.input = dialog.input;
    bench.typed = dialog.typed;
    bench.interruptAtMs = 20000;
    const CommandResult result =
        bench.Run({"password", dialog.action, "--port", dialog.port, "--trace", "@trace"});
    EXPECT_EQ(dialog.status, result.status);
    EXPECT_EQ("", result.out);
    const Texts lines = Lines(result.err);
    const size_t prompts =
        dialog.typed ? CountOf(result.err, "password: \n") + CountOf(result.err, "again: \n") : 0;
    ASSERT_EQ(prompts + 1, lines.size()) << result.err;
    EXPECT_TRUE(Contains(lines.back(), dialog.message)) << lines.back();
    EXPECT_EQ(dialog.status == 0, lines.back().find("zrtctl: ") != 0) << lines.back();
    ExpectNoneShown(bench, result, dialog.input);
}

INSTANTIATE_TEST_SUITE_P(
    Dialogs, Password,
    testing::Values(
        Dialog{"CheckAdmin", "check", kLocked, {kAdmin}, 0, "accepts the password"},
        Dialog{"CheckUser", "check", kLocked, {kUser}, 0, "accepts the password"},
        Dialog{"CheckFactory", "check", "sim:protected=1", {""}, 0, "accepts the password"},
        Dialog{"CheckWrong", "check", kLocked, {kWrong}, 77, "does not accept the password"},
        Dialog{"CheckOpen", "check", kOpen, {kAdmin}, 1, "protection is off: the printer does not tell"},
        Dialog{"CheckNothing", "check", kLocked, {}, 77, "password: standard input has ended"},
        Dialog{"CheckLongest", "check", kLocked, {std::string(254, 'L')}, 77, "does not accept"},
        Dialog{"CheckTooLong", "check", kLocked, {std::string(255, 'L')}, 65, "more than 254 characters"},
        Dialog{"CheckSlash", "check", kLocked, {"a/b" + kAdmin}, 65, "has a character that"},
        Dialog{"CheckEuro", "check", kLocked, {"\xE2\x82\xAC" + kAdmin}, 65, "has a character that"},
        Dialog{"CheckNoUtf8", "check", kLocked, {"\xFC" + kAdmin}, 65, "has a character that"},
        Dialog{"CheckSilent", "check", kLocked + ",never-answer=1", {kAdmin}, 1, "SecurityInfo: "},
        Dialog{"CheckTyped", "check", kLocked, {kAdmin}, 0, "accepts", true},
        Dialog{"CheckAway", "check", kLocked, {}, 130, "interrupted", true},
        Dialog{"PortNotAscii", "check", kLocked + "\xE2\x82\xAC", {kAdmin}, 64, "not ASCII"},
        Dialog{"PortOption", "check", kLocked + ",x=1", {kAdmin}, 64, "unknown printer option"},
        Dialog{"SetAdmin", "set-admin", kLocked, {kAdmin, kNew}, 0, "administrator's password is set"},
        Dialog{"SetUser", "set-user", kLocked, {kAdmin, kNew}, 0, "user's password is set"},
        Dialog{"SetByUser", "set-user", kLocked, {kUser, kNew}, 0, "user's password is set"},
        Dialog{"SetLatin", "set-user", kLocked, {kUser, "Gr\xC3\xBC" + kNew}, 0, "password is set"},
        Dialog{"SetLongest", "set-user", kLocked, {kUser, std::string(15, 'L')}, 0, "password is set"},
        Dialog{
            "SetTooLong", "set-user", kLocked, {kUser, std::string(16, 'L')}, 65, "more than 15 characters"},
        Dialog{"SetSame", "set-user", kLocked, {kUser, kUser + "00"}, 65, "is the current one"},
        Dialog{"SetWrong", "set-user", kLocked, {kWrong, kNew}, 77, "does not accept the current password"},
        Dialog{"SetWithoutRight", "set-admin", kLocked, {kUser, kNew}, 77, "may not set it"},
        Dialog{"SetOpen", "set-admin", kOpen, {kAdmin, kNew}, 0, "was sent; the printer tells"},
        Dialog{"SetHalf", "set-admin", kLocked, {kAdmin}, 77, "new password: standard input has ended"},
        Dialog{"SetTyped", "set-admin", kLocked, {kAdmin, kNew, kNew}, 0, "is set", true},
        Dialog{"SetDiffers", "set-admin", kLocked, {kAdmin, kNew, kWrong}, 65, "the same way twice", true},
        Dialog{"Enable", "enable", kOpen, {kAdmin}, 0, "protection is on"},
        Dialog{"EnableAgain", "enable", kLocked, {kWrong}, 0, "protection is on already"},
        Dialog{"EnableWrong", "enable", kOpen, {kUser}, 77, "accept the administrator's password"},
        Dialog{"Disable", "disable", kLocked, {kAdmin}, 0, "protection is off"},
        Dialog{"DisableWrong", "disable", kLocked, {kWrong}, 77, "accept the administrator's password"}),
    CaseName());

TEST(PasswordOnATerminal, IsAskedForOnALineThatIsTakenOffAgain)
{
    HostBench bench;
    bench.terminal = bench.typed = true;
    bench.input = {kAdmin};
    const CommandResult result = bench.Run({"password", "check", "--port", kLocked});
    EXPECT_EQ("password: \r\x1b[Kthe printer accepts the password\n", result.err);
}

TEST(PasswordCommand, TellsABusyPrinterAndSendsNothingNewToAPrinterThatRefusesTheOld)
{
    HostBench bench;
    ScriptedMonitor script;
    bench.monitor = ScriptedMonitor::Initialize;
    std::string state = "Validation=0;OemSupplies=0;Password=1;";
    script.answer = [&](const std::string& name) {
        const bool isBusy = state.empty();
        return ScriptedMonitor::Answer{name == "SecurityInfo" ? state : "",
                                       isBusy ? ERROR_BUSY : ERROR_SUCCESS};
    };
    bench.input = {kWrong, kNew};
    EXPECT_EQ(77, bench.Run({"password", "set-admin"}).status);
    EXPECT_EQ(1u, script.Count("Password/" + kWrong));
    EXPECT_EQ(0u, script.Count("SetAdminPassword/" + kWrong + "/" + kNew));
    state = "Validation=1;OemSupplies=0;Password=1;";
    bench.input = {kAdmin, "\xC3\xBC"};
    EXPECT_EQ(0, bench.Run({"password", "set-user"}).status);
    EXPECT_EQ(1u, script.Count("SetUserPassword/" + kAdmin + "/\xC3\xBC"));
    state.clear();
    const CommandResult busy = bench.Run({"password", "check"});
    EXPECT_EQ(75, busy.status);
    EXPECT_EQ(1u, Lines(busy.err).size()) << busy.err;
}

constexpr char kPolicy[] = "<Configurations><Configuration ModuleName='Password Protection'>"
                           "<PassWordAfterDelay Enabled='True'><DelayHours DelayTime='10 minutes'/>"
                           "</PassWordAfterDelay></Configuration></Configurations>";
constexpr char kHeld[] = "held back: waiting for a password\n";
constexpr char kGoes[] = "the password goes to the printer\n";
constexpr char kRefused[] = "the printer does not accept the password\n";

struct HeldJob {
    const char* name;
    Texts arguments; ///< behind "print"
    Texts input;
    int status;
    Texts messages; ///< in this order
    int cards;
    bool typed = false;
};

class HeldPrint : public testing::TestWithParam<HeldJob> {};

TEST_P(HeldPrint, AsksForThePasswordAndGoesOn)
{
    const HeldJob& job = GetParam();
    HostBench bench;
    bench.WriteFile("job", JobBytes(1));
    bench.WriteFile("policy", kPolicy);
    bench.input = job.input;
    bench.typed = job.typed;
    bench.interruptAtMs = 40000;
    Texts arguments = {"print", "--port", kLocked, "--trace", "@trace", "--ask", "SecurityInfo,CardCount"};
    arguments.insert(arguments.end(), job.arguments.begin(), job.arguments.end());
    const CommandResult result = bench.Run(arguments);
    EXPECT_EQ(job.status, result.status);
    EXPECT_TRUE(InOrder(result.err, job.messages));
    EXPECT_EQ(CountOf(result.err, kGoes),
              static_cast<size_t>(std::count(job.messages.begin(), job.messages.end(), kGoes)));
    EXPECT_EQ(0u, CountOf(result.err, "going on")) << "no error has cleared";
    EXPECT_TRUE(bench.input.empty()) << "a password was not asked for";
    EXPECT_TRUE(result.out.ends_with("CardCount=" + std::to_string(100 + job.cards) + "\n")) << result.out;
    ExpectNoneShown(bench, result, job.input);
    EXPECT_EQ(!job.input.empty(), Contains(bench.ReadFile("trace"), "4 present a password"));
}

INSTANTIATE_TEST_SUITE_P(
    Jobs, HeldPrint,
    testing::Values(
        HeldJob{"Right", {"@job"}, {kUser}, 0, {kHeld, kGoes, "printed: 1 card"}, 1},
        HeldJob{"WrongThenRight",
                {"@job"},
                {kWrong, kUser},
                0,
                {kHeld, kGoes, kHeld, kRefused, kGoes, "printed: 1 card"},
                1},
        HeldJob{"UnfitThenRight",
                {"@job"},
                {"a/b", kUser},
                0,
                {kHeld, "password for Card Printer: has a character", kGoes, "printed"},
                1},
        HeldJob{"PolicyDoesNotHelpAWrongOne",
                {"@job", "--policy", "@policy"},
                {kWrong, kUser},
                0,
                {kGoes, kRefused, kGoes, "printed: 1 card"},
                1},
        HeldJob{"ThreeWrong",
                {"@job", "--give-up", "5"},
                {kWrong, kWrong, kWrong},
                1,
                {kGoes, kRefused, kGoes, kRefused, kGoes, kRefused, "no more passwords", "held for too long"},
                0},
        HeldJob{"ThreeWrongUntilInterrupted",
                {"@job"},
                {kWrong, kWrong, kWrong},
                130,
                {kGoes, kGoes, kGoes, "no more passwords", "interrupted: the job is deleted"},
                0},
        HeldJob{"Nothing",
                {"@job", "@job"},
                {},
                77,
                {kHeld, "standard input has ended: the job is deleted\n"},
                0},
        HeldJob{"WrongAndNothing", {"@job"}, {kWrong}, 77, {kGoes, kRefused, "standard input has ended"}, 0},
        HeldJob{"TwoJobsUnderTheDelayRule",
                {"@job", "@job", "--policy", "@policy"},
                {kUser},
                0,
                {kHeld, kGoes, "printed: 1 card", "printing ", "printed: 1 card"},
                2},
        HeldJob{"TwoJobsWithoutAPolicy",
                {"@job", "@job"},
                {kUser, kAdmin},
                0,
                {kGoes, "printed: 1 card", "printing ", kHeld, kGoes, "printed: 1 card"},
                2},
        HeldJob{"Typed",
                {"@job"},
                {kWrong, kUser},
                0,
                {kHeld, "password for Card Printer: \n", kGoes, kRefused, "password for", kGoes, "printed"},
                1,
                true},
        HeldJob{"AwayUntilGivenUp",
                {"@job", "--give-up", "5"},
                {},
                1,
                {kHeld, "password for Card Printer: \n", "held for too long: the job is deleted\n"},
                0,
                true},
        HeldJob{
            "AwayUntilInterrupted", {"@job"}, {}, 130, {"password for", "interrupted: the job"}, 0, true}),
    CaseName());

TEST(HeldPrintOnATerminal, KeepsThePromptInOnePiece)
{
    HostBench bench;
    bench.terminal = bench.typed = true;
    bench.WriteFile("job", JobBytes(1));
    bench.input = {kUser};
    const CommandResult result = bench.Run({"print", "@job", "--port", kLocked, "--ask", "CardCount"});
    EXPECT_EQ(0, result.status);
    const std::string prompt = "password for Card Printer: ";
    EXPECT_GE(CountOf(result.err, prompt), 1u);
    EXPECT_EQ(CountOf(result.err, prompt), CountOf(result.err, "\r\x1b[K" + prompt + "\r\x1b[K"));
}

/// A monitor that wants a password all the time.
struct WantingBench : HostBench {
    WantingBench()
    {
        monitor = ScriptedMonitor::Initialize;
        WriteFile("job", "data");
        script.answer = [](const std::string&) { return ScriptedMonitor::Answer{"1"}; };
        script.take = [this](DWORD) {
            spooler::StoreValue(L"Card Printer", L"PrinterError", REG_BINARY, "100");
            seen = spooler::LoadValue(L"Card Printer", L"Password");
            return 0;
        };
        script.onClose = [this] { left = spooler::LoadValue(L"Card Printer", L"Password"); };
    }

    ScriptedMonitor script;
    std::optional<std::string> seen;
    std::optional<std::string> left;
};

TEST(HeldPrint, LeavesThePasswordWhereTheMonitorLooksAndNotBehindTheJob)
{
    WantingBench bench;
    bench.input = {"Gr\xC3\xBC" + kUser, kAdmin};
    EXPECT_EQ(1, bench.Run({"print", "@job", "--give-up", "5"}).status);
    EXPECT_EQ("Gr\xFC" + kUser + std::string(1, '\0'), bench.seen);
    EXPECT_EQ(std::nullopt, bench.left);
    EXPECT_EQ(1u, bench.input.size()) << "none is asked for while one waits for the monitor";
}

TEST(Print, NamesThePolicyByItsWholePath)
{
    WantingBench bench;
    bench.WriteFile("policy", kPolicy);
    std::string stored;
    bench.script.take = [&](DWORD size) {
        stored = spooler::LoadValue(L"Card Printer", L"ConfigurationFile").value_or("");
        return size;
    };
    const std::filesystem::path relative = std::filesystem::relative(bench.Folder() / "policy");
    ASSERT_EQ(0, bench.Run({"print", "@job", "--policy", relative.string()}).status);
    std::wstring path(stored.size() / sizeof(wchar_t), L'\0');
    std::memcpy(path.data(), stored.data(), stored.size());
    ASSERT_TRUE(path.ends_with(L'\0'));
    path.pop_back();
    EXPECT_TRUE(std::filesystem::path(path).is_absolute());
    EXPECT_TRUE(std::filesystem::equivalent(path, bench.Folder() / "policy"));
}

} // namespace
} // namespace zrtmon::test
