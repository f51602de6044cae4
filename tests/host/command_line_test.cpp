// What the command line refuses: one line that says what is wrong, its exit status, and nothing done.
#include <gtest/gtest.h>

#include "tests/host/host_bench.h"
#include "tests/host/scripted_monitor.h"
#include "tests/support/case_name.h"

namespace zrtmon::test {
namespace {

struct Refusal {
    const char* name;
    std::vector<std::string> arguments;
    int status;
    const char* message; ///< part of the line
};

class CommandLine : public testing::TestWithParam<Refusal> {};

TEST_P(CommandLine, IsRefusedInOneLine)
{
    HostBench bench;
    ScriptedMonitor script;
    bench.monitor = ScriptedMonitor::Initialize;
    bench.WriteFile("job", "data");
    bench.WriteFile("empty", "");
    bench.WriteFile("notes", "Image Darkness\n");
    const CommandResult result = bench.Run(GetParam().arguments);

    EXPECT_EQ(GetParam().status, result.status);
    EXPECT_EQ("", result.out);
    const std::vector<std::string> lines = Lines(result.err);
    ASSERT_EQ(1u, lines.size()) << result.err;
    EXPECT_EQ(0u, lines[0].find("zrtctl: ")) << lines[0];
    EXPECT_NE(std::string::npos, lines[0].find(GetParam().message)) << lines[0];
    EXPECT_EQ(std::string::npos, lines[0].find("s3cr3t")) << "a password is shown";
    EXPECT_EQ(0u, script.Count("OpenPortEx")) << "the port was opened all the same";
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CommandLine,
    testing::Values(
        Refusal{"Nothing", {}, 64, "required"},
        Refusal{"UnknownCommand", {"prnit", "@job"}, 64, "prnit: no such command; the nearest is print"},
        Refusal{"UnknownOption", {"get", "CardCount", "--jsn"}, 64, "--jsn"},
        Refusal{"OptionWithoutValue", {"print", "@job", "--port"}, 64, "--port"},
        Refusal{"NoFile", {"print"}, 64, "FILE"},
        Refusal{"SecondFileMissing", {"print", "@job", "@none"}, 66, "none: "},
        Refusal{"PolicyMissing", {"print", "@job", "--policy", "@none"}, 66, "none: "},
        Refusal{"PolicyIsAFolder", {"print", "@job", "--policy", "@"}, 66, "is a folder"},
        Refusal{"MissingFile", {"print", "@none"}, 66, "none: "},
        Refusal{"FolderForFile", {"print", "@"}, 66, "is a folder"},
        Refusal{"EmptyJob", {"print", "@empty"}, 65, "empty: is empty"},
        Refusal{"PieceOfNothing", {"print", "@job", "--piece", "0"}, 64, "--piece: "},
        Refusal{"PieceOfWords", {"print", "@job", "--piece", "many"}, 64, "--piece"},
        Refusal{"GiveUpAtOnce", {"print", "@job", "--give-up", "0"}, 64, "--give-up: "},
        Refusal{"AskUnknown", {"print", "@job", "--ask", "CardCount,CardConut"}, 64, "nearest is CardCount"},
        Refusal{"AskAction", {"print", "@job", "--ask", "MoveTo/1"}, 64, "makes the printer act"},
        Refusal{"PortKind", {"print", "@job", "--port", "lpt1:"}, 64, "port"},
        Refusal{"PortOption", {"get", "CardCount", "--port", "sim:crads=1"}, 64, "crads"},
        Refusal{"PrinterWithoutName", {"status", "--printer", ""}, 64, "--printer"},
        Refusal{"UnknownName", {"get", "CardCount", "ribboninfos"}, 64, "nearest is RibbonInfo"},
        Refusal{"NameOfControls", {"get", "\x1b[2J"}, 64, "\\x1b[2J: no such"},
        Refusal{"UnservedName", {"get", "filminfo"}, 64, "filminfo: this printer family"},
        Refusal{"NameWithoutParameters", {"get", "StationStatus"}, 64, "StationStatus/2"},
        Refusal{"PasswordAsArgument", {"get", "Password/s3cr3t"}, 64, "Password: passwords are not taken"},
        Refusal{"PasswordWithoutAction", {"password"}, 64, "required"},
        Refusal{
            "PasswordBehindItsCommand", {"password", "check", "s3cr3t"}, 64, "check takes no such argument"},
        Refusal{"SettingsWithoutAction", {"settings"}, 64, "required"},
        Refusal{"SettingWithoutValue", {"settings", "set", "FeedPWM"}, 64, "FeedPWM: is not NAME=VALUE"},
        Refusal{"SettingOfWords", {"settings", "set", "FeedPWM=much"}, 64, "FeedPWM=much"},
        Refusal{"SettingTooLarge", {"settings", "set", "FeedPWM=99999999999"}, 64, "is not NAME=VALUE"},
        Refusal{"SettingsFileOfNotes", {"settings", "restore", "@notes"}, 65, "notes: line 1: "},
        Refusal{"SettingsFileEmpty", {"settings", "restore", "@empty"}, 65, "empty: holds no settings"},
        Refusal{"SettingsFileMissing", {"settings", "restore", "@none"}, 66, "none: "},
        Refusal{"TraceNowhere", {"get", "CardCount", "--trace", "@no/trace"}, 73, "trace cannot be written"},
        Refusal{"JobWithoutCards", {"make-job", "@new"}, 64, "--cards"},
        Refusal{"JobOfTooMuch", {"make-job", "--cards", "10000", "--records", "4096", "@new"}, 64, "larger"},
        Refusal{"JobNowhere", {"make-job", "--cards", "1", "@no/job"}, 73, "job: "}),
    CaseName());

TEST(CommandLineHelp, ListsEveryExitStatusEverywhere)
{
    HostBench bench;
    const std::vector<std::vector<std::string>> helps = {
        {"--help"}, {"print", "--help"}, {"settings", "--help"}, {"settings", "set", "--help"}};
    for (const std::vector<std::string>& arguments : helps) {
        const CommandResult result = bench.Run(arguments);
        EXPECT_EQ(0, result.status);
        EXPECT_EQ("", result.err);
        for (const char* line : {"\n  0    ", "\n  1    ", "\n  64   ", "\n  65   ", "\n  66   ", "\n  69   ",
                                 "\n  73   ", "\n  75   ", "\n  77   ", "\n  130  "}) {
            EXPECT_NE(std::string::npos, result.out.find(line)) << arguments[0] << ": " << line;
        }
    }
}

TEST(MonitorLibrary, IsFoundBesideTheProgramOrInItsPrivateFolder)
{
    const std::filesystem::path library = ZRTMON_LIBRARY;
    for (const char* place : {"bin", "libexec/zrtmon", "elsewhere"}) {
        SCOPED_TRACE(place);
        HostBench bench;
        bench.programFolder = bench.Folder() / "bin";
        std::filesystem::create_directories(bench.programFolder);
        std::filesystem::create_directories(bench.Folder() / place);
        std::filesystem::create_symlink(library, bench.Folder() / place / library.filename());
        const CommandResult result = bench.Run({"get", "CardCount", "--port", "sim:cards=7"});
        const bool isFindable = std::string(place) != "elsewhere";
        EXPECT_EQ(isFindable ? 0 : 69, result.status) << result.err;
        EXPECT_EQ(isFindable ? "7\n" : "", result.out);
        EXPECT_EQ(isFindable, result.err.find("--library") == std::string::npos);
    }
}

TEST(MonitorLibrary, IsRefusedWhenItIsNoMonitor)
{
    HostBench bench;
    bench.WriteFile("text.so", "no library");
    for (const std::string file : {"@none.so", "@text.so", NO_MONITOR_LIBRARY}) {
        const CommandResult result = bench.Run({"get", "CardCount", "--library", file});
        EXPECT_EQ(69, result.status) << file;
        EXPECT_EQ(1u, Lines(result.err).size()) << result.err;
    }
}

TEST(MakeJob, WritesAJobThatPrintsItsCards)
{
    HostBench bench;
    ASSERT_EQ(0, bench.Run({"make-job", "--cards", "2", "--packet", "700", "@new"}).status);
    const CommandResult result = bench.Run({"print", "@new", "--port", "sim:cards=10"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.out.find("CardCount=12\n")) << result.out;
}

} // namespace
} // namespace zrtmon::test
