#include <gtest/gtest.h>

#include <set>

#include "simulator/printer_options.h"

namespace zrtmon::sim {
namespace {

TEST(PrinterOptions, EveryOptionTakesItsDefaultAndShowsAnotherValue)
{
    std::set<std::string> names;
    for (const OptionHelp& option : PrinterOptionHelp()) {
        SCOPED_TRACE(option.name);
        EXPECT_TRUE(names.insert(option.name).second);
        std::string problem;
        EXPECT_TRUE(ParsePrinterOptions(option.name + "=" + option.defaultValue, &problem)) << problem;
        const bool isText = option.form == "TEXT";
        EXPECT_EQ(isText, ParsePrinterOptions(option.name + "=x", &problem).has_value());
        EXPECT_EQ(isText, problem.empty()) << problem;
    }
    EXPECT_EQ(31u, names.size());
}

TEST(PrinterOptions, ReachTheirMembers)
{
    std::string problem;
    const auto options =
        ParsePrinterOptions("cards=250,error=83,error-at-card=2,clear-ms=1500,card-ms=7,mag=0,"
                            "oem=1,ribbon=12,track2=;5=a b,seed=4294967295,cards=251",
                            &problem);
    ASSERT_TRUE(options) << problem;
    EXPECT_EQ(251u, options->cardCount) << "the last value counts";
    EXPECT_EQ(83u, options->error);
    EXPECT_EQ(2u, options->errorAtCard);
    EXPECT_EQ(1500u, options->clearMs);
    EXPECT_EQ(7u, options->cardMs);
    EXPECT_FALSE(options->magModule);
    EXPECT_TRUE(options->oemSupplies);
    EXPECT_EQ(12u, options->ribbonPercent);
    EXPECT_EQ(";5=a b", options->track2);
    EXPECT_EQ(4294967295u, options->seed);
}

struct BadPort {
    const wchar_t* name;
    const char* problem;
};

TEST(PrinterOptions, SayWhatIsWrongAndWhatWouldDo)
{
    const BadPort kBad[] = {
        {L"sim:card-m=5", "unknown printer option 'card-m'; did you mean 'card-ms'?"},
        {L"sim:error=83,eror-at-card=2",
         "unknown printer option 'eror-at-card'; did you mean 'error-at-card'?"},
        {L"sim:cards", "the printer option 'cards' lacks its value; write cards=N"},
        {L"sim:mag", "the printer option 'mag' lacks its value; write mag=0|1"},
        {L"sim:cards=", "the printer option 'cards' wants a whole number from 0 to 4294967295, not ''"},
        {L"sim:cards=-1", "the printer option 'cards' wants a whole number from 0 to 4294967295, not '-1'"},
        {L"sim:cards=4294967296",
         "the printer option 'cards' wants a whole number from 0 to 4294967295, not '4294967296'"},
        {L"sim:ribbon=101", "the printer option 'ribbon' wants a whole number from 0 to 100, not '101'"},
        {L"sim:card-ms=5s", "the printer option 'card-ms' wants a whole number from 0 to 86400000, not '5s'"},
        {L"sim:mag=yes", "the printer option 'mag' wants 0 or 1, not 'yes'"},
        {L"sim:cards=1,\u00e4=2",
         "the printer options hold a character that is not ASCII, behind 'cards=1,'"},
        {L"file:", "the port file: lacks its path; write file:PATH"},
        {L"", "the port is neither sim: nor file:; write sim:, sim:OPTION=VALUE,... or file:PATH"},
        {L"usb:1", "the port is neither sim: nor file:; write sim:, sim:OPTION=VALUE,... or file:PATH"},
    };
    for (const BadPort& bad : kBad) {
        std::string problem;
        EXPECT_FALSE(ParsePortName(bad.name, &problem));
        EXPECT_EQ(bad.problem, problem);
    }
    std::string problem;
    EXPECT_FALSE(ParsePortName(L"sim:nothing-like-it=1", &problem));
    EXPECT_NE(std::string::npos, problem.find("known are cards, card-ms, ")) << problem;
    EXPECT_EQ(std::string::npos, problem.find('\n'));
}

TEST(PrinterOptions, PortNamesTellTheirKindInAnyLetterCase)
{
    std::string problem;
    const auto file = ParsePortName(L"File:some/\u00e4 x=1,y", &problem);
    ASSERT_TRUE(file);
    EXPECT_EQ(PortName::Kind::File, file->kind);
    EXPECT_EQ(L"some/\u00e4 x=1,y", file->filePath);
    const auto printer = ParsePortName(L"SIM:cards=3", &problem);
    ASSERT_TRUE(printer);
    EXPECT_EQ(PortName::Kind::Printer, printer->kind);
    EXPECT_EQ(3u, printer->options.cardCount);
}

} // namespace
} // namespace zrtmon::sim
