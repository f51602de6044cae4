// What the command line refuses: one line that says what is wrong, its exit status, and nothing done.
#include <gtest/gtest.h>

#include "devices/device_ports.h"
#include "host/text/text.h"
#include "tests/host/support/scripted_monitor.h"

namespace zrtmon::test {
namespace {

TEST(CommandLine, IsRefusedInOneLine)
{
    const struct {
        const char* words;
        int status;
        const char* message; ///< part of the line
    } refusals[] = {
        {"", 64, "required"},
        {"prnit @job", 64, "prnit: no such command; did you mean print?"},
        {"get CardCount --jsn", 64, "--jsn: no such option; did you mean --json?"},
        {"get CardCount --json=0", 64, "--json takes no value"},
        {"get", 64, "NAME is required; see zrtctl get --help"},
        {"print @job --port", 64, "--port needs a value"},
        {"print @job --port sim: --port sim:", 64, "--port is given twice"},
        {"print @job --prot=sim:admin-password=s3cr3t", 64, "--prot: no such option; did you mean --port?"},
        {"print", 64, "FILE"},
        {"print @job @none", 66, "none: "},
        {"print @job --policy @none", 66, "none: "},
        {"print @job --policy @", 66, "is a folder"},
        {"print @none", 66, "none: "},
        {"print @", 66, "is a folder"},
        {"print @empty", 65, "empty: the file is empty"},
        {"print @job --piece 0", 64, "--piece: "},
        {"print @job --piece many", 64, "--piece"},
        {"print @job --give-up 0", 64, "--give-up: "},
        {"print @job --ask CardCount,CardConut", 64, "did you mean CardCount?"},
        {"print @job --ask MoveTo/1", 64, "is an action of the printer"},
        {"print @job --port lpt1:", 64, "port"},
        {"get CardCount --port sim:crads=1", 64, "crads"},
        {"status --printer ''", 64, "--printer needs a value"},
        {"get CardCount ribboninfos", 64, "did you mean RibbonInfo?"},
        {"get \x1b[2J", 64, "\\x1b[2J: no such"},
        {"get filminfo", 64, "filminfo: not supported"},
        {"get StationStatus", 64, "StationStatus/2"},
        {"get Password/s3cr3t", 64, "Password: passwords are not accepted"},
        {"password", 64, "required"},
        {"get Foo", 64, "Foo: no such value name; \"zrtctl names\" lists them"},
        {"get Password=s3cr3t", 64, "Password: passwords are not accepted"},
        {"password s3cr3t", 64, "unexpected argument (not shown)"},
        {"password supply --port sim:", 64, "--port: only jobs of installed printers"},
        {"policy show --port sim:", 64, "--port: only an installed printer keeps a policy"},
        {"doctor --library @none.so", 64, "--library: only with --port"},
        {"password check s3cr3t", 64, "unexpected argument (not shown); type the password at the prompt"},
        {"password check --prot s3cr3t", 64, "--prot: no such option; did you mean --port?"},
        {"settings", 64, "required"},
        {"settings set FeedPWM", 64, "FeedPWM: not NAME=VALUE"},
        {"settings set FeedPWM=much", 64, "FeedPWM=much"},
        {"settings set FeedPWM=99999999999", 64, "not NAME=VALUE"},
        {"settings restore @notes", 65, "notes: line 1: "},
        {"settings restore @empty", 65, "empty: contains no settings"},
        {"settings restore @none", 66, "none: "},
        {"status --port file:@captured", 69, "captured: is a file; only a printer has a status"},
        {"get CardCount --trace @no/trace", 73, "cannot write the trace"},
        {"make-job @new", 64, "--cards"},
        {"make-job --cards 10000 --records 4096 @new", 64, "larger"},
        {"make-job --cards 1 @no/job", 73, "job: "},
    };
    for (const auto& row : refusals) {
        SCOPED_TRACE(row.words);
        CScriptedFixture fixture;
        fixture.WriteFile("job", "data");
        fixture.WriteFile("empty", "");
        fixture.WriteFile("notes", "Image Darkness\n");
        const CCommandResult result = fixture.Run(row.words);
        EXPECT_EQ(row.status, result.status);
        EXPECT_EQ("", result.out);
        EXPECT_EQ(1u, Lines(result.err).size()) << result.err;
        EXPECT_TRUE(result.err.starts_with("zrtctl: ")) << result.err;
        EXPECT_TRUE(Shows(result.err, row.message));
        EXPECT_FALSE(Shows(result.err, "s3cr3t")) << "a password is shown";
        EXPECT_EQ(0u, fixture.script.Count("OpenPortEx")) << "the port was opened all the same";
    }
}

TEST(CommandLine, ShowsNoPasswordOfAPortWhateverItPrints)
{
    const std::string port = "sim:protected=1,error=83,admin-password=Adm1n'Pw,user-password=Us3rPw";
    const std::string badPort = "sim:admin-password=Adm1n'Pw,user-password=Us3rPw\xC3\xA9";
    for (const char* words :
         {"print @job --give-up 1", "print @job --ask SecurityInfo,CardCount --give-up 1", "print",
          "get SecurityInfo", "get --json SecurityInfo VersionInfo", "get Foo", "status", "status --json",
          "settings show", "settings set FeedPWM=x", "password check", "password enable", "doctor @none",
          "doctor @none --json", "doctor", "doctor --json", "make-job --cards", "names"}) {
        for (const std::string& portWords :
             {" --port=" + port, " --port=" + badPort, " --prot=" + port, ' ' + port, " --ask " + port,
              " --piece " + port, " --library @none --port " + port}) {
            SCOPED_TRACE(words + portWords);
            CHostFixture fixture;
            fixture.printSystem = &MachinePrintSystem();
            fixture.examineDevices = devices::ExamineDevices;
            fixture.WriteFile("job", JobBytes(1));
            std::string quoted = words + portWords;
            const size_t at = quoted.find("Adm1n'");
            quoted.replace(at, 6, "Adm1n\\'");
            fixture.input = {"Typ3dPw"};
            const CCommandResult result = fixture.Run(quoted + " --trace @trace");
            const std::string printed = result.out + result.err + fixture.ReadFile("trace");
            EXPECT_NE("", printed);
            for (const char* password : {"Adm1n", "n'Pw", "Us3rPw", "Typ3dPw"}) {
                EXPECT_EQ(0u, CountOf(printed, password)) << password << '\n' << printed;
                EXPECT_EQ(0u, CountOf(printed, host::Hex(password))) << password << '\n' << printed;
            }
        }
    }
}

TEST(CommandLineHelp, ListsEveryExitStatusEverywhere)
{
    for (const char* command : {"--help", "print --help", "settings --help", "settings set --help"}) {
        SCOPED_TRACE(command);
        const CCommandResult result = CHostFixture().Run(command);
        EXPECT_EQ(0, result.status);
        EXPECT_EQ("", result.err);
        EXPECT_TRUE(Shows(result.out, "\n  0    ...\n  1    ...\n  64   ...\n  65   ...\n  66   ...\n  69   "
                                      "...\n  73   ...\n  75   ...\n  77   ...\n  130  "));
    }
}

TEST(MonitorLibrary, IsFoundWhereAPackagePutsIt)
{
    const std::filesystem::path library = ZRTMON_LIBRARY;
    for (const std::string place : {"bin", "libexec/zrtmon", "system", "elsewhere"}) {
        SCOPED_TRACE(place);
        CHostFixture fixture;
        fixture.programFolder = fixture.Folder() / "bin";
        fixture.systemFolder = place == "system" ? fixture.Folder() / place : "";
        std::filesystem::create_directories(fixture.programFolder);
        std::filesystem::create_directories(fixture.Folder() / place);
        std::filesystem::create_symlink(library, fixture.Folder() / place / library.filename());
        const CCommandResult result = fixture.Run("get CardCount --port sim:cards=7");
        const bool isFindable = place != "elsewhere";
        EXPECT_EQ(isFindable ? 0 : 69, result.status) << result.err;
        EXPECT_EQ(isFindable ? "7\n" : "", result.out);
        EXPECT_EQ(isFindable, result.err.find("--library") == std::string::npos);
    }
}

TEST(MonitorLibrary, IsRefusedWhenItIsNoMonitor)
{
    CHostFixture fixture;
    fixture.WriteFile("text.so", "no library");
    for (const char* file : {"@none.so", "@text.so", NO_MONITOR_LIBRARY}) {
        const CCommandResult result = fixture.Run("get CardCount --library '" + std::string(file) + "'");
        EXPECT_EQ(69, result.status) << file;
        EXPECT_EQ(1u, Lines(result.err).size()) << result.err;
    }
}

TEST(MakeJob, WritesAJobThatPrintsItsCards)
{
    CHostFixture fixture;
    ASSERT_EQ(0, fixture.Run("make-job --cards 2 --packet 700 @new").status);
    EXPECT_TRUE(Shows(fixture.Run("print @new --port sim:cards=10").out, "CardCount=12\n"));
}

} // namespace
} // namespace zrtmon::test
