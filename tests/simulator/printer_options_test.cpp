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
    EXPECT_EQ(32u, names.size());
}

TEST(PrinterOptions, SayWhatIsWrongAndWhatWouldDo)
{
    const std::pair<const wchar_t*, const char*> bad[] = {
        {L"sim:card-m=5", "unknown printer option 'card-m'; did you mean 'card-ms'?"},
        {L"sim:cards", "the printer option 'cards' lacks its value; write cards=N"},
        {L"sim:cards=4294967296",
         "the printer option 'cards' wants a whole number from 0 to 4294967295, not '4294967296'"},
        {L"sim:ribbon=101", "the printer option 'ribbon' wants a whole number from 0 to 100, not '101'"},
        {L"sim:card-ms=5s", "the printer option 'card-ms' wants a whole number from 0 to 86400000, not '5s'"},
        {L"sim:mag=yes", "the printer option 'mag' wants 0 or 1, not 'yes'"},
        {L"sim:cards=1,\u00e4=2",
         "the printer options hold a character that is not ASCII, behind 'cards=1,'"},
        {L"file:", "the port file: lacks its path; write file:PATH"},
        {L"usb:1", "the port is neither sim: nor file:; write sim:, sim:OPTION=VALUE,... or file:PATH"},
    };
    for (const auto& [name, expected] : bad) {
        std::string problem;
        EXPECT_FALSE(ParsePortName(name, &problem));
        EXPECT_EQ(expected, problem);
    }
}

} // namespace
} // namespace zrtmon::sim
