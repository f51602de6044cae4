// What the backend reads from CUPS and writes to it.
#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include <fcntl.h>

#include "service/backend/arguments.h"
#include "service/backend/job_data.h"
#include "service/backend/status_lines.h"
#include "tests/support/case_name.h"

using namespace zrtmon;
using namespace zrtmon::backend;
using zrtmon::test::CaseName;

namespace {

constexpr int64_t kMinuteMs = 60000;

struct CUriCase {
    const char* name;
    const char* uri;
    const char* printer; ///< null: refused
    int64_t holdAfterMs = 15 * kMinuteMs;
};

class DeviceUri : public testing::TestWithParam<CUriCase> {};

TEST_P(DeviceUri, IsReadOrRefused)
{
    if (GetParam().printer == nullptr) {
        EXPECT_THROW(ReadDeviceUri(GetParam().uri), CBadArgument);
        return;
    }
    const CDeviceUri uri = ReadDeviceUri(GetParam().uri);
    EXPECT_EQ(GetParam().printer, uri.printer);
    EXPECT_EQ(GetParam().holdAfterMs, uri.holdAfterMs);
}
INSTANTIATE_TEST_SUITE_P(
    Uris, DeviceUri,
    testing::Values(CUriCase{"Plain", "zrt:/desk", "desk"},
                    CUriCase{"Encoded", "zrt:/a%20b%3fc%C3%a9", "a b?cé"},
                    CUriCase{"ThreeSlashes", "zrt:///desk", "desk"},
                    CUriCase{"Seconds", "zrt:/desk?hold-after=90s", "desk", 90000},
                    CUriCase{"NoUnit", "zrt:/desk?hold-after=90", "desk", 90000},
                    CUriCase{"Minutes", "zrt:/desk?hold-after=2min", "desk", 2 * kMinuteMs},
                    CUriCase{"Hours", "zrt:/desk?hold-after=2h", "desk", 120 * kMinuteMs},
                    CUriCase{"Never", "zrt:/desk?hold-after=0", "desk", 0},
                    CUriCase{"OtherScheme", "socket://desk", nullptr}, CUriCase{"NoName", "zrt:/", nullptr},
                    CUriCase{"CutEscape", "zrt:/a%2", nullptr}, CUriCase{"BadEscape", "zrt:/a%2x", nullptr},
                    CUriCase{"SignInEscape", "zrt:/a%-1", nullptr},
                    CUriCase{"UnknownOption", "zrt:/desk?waits=1", nullptr},
                    CUriCase{"NegativeTime", "zrt:/desk?hold-after=-1", nullptr},
                    CUriCase{"NoTime", "zrt:/desk?hold-after=", nullptr},
                    CUriCase{"UnknownUnit", "zrt:/desk?hold-after=2d", nullptr},
                    CUriCase{"TimeTooLong", "zrt:/desk?hold-after=9000000000000000h", nullptr}),
    CaseName{});

TEST(DeviceUriOf, IsReadBackForEveryByte)
{
    std::string name;
    for (int byte = 1; byte < 256; ++byte) {
        name += static_cast<char>(byte);
    }
    const std::string uri = DeviceUriOf(name);
    EXPECT_EQ(std::string::npos, uri.find_first_of(" ?#\"\\"));
    EXPECT_EQ(name, ReadDeviceUri(uri).printer);
}

struct COptionCase {
    const char* name;
    const char* options;
    const char* uuid;
};

class Options : public testing::TestWithParam<COptionCase> {};

TEST_P(Options, GiveTheUuid) { EXPECT_EQ(GetParam().uuid, OptionValue(GetParam().options, "job-uuid")); }
INSTANTIATE_TEST_SUITE_P(
    Texts, Options,
    testing::Values(COptionCase{"Alone", "job-uuid=u1", "u1"},
                    COptionCase{"Among", "finishings=3 number-up=1 job-uuid=u1 date-time-at-creation= x",
                                "u1"},
                    COptionCase{"InAQuotedValue", "note='a job-uuid=no b' job-uuid=u1", "u1"},
                    COptionCase{"AfterAnEscapedQuote", "note='it\\'s job-uuid=no' job-uuid=u1", "u1"},
                    COptionCase{"OtherNames", "my-job-uuid=no job-uuid-2=no", ""},
                    COptionCase{"Quoted", "job-uuid=\"u 1\"", "u 1"}, COptionCase{"Empty", "", ""},
                    COptionCase{"OpenQuote", "a='b job-uuid=u1", ""}),
    CaseName{});

TEST(Arguments, AreAJob)
{
    const char* const words[] = {"7", "ann", "Badge", "3", "job-uuid=urn:uuid:12-34", "/spool/d7"};
    const CPrintRequest request = ReadArguments(words, "zrt:/desk");
    EXPECT_EQ("desk", request.device.printer);
    EXPECT_EQ("ann", request.owner);
    EXPECT_EQ("Badge", request.title);
    EXPECT_EQ("12-34", request.uuid);
    EXPECT_EQ(3, request.copies);
    EXPECT_EQ("/spool/d7", request.fileName);

    const CPrintRequest piped = ReadArguments(std::span(words).first(5), "zrt:/desk");
    EXPECT_EQ(1, piped.copies) << "the filter has made them";
    EXPECT_EQ("", piped.fileName);

    EXPECT_THROW(ReadArguments(std::span(words).first(4), "zrt:/desk"), CBadArgument);
    EXPECT_THROW(ReadArguments(words, nullptr), CBadArgument);
    for (const char* copies : {"0", "-1", "3x", "", "10001"}) {
        const char* const wrong[] = {"7", "ann", "Badge", copies, "", "/spool/d7"};
        EXPECT_THROW(ReadArguments(wrong, "zrt:/desk"), CBadArgument) << copies;
    }
}

TEST(Password, IsTakenOutOfTheEnvironment)
{
    char user[] = "AUTH_USERNAME=ann";
    char entry[] = "AUTH_PASSWORD=clerk-pw";
    char* environment[] = {user, entry, nullptr};
    CSecret password;
    TakePassword(environment, password);
    EXPECT_EQ("clerk-pw", password.Text());
    EXPECT_EQ(std::string("AUTH_PASSWORD=") + std::string(8, '\0'), std::string(entry, sizeof entry - 1));
    EXPECT_STREQ("AUTH_USERNAME=ann", user);
}

struct CKeywordCase {
    int category;
    std::string_view keyword;
};

TEST(StateKeyword, IsThatOfTheTable)
{
    const CKeywordCase cases[] = {{1, ""},
                                  {6, ""},
                                  {20, "marker-supply-empty-error"},
                                  {26, "marker-supply-empty-error"},
                                  {19, "other-error"},
                                  {27, "other-error"},
                                  {0, "other-error"},
                                  {100, ""}};
    for (const CKeywordCase& row : cases) {
        EXPECT_EQ(row.keyword, StateKeyword(row.category)) << row.category;
    }
}

using CLines = std::vector<std::string>;

TEST(StatusLines, SetAndClearEachKeywordOnce)
{
    CLines written;
    {
        CStatusLines lines([&](const std::string& line) { written.push_back(line); });
        lines.Set({"connecting-to-device"});
        lines.Set({"connecting-to-device"});
        lines.Set({"other-error"});
        lines.Set({});
        lines.Set({"other-error"});
    }
    EXPECT_EQ((CLines{"STATE: +connecting-to-device", "STATE: -connecting-to-device", "STATE: +other-error",
                      "STATE: -other-error", "STATE: +other-error", "STATE: -other-error"}),
              written);
}

TEST(StatusLines, ClearWhatAKilledBackendLeft)
{
    CLines written;
    CStatusLines lines([&](const std::string& line) { written.push_back(line); },
                       "paused,other-error,media-low");
    lines.Set({"connecting-to-device"});
    EXPECT_EQ((CLines{"STATE: -other-error", "STATE: +connecting-to-device"}), written);
}

TEST(StatusLines, AreOneLineEach)
{
    CLines written;
    CStatusLines lines([&](const std::string& line) { written.push_back(line); });
    lines.Info("READY\nCARDS 1");
    lines.Info("READY\nCARDS 1");
    lines.Error("held:\t\x1b[2Jgone");
    lines.Cards(2);
    lines.Cards(2);
    lines.Cards(3);
    lines.Ribbon("PartNumber=R1;Type=YM'CKO;PercentRemaining=70");
    lines.Ribbon("PartNumber=R1;Type=YMCKO");
    lines.Ribbon("PercentRemaining=101");
    EXPECT_EQ(
        (CLines{"INFO: READY CARDS 1", "ERROR: held: \\x1b[2Jgone", "PAGE: 1 1", "PAGE: 2 1", "PAGE: 3 1",
                "ATTR: marker-types=ribbon marker-colors=none marker-names='Ribbon YMCKO' marker-levels=70"}),
        written);
}

class CScratchFile {
public:
    explicit CScratchFile(const std::string& text)
        : m_name(testing::TempDir() + "backend_test_" + std::to_string(getpid()))
    {
        std::ofstream(m_name) << text;
    }
    ~CScratchFile() { std::remove(m_name.c_str()); }
    const std::string& Name() const { return m_name; }

private:
    const std::string m_name;
};

std::string AllOf(const service::CDescriptor& file)
{
    std::string text(100, '\0');
    const ssize_t got = read(file.Get(), text.data(), text.size());
    text.resize(got < 0 ? 0 : static_cast<size_t>(got));
    return text;
}

TEST(JobData, IsTheFileItsCopiesOrTheInput)
{
    int stop[2];
    ASSERT_EQ(0, pipe(stop));
    const CScratchFile file("card;");
    EXPECT_EQ("card;", AllOf(OpenJobData({file.Name(), 1, -1, stop[0], testing::TempDir()})));
    EXPECT_EQ("card;card;card;", AllOf(OpenJobData({file.Name(), 3, -1, stop[0], testing::TempDir()})));

    int input[2];
    ASSERT_EQ(0, pipe(input));
    ASSERT_EQ(4, write(input[1], "pipe", 4));
    close(input[1]);
    EXPECT_EQ("pipe", AllOf(OpenJobData({"", 1, input[0], stop[0], testing::TempDir()})));

    EXPECT_THROW(OpenJobData({file.Name() + "x", 1, -1, stop[0], testing::TempDir()}), std::system_error);
    EXPECT_THROW(OpenJobData({file.Name(), 2, -1, stop[0], "/nowhere"}), std::system_error);
    close(input[0]);
    close(stop[0]);
    close(stop[1]);
}

TEST(JobData, IsNotReadOnceStopped)
{
    int stop[2];
    int input[2];
    ASSERT_EQ(0, pipe(stop));
    ASSERT_EQ(0, pipe(input));
    ASSERT_EQ(1, write(stop[1], "x", 1));
    EXPECT_FALSE(OpenJobData({"", 1, input[0], stop[0], testing::TempDir()}));
    for (const int descriptor : {stop[0], stop[1], input[0], input[1]}) {
        close(descriptor);
    }
}

} // namespace
