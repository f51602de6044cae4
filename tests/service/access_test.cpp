#include "service/access.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

#include "service/metrics.h"
#include "service/requests.h"
#include "tests/service/temporary_folder.h"

namespace zrtmon::service {
namespace {

// ---------------------------------------------------------------------------------------------
// Rights

CUser User(const std::string& name, bool isPrinting, bool isPrintAdmin, uid_t uid = 1000)
{
    return {uid, name, name == "lp", isPrinting, isPrintAdmin};
}

TEST(Access, IsGivenByTable)
{
    const CUser users[] = {User("visitor", false, false), User("printing", true, false),
                           User("owner", true, false),    User("admin", false, true),
                           User("lp", true, false, 7),    User("root", false, false, 0)};
    const struct {
        Right right;
        const char* allowed; // for each user: 1 or 0
    } rows[] = {
        // visitor, printing, owner, admin, lp, root
        {Right::SeePrinters, "111111"},    {Right::SeeOwnJobs, "111111"}, {Right::SeeAllJobs, "000101"},
        {Right::Query, "011111"},          {Right::Print, "011111"},      {Right::NameOwner, "000011"},
        {Right::Perform, "000101"},        {Right::UseStored, "000101"},  {Right::ControlJob, "001111"},
        {Right::SupplyPassword, "001111"},
    };
    for (const auto& row : rows) {
        std::string allowed;
        for (const CUser& user : users) {
            allowed += IsAllowed(row.right, user, "owner") ? '1' : '0';
        }
        EXPECT_EQ(row.allowed, allowed) << static_cast<int>(row.right);
        EXPECT_STRNE("", AllowedUsers(row.right));
    }
}

TEST(Access, LooksUsersUpByTheirUid)
{
    EXPECT_TRUE(LookUpUser(0).IsRoot());
    EXPECT_EQ("root", LookUpUser(0).name);
    const CUser unknown = LookUpUser(4'000'000'000);
    EXPECT_EQ("uid 4000000000", unknown.name);
    EXPECT_FALSE(unknown.isPrinting || unknown.isPrintAdmin || unknown.isPrintSystem || unknown.IsRoot());
    const CUser lp = LookUpUser(7); // the same on every system of this family
    EXPECT_TRUE(lp.isPrintSystem && lp.isPrinting && !lp.isPrintAdmin);
}

// ---------------------------------------------------------------------------------------------
// Requests

std::optional<ErrorName> Refusal(RequestKind kind, const std::string& text)
{
    try {
        CheckRequest(kind, text);
        return std::nullopt;
    } catch (const CServiceError& error) {
        return error.Name();
    }
}

TEST(Requests, AreQueriesOrActions)
{
    const struct {
        std::string text;
        std::optional<ErrorName> asQuery;
        std::optional<ErrorName> asAction;
    } rows[] = {
        {"CardCount", std::nullopt, ErrorName::WrongKind},
        {"cARDcOUNT", std::nullopt, ErrorName::WrongKind},
        {"StationStatus/2", std::nullopt, ErrorName::WrongKind},
        {"StationStatus", ErrorName::BadData, ErrorName::WrongKind},
        {"MoveTo/3", ErrorName::WrongKind, std::nullopt},
        {"InitializeSettings/Cards", ErrorName::WrongKind, std::nullopt},
        {"EnablePassword/secret", ErrorName::WrongKind, std::nullopt},
        {"EnablePassword", ErrorName::WrongKind, ErrorName::BadData},
        {"HopperSelect/1", ErrorName::NotServed, ErrorName::NotServed},
        {"CardCuont", ErrorName::NoSuchName, ErrorName::NoSuchName},
        {"", ErrorName::NoSuchName, ErrorName::NoSuchName},
        {"MoveTo/" + std::string(5000, '1'), ErrorName::WrongKind, ErrorName::BadData},
        {std::string("MoveTo/1\0", 9), ErrorName::WrongKind, ErrorName::BadData},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.asQuery, Refusal(RequestKind::Query, row.text)) << row.text;
        EXPECT_EQ(row.asAction, Refusal(RequestKind::Action, row.text)) << row.text;
    }
}

TEST(Requests, AreRefusedWithoutTheirPasswords)
{
    try {
        CheckRequest(RequestKind::Query, "EnablePassword/secret");
        FAIL();
    } catch (const CServiceError& error) {
        EXPECT_EQ(nullptr, std::strstr(error.what(), "secret"));
        EXPECT_EQ("org.zrtmon.Error.WrongKind", error.BusName());
    }
}

// ---------------------------------------------------------------------------------------------
// Metrics

TEST(Metrics, AreCountedByPrinter)
{
    CMetrics metrics;
    metrics.AddPrinter("a \"b\"\\");
    metrics.CountJob("P", JobOutcome::Completed, 3);
    metrics.CountJob("P", JobOutcome::Completed, 2);
    metrics.CountJob("P", JobOutcome::Failed, -1);
    metrics.CountError("P", 21);
    metrics.CountPasswordWait("P");
    metrics.CountQuery("P", 300);
    metrics.CountQuery("P", 301);
    metrics.CountQuery("P", 99000);
    const std::string text = metrics.Text();
    for (const char* const line :
         {"zrtmon_cards_total{printer=\"a \\\"b\\\"\\\\\"} 0", "zrtmon_cards_total{printer=\"P\"} 5",
          "zrtmon_jobs_total{printer=\"P\",outcome=\"completed\"} 2",
          "zrtmon_jobs_total{printer=\"P\",outcome=\"failed\"} 1",
          "zrtmon_errors_total{printer=\"P\",category=\"21\"} 1",
          "zrtmon_password_waits_total{printer=\"P\"} 1",
          "zrtmon_query_seconds_bucket{printer=\"P\",le=\"0.3\"} 1",
          "zrtmon_query_seconds_bucket{printer=\"P\",le=\"0.5\"} 2",
          "zrtmon_query_seconds_bucket{printer=\"P\",le=\"30\"} 2",
          "zrtmon_query_seconds_bucket{printer=\"P\",le=\"+Inf\"} 3",
          "zrtmon_query_seconds_sum{printer=\"P\"} 99.601", "zrtmon_query_seconds_count{printer=\"P\"} 3"}) {
        EXPECT_NE(std::string::npos, text.find(std::string("\n") + line + "\n")) << line;
    }
    EXPECT_TRUE(text.ends_with("\n# EOF\n"));
}

TEST(Metrics, AreReadByAProgramThatIsNotOurs)
{
    if (std::system("command -v promtool >/dev/null") != 0) {
        GTEST_SKIP() << "promtool is not installed";
    }
    CMetrics metrics;
    metrics.AddPrinter("a \"b\"\\");
    metrics.CountJob("P", JobOutcome::Completed, 3);
    metrics.CountError("P", 21);
    metrics.CountQuery("P", 300);
    const CTemporaryFolder folder;
    const std::string file = folder.Write("zrtmon.prom", metrics.Text());
    EXPECT_EQ(0, std::system(("promtool check metrics <" + file).c_str()));
}

} // namespace
} // namespace zrtmon::service
