// The shipped zrtctl on the shipped service.
#include <cstdio>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/service/service_process.h"

namespace zrtmon::service {
namespace {

constexpr char kPolicy[] = "<Configurations><Configuration ModuleName='Password Protection'>"
                           "<PassWordAfterDelay Enabled='True'><DelayHours DelayTime='10 minutes'/>"
                           "</PassWordAfterDelay></Configuration></Configurations>";

struct CRun {
    int status;
    std::string printed; ///< on both streams
};

/// A shell's command line in which "zrtctl" is the program.
CRun RunShell(const std::string& line)
{
    setenv("ZRTMON_BUS", "session", 1);
    const std::string script = "zrtctl() { \"" ZRTCTL "\" \"$@\"; }; { " + line + "\n} 2>&1";
    FILE* const pipe = popen(script.c_str(), "r");
    CRun run{-1, {}};
    char bytes[4096];
    for (size_t count = 0; (count = fread(bytes, 1, sizeof bytes, pipe)) > 0;) {
        run.printed.append(bytes, count);
    }
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

struct CZrtctl : testing::Test {
    CZrtctl()
        : service({{"Cards", "port = sim:cards=10,card-ms=20,buffer-cards=1"},
                   {"Factory", "port = sim:card-ms=20,protected=1,seed=4"},
                   {"Locked", "port = sim:cards=10,card-ms=20,protected=1,user-password=geheim,seed=2"},
                   {"Ribbon", "port = sim:cards=10,card-ms=20,error=83,error-at-card=1,seed=3"}})
    {
        service.Start();
        const CTemporaryFolder& folder = service.Folder();
        job = folder.Write("three.prn", CServiceProcess::JobBytes(3)).string();
        policy = folder.Write("etc/policy.xml", kPolicy).string();
        elsewhere = folder.Write("elsewhere.xml", kPolicy).string();
    }

    CServiceProcess service;
    std::string job;
    std::string policy;
    std::string elsewhere; ///< a policy where the service does not read it
};

TEST_F(CZrtctl, DoesEveryCommandThroughTheService)
{
    const struct {
        std::string line;
        int status;
        const char* printed; ///< part
    } commands[] = {
        {"zrtctl printers", 0,
         "Locked   sim:cards=10,card-ms=20,protected=1,user-password=**,seed=2  ready, no"},
        {"zrtctl get CardCount", 64, "4 printers found"},
        {"zrtctl get CardCount MoveTo/1 --printer cards", 0, "CardCount=10\n"},
        {"zrtctl get CardCount --printer Card", 69, "did you mean Cards?"},
        {"zrtctl settings set 'LCD Contrast=45' --printer Cards", 0, "1 setting written"},
        {"zrtctl settings show --printer Cards | grep Contrast", 0, " 45 "},
        {"zrtctl print " + job + " --ask CardCount --printer Cards", 0, "printed: 3 cards, 22.6 KiB"},
        {"cat " + job + " | zrtctl print /dev/stdin --printer Cards", 0, "printed: 3 cards, 22.6 KiB"},
        {"zrtctl status --printer Cards", 0, "CardCount=16  16 cards printed"},
        {"(echo wrong; echo geheim) | zrtctl print " + job + " --printer Locked", 0, "does not accept the"},
        {"echo | zrtctl print " + job + " --printer Factory", 0, "printed: 3 cards, 22.6 KiB"},
        {"echo geheim | zrtctl password check --printer Locked", 0, "the printer accepts the password"},
        {"echo wrong | zrtctl password check --printer Locked", 77, "wrong password"},
        {"zrtctl policy show --printer Locked", 0, "no policy"},
        {"zrtctl policy set " + elsewhere + " --printer Locked", 65, "policy: not below "},
        {"zrtctl policy set " + policy + " --printer Locked", 0, "again after 10 minutes"},
        {"zrtctl policy show --printer Locked", 0, "policy.xml: a password for the first card, and again"},
        {"zrtctl policy clear --printer Locked", 0, "a password for each job"},
        {"zrtctl print " + job + " --give-up 1 --printer Ribbon", 1,
         "ribbon (printer error 83, category 21)"},
        {"zrtctl jobs --since 1h | grep -c 'completed  3 cards, 22.6 KiB'", 0, "4\n"},
        {"zrtctl jobs | grep -A1 Ribbon", 0, "cancelled"},
        {"zrtctl doctor | grep -A3 'Cards'", 0, "(live)"},
    };
    for (const auto& row : commands) {
        const CRun run = RunShell(row.line);
        EXPECT_EQ(row.status, run.status) << row.line << '\n' << run.printed;
        EXPECT_NE(std::string::npos, run.printed.find(row.printed)) << row.line << '\n' << run.printed;
    }
    EXPECT_EQ(std::string::npos, service.Log().find("geheim"));
}

TEST_F(CZrtctl, WatchesAndSuppliesAPasswordWhileAnotherProgramsJobWaits)
{
    setenv("ZRTMON_BUS", "session", 1);
    const CTemporaryFolder& folder = service.Folder();
    const std::string input = folder.Write("passwords", "geheim\n").string();
    const std::string waiting = service.Client().Print("Locked", service.JobFile(1)).answer;
    CProcess watch({ZRTCTL, "status", "--watch", "--printer", "Locked"}, folder.Path() / "watch");
    CProcess supply({"sh", "-c", "exec \"" ZRTCTL "\" password supply --printer Locked <" + input},
                    folder.Path() / "supply");
    EXPECT_TRUE(service.Client().AwaitJobState(waiting, "completed"));
    EXPECT_TRUE(Await([&] {
        return ReadFile(folder.Path() / "watch").find("PrinterError=1  no error\nCardCount=11") !=
               std::string::npos;
    })) << ReadFile(folder.Path() / "watch");
    for (CProcess* const process : {&watch, &supply}) {
        process->Signal(SIGINT);
        EXPECT_EQ(130, process->Status());
    }
    EXPECT_EQ(std::string::npos, ReadFile(folder.Path() / "supply").find("geheim"));
}

TEST_F(CZrtctl, SaysWhatBecomesOfAJobWithoutTheServiceAndWithoutTheBus)
{
    setenv("ZRTMON_BUS", "session", 1);
    const auto printedWithout = [&](CProcess& victim) {
        const std::filesystem::path output = service.Folder().Path() / "print";
        CProcess print({ZRTCTL, "print", job, "--printer", "Ribbon"}, output);
        EXPECT_TRUE(Await([&] { return service.Client().PrinterState("Ribbon") == "held"; }));
        EXPECT_TRUE(Await([&] { return ReadFile(output).find("waiting: ribbon") != std::string::npos; }));
        victim.Signal(SIGKILL);
        EXPECT_EQ(69, print.Status());
        return ReadFile(output);
    };
    EXPECT_NE(std::string::npos, printedWithout(service.Process()).find("the job does not go on"));
    EXPECT_EQ(69, RunShell("zrtctl status --printer Ribbon").status);
    service.Start();
    EXPECT_NE(std::string::npos,
              printedWithout(service.Bus().Process()).find("the job goes on in the service"));
}

} // namespace
} // namespace zrtmon::service
