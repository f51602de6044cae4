// The trace of the lower port: its words, what it hides, and its two formats.
#include <set>

#include <gtest/gtest.h>

#include "host/session/port_monitor_proxy.h"
#include "host/session/protocol_description.h"
#include "host/session/trace.h"
#include "host/text/text.h"
#include "tests/host/support/flat_json.h"
#include "tests/host/support/host_fixture.h"

namespace zrtmon::test {
namespace {

using namespace std::string_literals;

const std::string kPrefix = "\x1B\0\2"s;
const std::string kSecurityQuery = kPrefix + "NP";
const std::string kStatusQuery = kPrefix + "Nr";

using Meanings = std::vector<std::pair<std::string, const char*>>; // of bytes

TEST(ProtocolDescription, NamesWhatIsWritten)
{
    const Meanings cases = {
        {kStatusQuery, "Nr query status"},
        {kPrefix + "PPL" + kPrefix + "i", "PPL move the card: PPL; i move the card: i"},
        {kPrefix + "TE0,5T\r" + kPrefix + "TE1,-3T\r", "TE write a setting, 2 times"},
        {std::string(512, '\0') + kPrefix + "XC", "XC cancel the print"},
        {kSecurityQuery + kPrefix + "4secret", "NP query security state; 4 present a password"},
        {kPrefix + "?", "unknown command 3f"},
        {"\x1B_\0\0\0\0\x20\0"s + kPrefix + "C0", "job data: packet with 8 KiB, first C card side of a job"},
        {"\x1B_\0\0"s, "job data: part of a packet header"},
        {kPrefix + "J" + kStatusQuery, "job data"},
        {"picture" + kStatusQuery, "job data"},
    };
    for (const auto& [bytes, words] : cases) {
        EXPECT_EQ(words, host::DescribeCommand(bytes));
    }
}

TEST(PasswordMask, HidesTheSameBytesWhereverTheWriteIsCut)
{
    // What is to be hidden is marked by '#' in a text of the same length.
    const Meanings secrets = {
        {kSecurityQuery + kPrefix + "4" + "RESPONSE" + kStatusQuery, "         ########     "},
        {kPrefix + "5" + "RESPONSE" + "\xFD" + kStatusQuery, "    #########     "},
        {kPrefix + "5" + "RESPONSE" + "\x73" + "clear", "    #########     "},
        {kPrefix + "5" + "RESPONSE" + "\x01" + "newpassword00000" + kStatusQuery,
         "    #########################     "},
        {kPrefix + "5" + "\x1B\0\2\x34\x1B\0\2\x35"s + "\0"s + "newpassword00000" + "4",
         "    ######################### "},
        {"\x1B" + kPrefix + "4" + "RESPONSE" + kPrefix + "5" + "RESPONSE", "     ########    ########"},
        {kStatusQuery + kPrefix + "C45", "           "},
    };
    for (const auto& [bytes, expected] : secrets) {
        for (size_t cut = 0; cut <= bytes.size(); ++cut) {
            host::CPasswordMask mask;
            std::string marks;
            for (const std::string& part : {bytes.substr(0, cut), bytes.substr(cut)}) {
                for (const bool hidden : mask.Hidden(part)) {
                    marks += hidden ? '#' : ' ';
                }
                mask.Pass(part);
            }
            EXPECT_EQ(expected, marks) << "cut at " << cut;
        }
    }
}

/// A port monitor that takes at most twelve bytes of a write and serves nothing else.
MONITOR2 NarrowMonitor()
{
    MONITOR2 table{};
    table.cbSize = sizeof table;
    table.pfnOpenPort = [](HANDLE monitor, LPWSTR, PHANDLE port) -> BOOL {
        *port = monitor;
        return TRUE;
    };
    table.pfnClosePort = [](HANDLE) -> BOOL { return TRUE; };
    table.pfnWritePort = [](HANDLE, LPBYTE, DWORD size, LPDWORD written) -> BOOL {
        *written = std::min<DWORD>(size, 12);
        SetLastError(ERROR_WRITE_FAULT);
        return size == 0 ? FALSE : TRUE;
    };
    return table;
}

TEST(Trace, HidesAPasswordThatThePortTakesInParts)
{
    const CHostFixture fixture;
    const MONITOR2 narrow = NarrowMonitor();
    uint64_t moved = 0;
    {
        host::CTrace trace(fixture.Folder() / "trace");
        int lower = 0;
        host::CPortMonitorProxy proxy(&lower, narrow, &trace);
        EXPECT_EQ(nullptr, proxy.Table()->pfnGetPrinterDataFromPort) << "an entry that the port lacks";
        wchar_t name[] = L"narrow";
        HANDLE port = nullptr;
        ASSERT_TRUE(proxy.Table()->pfnOpenPort(proxy.Monitor(), name, &port));
        std::string bytes =
            kSecurityQuery + kPrefix + "5" + "SSSSSSSS" + "\x01" + "SSSSSSSSSSSSSSSS" + kStatusQuery;
        for (size_t offset = 0; offset < bytes.size();) {
            DWORD written = 0;
            ASSERT_TRUE(proxy.Table()->pfnWritePort(port, reinterpret_cast<LPBYTE>(bytes.data() + offset),
                                                    static_cast<DWORD>(bytes.size() - offset), &written));
            offset += written;
        }
        DWORD written = 0;
        EXPECT_FALSE(proxy.Table()->pfnWritePort(port, nullptr, 0, &written));
        EXPECT_EQ(ERROR_WRITE_FAULT, GetLastError()) << "the caller sees the port's own last error";
        EXPECT_TRUE(proxy.Table()->pfnClosePort(port));
        moved = proxy.MovedBytes();
    }
    EXPECT_EQ(39u, moved);
    const std::string text = fixture.ReadFile("trace");
    EXPECT_EQ(std::string::npos, text.find("53")) << "an S of the secret: " << text;
    EXPECT_TRUE(Shows(text, "\"offered\":27,\"taken\":12,"));
    EXPECT_TRUE(Shows(text, "1b 00 02 4e 72...\"error 29\"")) << "the command after it must be shown";
}

/// Prints a job of two cards with a concurrent query and a trace of that name. Returns the trace.
std::string TraceOfAJob(const std::string& name)
{
    CHostFixture fixture;
    fixture.WriteFile("job", JobBytes(2));
    const CCommandResult result =
        fixture.Run("print @job --ask CardCount --port sim:cards=5 --trace @" + name);
    EXPECT_EQ(0, result.status) << result.err;
    return fixture.ReadFile(name);
}

TEST(Trace, HasALineOfJsonForEveryCall)
{
    size_t jobBytes = 0;
    unsigned long last = 0;
    std::set<std::string> threads;
    std::map<std::string, int> counts; // of calls and of meanings
    for (const std::string& line : Lines(TraceOfAJob("trace.jsonl"))) {
        auto record = FlatJson(line);
        const std::string meaning = record["/meaning"];
        threads.insert(record["/thread"]);
        ++counts[record["/call"]];
        ++counts[meaning];
        last = std::max(last, std::stoul(record["/ms"]));
        if (meaning.starts_with("status: ")) {
            EXPECT_EQ("from printer", record["/direction"]);
            EXPECT_EQ("ERR:", record["/text"].substr(0, 4));
            EXPECT_EQ(host::Hex(record["/text"]), record["/reply"]);
            EXPECT_EQ(std::to_string(record["/text"].size()), record["/received"]);
        }
        if (record["/call"] == "WritePort") {
            EXPECT_EQ("to printer", record["/direction"]);
            EXPECT_LE(record["/sent"].size(), 64u * 3 + 4);
            jobBytes += CountOf(meaning, "query ") == 0 ? std::stoul(record["/taken"]) : 0;
        }
    }
    EXPECT_EQ(JobBytes(2).size(), jobBytes) << "every byte of the job is in a separate write";
    EXPECT_EQ((std::set<std::string>{"main", "thread 2", "thread 3"}), threads);
    for (const char* call : {"OpenPort", "ClosePort", "StartDocPort"}) {
        EXPECT_EQ(1, counts[call]) << call;
    }
    EXPECT_GT(counts["Nr query status"], 2);
    EXPECT_GT(counts["status: busy 0, error 0, status 0, print state 0, secure 0, card count 7"], 0);
    EXPECT_GT(last, 500u);
}

TEST(Trace, NamedJsonOpensInATraceViewer)
{
    auto trace = FlatJson(TraceOfAJob("trace.json"));
    std::map<std::string, std::string> rows;
    size_t spans = 0;
    for (size_t i = 0; trace.contains("/traceEvents/" + std::to_string(i) + "/ph"); ++i) {
        const auto field = [&](const char* name) {
            return trace["/traceEvents/" + std::to_string(i) + '/' + name];
        };
        if (field("ph") == "M") {
            EXPECT_EQ("thread_name", field("name"));
            rows[field("tid")] = field("args/name");
            continue;
        }
        ++spans;
        ASSERT_EQ("X", field("ph"));
        EXPECT_EQ(std::string::npos, (field("ts") + field("dur")).find_first_not_of("0123456789"));
        EXPECT_EQ(1u, rows.count(field("tid"))) << "a row without a name";
    }
    EXPECT_EQ((std::map<std::string, std::string>{{"1", "main"}, {"2", "thread 2"}, {"3", "thread 3"}}),
              rows);
    EXPECT_GT(spans, 20u);
}

} // namespace
} // namespace zrtmon::test
