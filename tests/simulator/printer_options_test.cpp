#include <gtest/gtest.h>

#include "simulator/printer_options.h"

namespace zrtmon::sim {
namespace {

TEST(PrinterOptions, SayWhatIsWrongAndWhatWouldDo)
{
    const std::pair<const wchar_t*, const char*> bad[] = {
        {L"sim:card-m=5", "unknown printer option 'card-m'; did you mean card-ms?"},
        {L"sim:cards", "the printer option 'cards' lacks its value; write cards=N"},
        {L"sim:cards=4294967296",
         "the printer option 'cards' wants a whole number from 0 to 4294967295, not '4294967296'"},
        {L"sim:ribbon=101", "the printer option 'ribbon' wants a whole number from 0 to 100, not '101'"},
        {L"sim:card-ms=5s", "the printer option 'card-ms' wants a whole number from 0 to 86400000, not '5s'"},
        {L"sim:interleave=all", "the printer option 'interleave' wants packets|security|commands, not 'all'"},
        {L"sim:mag=yes", "the printer option 'mag' wants 0 or 1, not 'yes'"},
        {L"sim:cards=1,\u00e4=2", "the printer options hold a character that is not ASCII, after 'cards=1,'"},
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
