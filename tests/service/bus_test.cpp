// The shipped service as its clients see it.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include "service/database.h"
#include "tests/service/service_process.h"

namespace zrtmon::service {
namespace {

const std::string kFast = "port = sim:cards=10,card-ms=20,buffer-cards=1";
// Slow enough for something to happen while it prints.
const std::string kSlow = "port = sim:cards=10,card-ms=200";
const std::string kRibbon = "port = sim:cards=10,card-ms=20,error=83,error-at-card=1";
const std::string kLocked = "port = sim:cards=10,card-ms=20,protected=1,user-password=geheim";

COptionMap Uuid(const std::string& uuid) { return {{"uuid", sdbus::Variant(uuid)}}; }

template <class Value>
Value Field(const std::map<std::string, sdbus::Variant>& entry, const char* key)
{
    return entry.at(key).get<Value>();
}

// ---------------------------------------------------------------------------------------------
// Queries and actions

TEST(Service, AnswersQueriesAndPerformsActionsEachByItsOwnMethod)
{
    CServiceProcess service({{"Fast", kFast}, {"File", "port = file:/dev/null"}, {"Odd", "port = nowhere:"}});
    service.Start();
    CClient& client = service.Client();
    EXPECT_EQ((std::vector<std::string>{"Fast", "File"}), client.Printers())
        << "one bad printer does not stop the others";
    EXPECT_NE(std::string::npos, service.Log().find("Odd.conf:2: port: "));
    const struct {
        const char* name;
        const char* query; // an answer, or an error
        const char* perform;
    } rows[] = {
        {"CardCount", "10", "WrongKind"},          {"MoveTo/3", "WrongKind", ""},
        {"CardCuont", "NoSuchName", "NoSuchName"}, {"FilmInfo", "NotServed", "NotServed"},
        {"MoveTo", "WrongKind", "BadData"},
    };
    for (const auto& row : rows) {
        const CCallResult query = client.Query("Fast", row.name);
        EXPECT_EQ(row.query, query.error.empty() ? query.answer : query.error) << row.name;
        const CCallResult perform = client.Perform("Fast", row.name);
        EXPECT_EQ(row.perform, perform.error.empty() ? perform.answer : perform.error) << row.name;
    }
    const CCallResult refusal = client.Query("File", "CardCount");
    EXPECT_EQ("NotServed", refusal.error);
    EXPECT_TRUE(refusal.message.ends_with(" (error 50)")) << refusal.message;
    EXPECT_EQ("org.freedesktop.DBus.Error.UnknownObject", client.Query("Nobody", "CardCount").error);
}

TEST(Service, AQueryThatWaitsKeepsNobodyWaiting)
{
    CServiceProcess service({{"Mute", "port = sim:never-answer=1"}, {"Fast", kFast}});
    service.Start();
    service.Client().SendQuery("Mute", "CardCount"); // takes seconds
    EXPECT_EQ("10", service.Client().Query("Fast", "CardCount").answer);
    EXPECT_EQ("idle", service.Client().PrinterState("Mute"));
}

TEST(Service, DropsTheQueriesOfAClientThatHasLeft)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    {
        CClient leaver(service.Bus().Address());
        for (int i = 0; i < 100; ++i) { // 25 seconds' worth
            leaver.SendQuery("Fast", "CardCount");
        }
        EXPECT_EQ("idle", leaver.PrinterState("Fast")); // the service has read them
    }
    EXPECT_EQ("10", service.Client().Query("Fast", "CardCount").answer);
}

// ---------------------------------------------------------------------------------------------
// Jobs

TEST(Service, PrintsAndTellsOfItsEnd)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    CClient& client = service.Client();
    const CCallResult job = client.Print("Fast", service.JobFile(3));
    ASSERT_EQ("/org/zrtmon/jobs/1", job.answer) << job.message;
    ASSERT_TRUE(client.AwaitJobState(job.answer, "completed")) << service.Log();
    EXPECT_EQ(3, client.Property<int32_t>(job.answer, CClient::kJob, "Cards"));
    EXPECT_EQ(CServiceProcess::JobBytes(3).size(),
              client.Property<uint64_t>(job.answer, CClient::kJob, "Bytes"));
    EXPECT_EQ(13, client.Property<int32_t>(CClient::PathOf("Fast"), CClient::kPrinter, "CardCount"));
    const auto jobs = client.Jobs();
    ASSERT_EQ(1u, jobs.size());
    EXPECT_EQ("completed", Field<std::string>(jobs[0], "outcome"));
    EXPECT_EQ(3, Field<int32_t>(jobs[0], "cards"));
    EXPECT_LE(Field<int64_t>(jobs[0], "started"), Field<int64_t>(jobs[0], "ended"));
    EXPECT_EQ("root", geteuid() == 0 ? Field<std::string>(jobs[0], "owner") : "root");
}

TEST(Service, AnswersQueriesWhileAJobPrintsAndPrintsOneJobAtATime)
{
    CServiceProcess service({{"Slow", kSlow}});
    service.Start();
    CClient& client = service.Client();
    const std::string first = client.Print("Slow", service.JobFile(4)).answer;
    const std::string second = client.Print("Slow", service.JobFile(1)).answer;
    ASSERT_TRUE(client.AwaitJobState(first, "printing"));
    EXPECT_EQ("", client.Query("Slow", "CardCount").error);
    EXPECT_EQ("printing", client.PrinterState("Slow"));
    EXPECT_EQ("waiting", client.JobState(second));
    EXPECT_EQ("", client.Cancel(second).error);
    EXPECT_TRUE(client.AwaitJobState(second, "cancelled"));
    EXPECT_TRUE(client.AwaitJobState(first, "completed")) << service.Log();
}

TEST(Service, SignalsWhatChanges)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    CClient watcher(service.Bus().Address());
    std::set<std::string> states;
    std::string outcome;
    const auto printer = watcher.Proxy(CClient::PathOf("Fast"));
    printer->uponSignal("PropertiesChanged")
        .onInterface("org.freedesktop.DBus.Properties")
        .call([&](const std::string&, const std::map<std::string, sdbus::Variant>& changed,
                  const std::vector<std::string>&) {
            if (changed.count("State") != 0) {
                states.insert(changed.at("State").get<std::string>());
            }
        });
    printer->finishRegistration();
    const auto job = watcher.Proxy("/org/zrtmon/jobs/1");
    job->uponSignal("Ended")
        .onInterface(CClient::kJob)
        .call([&](const std::string& how, const std::string&, uint64_t, int32_t cards) {
            outcome = how + ' ' + std::to_string(cards);
        });
    job->finishRegistration();
    service.Client().Print("Fast", service.JobFile(2));
    EXPECT_TRUE(Await([&] {
        while (watcher.Connection().processPendingRequest()) {
        }
        return !outcome.empty() && states.count("idle") != 0;
    }));
    EXPECT_EQ("completed 2", outcome);
    EXPECT_EQ((std::set<std::string>{"idle", "printing"}), states);
}

TEST(Service, HoldsAJobWhileThePrinterHasAnErrorAndCancelsIt)
{
    CServiceProcess service({{"Ribbon", kRibbon}});
    service.Start();
    CClient& client = service.Client();
    const std::string job = client.Print("Ribbon", service.JobFile(3)).answer;
    ASSERT_TRUE(client.AwaitJobState(job, "held")) << service.Log();
    EXPECT_EQ(21, client.Property<int32_t>(job, CClient::kJob, "Category"));
    EXPECT_FALSE(client.Property<bool>(job, CClient::kJob, "WantsPassword"));
    EXPECT_EQ("held", client.PrinterState("Ribbon"));
    EXPECT_EQ(83, client.Property<int32_t>(CClient::PathOf("Ribbon"), CClient::kPrinter, "DeviceError"));
    EXPECT_EQ("BadData", client.SupplyPassword(job, "geheim").error) << "it does not wait for one";
    client.Cancel(job);
    ASSERT_TRUE(client.AwaitJobState(job, "cancelled")) << service.Log();
    EXPECT_EQ(0, client.Property<int32_t>(job, CClient::kJob, "Cards"));
}

TEST(Service, PrintsAHeldJobWithItsPasswordWhichIsNeverOnDisk)
{
    CServiceProcess service({{"Locked", kLocked}});
    service.Start();
    CClient& client = service.Client();
    const std::string job = client.Print("Locked", service.JobFile(1)).answer;
    const auto wantsPassword = [&] { return client.Property<bool>(job, CClient::kJob, "WantsPassword"); };
    ASSERT_TRUE(Await(wantsPassword)) << service.Log();
    EXPECT_EQ("held", client.JobState(job));
    EXPECT_EQ(100, client.Property<int32_t>(job, CClient::kJob, "Category"));
    for (const std::string& bad : {std::string(255, 'x'), std::string("a/b"), std::string(1, '\0')}) {
        EXPECT_EQ("BadData", client.SupplyPassword(job, bad).error);
    }
    EXPECT_EQ("AccessDenied", client.ReadStored("Locked", "passWORD").error);
    EXPECT_EQ("", client.SupplyPassword(job, "geheim").error);
    EXPECT_FALSE(wantsPassword());
    ASSERT_TRUE(client.AwaitJobState(job, "completed")) << service.Log();
    EXPECT_EQ("", client.WriteStored("Locked", "Password", 3, "geheim").error);
    service.Process().Signal(SIGTERM);
    EXPECT_EQ(0, service.Process().Status());
    for (const auto& file : std::filesystem::directory_iterator(service.Folder().Path() / "state")) {
        EXPECT_EQ(std::string::npos, ReadFile(file.path()).find("geheim")) << file.path();
    }
    EXPECT_EQ(std::string::npos, service.Log().find("geheim"));
}

TEST(Service, TakesAJobThroughAPipeAndLeavesItsClientAlone)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    std::string job;
    {
        const CDescriptor reader(ends[0]);
        CClient leaver(service.Bus().Address());
        job = leaver.Print("Fast", reader).answer;
    }
    CDescriptor writer(ends[1]);
    const std::string bytes = CServiceProcess::JobBytes(2);
    const size_t half = bytes.size() / 2;
    ASSERT_EQ(static_cast<ssize_t>(half), write(writer.Get(), bytes.data(), half));
    EXPECT_TRUE(service.Client().AwaitJobState(job, "printing"));
    ASSERT_EQ(static_cast<ssize_t>(bytes.size() - half),
              write(writer.Get(), bytes.data() + half, bytes.size() - half));
    writer = CDescriptor();
    EXPECT_TRUE(service.Client().AwaitJobState(job, "completed")) << service.Log();
    EXPECT_EQ(2, service.Client().Property<int32_t>(job, CClient::kJob, "Cards"));
}

TEST(Service, RefusesWhatItCannotPrint)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    CClient& client = service.Client();
    const CDescriptor device(open("/dev/zero", O_RDONLY | O_CLOEXEC));
    const CDescriptor huge(open(service.Folder().Write("huge", "").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(0, ftruncate(huge.Get(), off_t{5} << 30));
    EXPECT_EQ("BadData", client.Print("Fast", device).error);
    EXPECT_EQ("TooLarge", client.Print("Fast", huge).error);
    EXPECT_EQ("BadData",
              client.Print("Fast", service.JobFile(1), {{"copies", sdbus::Variant(int32_t{2})}}).error);
    EXPECT_EQ("BadData",
              client.Print("Fast", service.JobFile(1), {{"uuid", sdbus::Variant(int32_t{2})}}).error);
    EXPECT_TRUE(client.Jobs().empty());
}

TEST(Service, PrintsNoJobTwice)
{
    CServiceProcess service({{"Slow", kSlow}});
    service.Start();
    CClient& client = service.Client();
    const std::string first = client.Print("Slow", service.JobFile(2), Uuid("u")).answer;
    EXPECT_EQ("Running", client.Print("Slow", service.JobFile(2), Uuid("u")).error);
    ASSERT_TRUE(client.AwaitJobState(first, "completed"));
    const CCallResult printed = client.Print("Slow", service.JobFile(2), Uuid("u"));
    EXPECT_EQ("Printed", printed.error);
    EXPECT_NE(std::string::npos, printed.message.find("2 cards")) << printed.message;
    EXPECT_EQ("Printed", client.Print("Slow", service.JobFile(2), Uuid("u")).error)
        << "too soon for a person";
    EXPECT_EQ("", client.Acknowledge(first).error);
    const std::string released = client.Print("Slow", service.JobFile(2), Uuid("u")).answer;
    ASSERT_NE("", released);
    ASSERT_TRUE(Await([&] { return client.Property<uint64_t>(released, CClient::kJob, "Bytes") > 0; }));
    client.Cancel(released);
    ASSERT_TRUE(client.AwaitJobState(released, "cancelled"));
    EXPECT_EQ("", client.Acknowledge(released).error);
    EXPECT_EQ("", client.Print("Slow", service.JobFile(1), Uuid("u")).error) << "a person knows already";
}

// ---------------------------------------------------------------------------------------------
// Start and stop

TEST(Service, AKilledServiceCancelsAtThePrinterAndKnowsHowFarItsJobGot)
{
    CServiceProcess service({{"Slow", kSlow}});
    service.Start();
    const std::string job = service.Client().Print("Slow", service.JobFile(3), Uuid("u")).answer;
    ASSERT_TRUE(Await([&] { return service.Client().Property<int32_t>(job, CClient::kJob, "Cards") > 0; }));
    const std::string waiting = service.Client().Print("Slow", service.JobFile(1), Uuid("w")).answer;
    service.Process().Signal(SIGKILL);
    service.Process().Status();
    service.Start();
    EXPECT_TRUE(Await([&] { return service.Log().find("cancelled at the printer") != std::string::npos; }));
    const auto jobs = service.Client().Jobs();
    ASSERT_EQ(2u, jobs.size());
    EXPECT_EQ("interrupted", Field<std::string>(jobs[0], "outcome"));
    EXPECT_LT(0, Field<int32_t>(jobs[0], "cards"));
    EXPECT_LT(0u, Field<uint64_t>(jobs[0], "bytes"));
    EXPECT_EQ("Interrupted", service.Client().Print("Slow", service.JobFile(1), Uuid("u")).error);
    EXPECT_EQ("", service.Client().Print("Slow", service.JobFile(1), Uuid("w")).error)
        << "none of it has left";
}

TEST(Service, AStopLetsTheRunningJobEndAndTakesNothingNew)
{
    CServiceProcess service({{"Slow", kSlow}});
    service.Start();
    CClient& client = service.Client();
    const std::string job = client.Print("Slow", service.JobFile(4), Uuid("u")).answer;
    ASSERT_TRUE(Await([&] { return client.Property<uint64_t>(job, CClient::kJob, "Bytes") > 0; }));
    const std::string waiting = client.Print("Slow", service.JobFile(1)).answer;
    service.Process().Signal(SIGTERM);
    ASSERT_TRUE(client.AwaitJobState(waiting, "interrupted"));
    EXPECT_EQ("Stopping", client.Print("Slow", service.JobFile(1)).error);
    EXPECT_EQ("Stopping", client.Query("Slow", "CardCount").error);
    EXPECT_EQ(0, service.Process().Status());
    service.Start();
    EXPECT_EQ("Printed", client.Print("Slow", service.JobFile(4), Uuid("u")).error);
}

TEST(Service, ALostBusEndsIt)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    CClient& client = service.Client();
    const std::string job = client.Print("Fast", service.JobFile(8)).answer;
    ASSERT_TRUE(Await([&] { return client.Property<uint64_t>(job, CClient::kJob, "Bytes") > 0; }));
    for (int i = 0; i < 6; ++i) { // one runs, and the others wait
        client.SendQuery("Fast", "CardCount");
    }
    EXPECT_NE("", client.PrinterState("Fast")); // the service has read them
    service.Bus().Process().Signal(SIGKILL);
    EXPECT_EQ(69, service.Process().Status()) << service.Log();
    EXPECT_NE(std::string::npos, service.Log().find("completed: 8 cards")) << service.Log();
}

TEST(Service, AJobWhoseStartTheJournalDoesNotTakeWaits)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    CClient& client = service.Client();
    CDatabase database(service.Database());
    database.Execute("CREATE TRIGGER full BEFORE UPDATE OF started ON job BEGIN"
                     " SELECT RAISE(ABORT, 'disk full'); END");
    const std::string job = client.Print("Fast", service.JobFile(1)).answer;
    ASSERT_TRUE(client.AwaitJobState(job, "held")) << service.Log();
    EXPECT_EQ("the journal cannot be written: the database: disk full",
              client.Property<std::string>(job, CClient::kJob, "Reason"));
    client.Cancel(job);
    EXPECT_TRUE(client.AwaitJobState(job, "cancelled")) << service.Log();
    EXPECT_EQ("10", client.Query("Fast", "CardCount").answer) << "nothing of it has left";
}

TEST(Service, APrinterWhoseValuesCannotBeReadDoesNotWorkWithoutThem)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    CClient& client = service.Client();
    ASSERT_EQ("", client.WriteStored("Fast", "Mine", 1, "x").error);
    service.Process().Signal(SIGTERM);
    ASSERT_EQ(0, service.Process().Status());
    CDatabase database(service.Database());
    database.Execute("ALTER TABLE value RENAME TO hidden");
    service.Start();
    EXPECT_EQ("failed", client.PrinterState("Fast"));
    EXPECT_EQ("NoDevice", client.Query("Fast", "CardCount").error);
    database.Execute("ALTER TABLE hidden RENAME TO value");
    EXPECT_EQ("10", client.Query("Fast", "CardCount").answer) << service.Log();
    EXPECT_EQ("1:x", client.ReadStored("Fast", "Mine").answer);
}

TEST(Service, AReloadCorrectsThePortOfAPrinterThatHasACancelDue)
{
    CServiceProcess service({{"Slow", kSlow}});
    service.Start();
    CClient& client = service.Client();
    const std::string job = client.Print("Slow", service.JobFile(3)).answer;
    ASSERT_TRUE(Await([&] { return client.Property<uint64_t>(job, CClient::kJob, "Bytes") > 0; }));
    service.Process().Signal(SIGKILL);
    service.Process().Status();
    service.Configure("Slow", "port = tcp:127.0.0.1:1"); // nobody listens
    service.Start();
    ASSERT_TRUE(Await([&] {
        return service.Log().find("cancelled at the printer first") != std::string::npos;
    })) << service.Log();
    service.Configure("Slow", kFast);
    service.Process().Signal(SIGHUP);
    EXPECT_TRUE(Await([&] { return client.PrinterState("Slow") == "idle"; })) << service.Log();
    EXPECT_EQ("10", client.Query("Slow", "CardCount").answer) << service.Log();
    EXPECT_TRUE(Await([&] { return service.Log().find("; cancelled at the printer") != std::string::npos; }));
}

TEST(Service, AReloadLeavesUnchangedPrintersAloneAndWaitsForJobs)
{
    CServiceProcess service(
        {{"Busy", kSlow}, {"Gone", kSlow + ",seed=2"}, {"Broken", kFast}, {"Same", kFast + ",seed=3"}});
    service.Start();
    CClient& client = service.Client();
    const std::string changed = client.Print("Busy", service.JobFile(8)).answer;
    const std::string removed = client.Print("Gone", service.JobFile(8)).answer;
    client.Perform("Same", "MoveTo/3");
    service.Configure("Busy", kFast + ",seed=4");
    service.RemoveFile("Gone");
    service.Configure("Broken", "port = nowhere:");
    service.Configure("New", kFast + ",seed=5");
    for (const std::string& job :
         {changed, removed}) { // before its first byte, a job of a removed printer ends
        ASSERT_TRUE(Await([&] { return client.Property<uint64_t>(job, CClient::kJob, "Bytes") > 0; }));
    }
    service.Process().Signal(SIGHUP);
    ASSERT_TRUE(Await([&] { return client.Printers().size() == 5; })) << service.Log();
    EXPECT_EQ("NoSuchPrinter", client.Print("Gone", service.JobFile(1)).error);
    EXPECT_NE(std::string::npos,
              client.Property<std::string>(CClient::PathOf("Busy"), CClient::kPrinter, "Port").find("200"));
    EXPECT_TRUE(client.AwaitJobState(changed, "completed")) << service.Log();
    EXPECT_TRUE(client.AwaitJobState(removed, "completed")) << service.Log();
    EXPECT_TRUE(Await([&] { return client.Printers().size() == 4; }));
    EXPECT_EQ(std::string::npos,
              client.Property<std::string>(CClient::PathOf("Busy"), CClient::kPrinter, "Port").find("200"));
    EXPECT_EQ("10", client.Query("Broken", "CardCount").answer) << "as it was";
    EXPECT_EQ("10", client.Query("New", "CardCount").answer);
    const std::string log = service.Log();
    const std::string opened = "printer Same: port";
    EXPECT_EQ(log.find(opened), log.rfind(opened)) << "opened once";
}

TEST(Service, KeepsStoredValues)
{
    CServiceProcess service({{"Fast", kFast}});
    service.Start();
    CClient& client = service.Client();
    EXPECT_EQ("NoSuchName", client.ReadStored("Fast", "Mine").error);
    EXPECT_EQ("", client.WriteStored("Fast", "Mine", 3, std::string("a\0b", 3)).error);
    EXPECT_EQ("", client.WriteStored("Fast", "Other", 1, "x").error);
    EXPECT_EQ("TooLarge", client.WriteStored("Fast", "Large", 3, std::string((1 << 20) + 1, 'x')).error);
    EXPECT_EQ("", client.RemoveStored("Fast", "OTHER").error);
    EXPECT_EQ("NoSuchName", client.RemoveStored("Fast", "Other").error);
    const std::string job = client.Print("Fast", service.JobFile(2)).answer;
    ASSERT_TRUE(client.AwaitJobState(job, "completed"));
    // What the monitor has published is stored soon after the document; then nothing asks the service to end
    // well.
    EXPECT_EQ("", client.WriteStored("Fast", "Last", 4, "1").error);
    service.Process().Signal(SIGKILL);
    service.Process().Status();
    service.Start();
    EXPECT_EQ(std::string("3:a\0b", 5), client.ReadStored("Fast", "mine").answer);
    EXPECT_EQ("NoSuchName", client.ReadStored("Fast", "Other").error);
    EXPECT_EQ(12, client.Property<int32_t>(CClient::PathOf("Fast"), CClient::kPrinter, "CardCount"));
}

// ---------------------------------------------------------------------------------------------
// Rights

struct CTestUser {
    const char* name;
    uid_t uid;
};

/// In no group, in lp, in lpadmin; and the print system's own user.
constexpr CTestUser kUsers[] = {{"visitor", 61001}, {"printing", 61002}, {"admin", 61003}, {"lp", 7}};

/// Runs body as another user in a process of its own, and gives what it returned.
std::string AsUser(uid_t uid, const std::function<std::string()>& body)
{
    int ends[2];
    EXPECT_EQ(0, pipe(ends));
    const pid_t child = fork();
    if (child == 0) {
        setgroups(0, nullptr);
        const bool isOther = setresgid(uid, uid, uid) == 0 && setresuid(uid, uid, uid) == 0;
        std::string text = "cannot become that user";
        try {
            text = isOther ? body() : text;
        } catch (const sdbus::Error& error) {
            text = error.getMessage();
        }
        [[maybe_unused]] const ssize_t ignored = write(ends[1], text.data(), text.size());
        _exit(0);
    }
    close(ends[1]);
    std::string text(4096, '\0');
    size_t size = 0;
    for (ssize_t count = 0; (count = read(ends[0], text.data() + size, text.size() - size)) > 0;) {
        size += static_cast<size_t>(count);
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
    text.resize(size);
    return text;
}

/// Each method in turn: '1' allowed, '0' denied, else the unexpected error.
std::string Rights(const std::string& address, const CDescriptor& jobFile, const std::string& ownJob,
                   const std::string& otherJob)
{
    CClient client(address);
    std::string text;
    const auto note = [&](const CCallResult& result) {
        text += result.error.empty() || result.error == "BadData" ? "1"
                : result.error == "AccessDenied"                  ? "0"
                                                                  : result.error;
    };
    note(client.Query("Fast", "CardCount"));
    note(client.Perform("Fast", "MoveTo/3"));
    note(client.Print("Fast", jobFile));
    note(client.Print("Fast", jobFile, {{"owner", sdbus::Variant(std::string("somebody"))}}));
    note(client.ReadStored("Fast", "Mine"));
    note(client.WriteStored("Fast", "Mine", 1, "x"));
    note(client.WriteStored("Fast", "CurrentSettings", 1, "x"));
    note(client.RemoveStored("Fast", "CurrentSettings"));
    for (const std::string& job : {ownJob, otherJob}) {
        text += ' ';
        note(client.SupplyPassword(job, "x")); // BadData: allowed, but it waits for none
        note(client.Acknowledge(job));
        note(client.Cancel(job));
    }
    return text + ' ' + std::to_string(client.Jobs().size());
}

TEST(Service, GivesRightsByUserAndGroup)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become the users that this tries";
    }
    if (system("unshare -m true 2>/dev/null") != 0) {
        GTEST_SKIP() << "no mount namespaces here: the users that this tries cannot be made up";
    }
    // A system with these users, for the bus and the service alone.
    const CTemporaryFolder folder;
    std::string passwd = "root:x:0:0::/:/bin/false\n";
    for (const CTestUser& user : kUsers) {
        passwd += user.name + std::string(":x:") + std::to_string(user.uid) +
                  (user.uid == 7 ? ":7" : ":61000") + "::/:/bin/false\n";
    }
    const std::string passwdFile = folder.Write("passwd", passwd);
    const std::string groupFile =
        folder.Write("group", "root:x:0:\nlp:x:7:printing\nlpadmin:x:105:admin\nusers:x:61000:\n");
    const std::string script = "mount --bind '" + passwdFile + "' /etc/passwd && mount --bind '" + groupFile +
                               "' /etc/group && exec \"$@\"";
    CServiceProcess service({{"Fast", kFast}});
    service.Start({"unshare", "-m", "sh", "-c", script, "sh"});
    ASSERT_EQ("", service.Client().WriteStored("Fast", "Mine", 1, "x").error);
    const CDescriptor jobFile = service.JobFile(1);
    const auto jobOf = [&](const char* owner) {
        const CCallResult job =
            service.Client().Print("Fast", jobFile, {{"owner", sdbus::Variant(std::string(owner))}});
        EXPECT_EQ("", job.error);
        return job.answer;
    };
    const std::string other = jobOf("somebody");
    const struct {
        const CTestUser& user;
        // query, perform, print, print for another, read, write, policy, remove; own job: password,
        // acknowledge, cancel; another's job; jobs seen
        const char* rights;
    } rows[] = {
        {kUsers[0], "00000000 111 000 1"},
        {kUsers[1], "10100000 111 000 2"},
        {kUsers[2], "11101111 111 111 6"},
        {kUsers[3], "10110000 111 111 3"},
    };
    for (const auto& row : rows) {
        const std::string own = jobOf(row.user.name);
        const std::string rights =
            AsUser(row.user.uid, [&] { return Rights(service.Bus().Address(), jobFile, own, other); });
        EXPECT_EQ(row.rights, rights) << row.user.name;
    }
    // A user who prints for another is in the journal beside the owner.
    bool isKnown = false;
    for (const auto& entry : service.Client().Jobs()) {
        isKnown = isKnown || (Field<std::string>(entry, "owner") == "somebody" &&
                              Field<std::string>(entry, "submitter") == "lp");
    }
    EXPECT_TRUE(isKnown);
}

} // namespace
} // namespace zrtmon::service
