// Device names and device IDs.
#include <gtest/gtest.h>

#include "devices/device_id.h"
#include "devices/device_name.h"
#include "tests/support/case_name.h"

namespace zrtmon::devices {
namespace {

struct NameCase {
    const char* name;
    const wchar_t* text;
    const char* parts; ///< as PartsOf writes them, or what is wrong
};

std::string PartsOf(const CDeviceName& name)
{
    if (name.kind == CDeviceName::Kind::Usb) {
        return "usb path=" + name.path + " serial=" + name.serial + " drain=" + std::to_string(name.drainMs);
    }
    return "tcp " + name.host + " " + std::to_string(name.port) + " serial=" + name.serial +
           " drain=" + std::to_string(name.drainMs) + (name.halfCloses ? " half-close" : "");
}

class DeviceNames : public testing::TestWithParam<NameCase> {};

TEST_P(DeviceNames, AreTakenApartOrRefusedInOneLine)
{
    std::string problem;
    const std::optional<CDeviceName> name = ParseDeviceName(GetParam().text, &problem);
    EXPECT_EQ(GetParam().parts, name ? PartsOf(*name) : problem);
}

INSTANTIATE_TEST_SUITE_P(
    Names, DeviceNames,
    testing::Values(
        NameCase{"Only", L"usb:", "usb path= serial= drain=30000"},
        NameCase{"Path", L"USB:/dev/usb/lp0", "usb path=/dev/usb/lp0 serial= drain=30000"},
        NameCase{"Serial", L"usb:serial=A1,drain-ms=0", "usb path= serial=A1 drain=0"},
        NameCase{"PathAndSerial", L"usb:/dev/usb/lp0,serial=A1",
                 "the port names its device twice: give '/dev/usb/lp0' or serial=A1"},
        NameCase{"PathOption", L"usb:/dev/x,drain-ms=5", "usb path=/dev/x serial= drain=5"},
        NameCase{"NoPath", L"usb:lp0",
                 "the device option 'lp0' is not valid; write serial=SN or drain-ms=0...600000"},
        NameCase{"UsbHalfClose", L"usb:,half-close=0",
                 "the device option 'half-close=0' is not valid; write serial=SN or drain-ms=0...600000"},
        NameCase{"Host", L"tcp:printer.example", "tcp printer.example 9100 serial= drain=30000 half-close"},
        NameCase{"Port", L"tcp:192.0.2.7:515,serial=A1,half-close=0",
                 "tcp 192.0.2.7 515 serial=A1 drain=30000"},
        NameCase{"Ipv6", L"tcp:::1", "tcp ::1 9100 serial= drain=30000 half-close"},
        NameCase{"Brackets", L"tcp:[::1]", "tcp ::1 9100 serial= drain=30000 half-close"},
        NameCase{"BracketsPort", L"tcp:[fe80::1%eth0]:65535",
                 "tcp fe80::1%eth0 65535 serial= drain=30000 half-close"},
        NameCase{"OpenBracket", L"tcp:[::1", "the address '[::1' lacks its ']'; write tcp:[ADDRESS]:PORT"},
        NameCase{"NoHost", L"tcp:", "the port tcp: lacks its host; write tcp:HOST or tcp:HOST:PORT"},
        NameCase{"PortZero", L"tcp:a:0",
                 "the TCP port in 'a:0' is not valid; write a number from 1 to 65535"},
        NameCase{"PortTooLarge", L"tcp:a:65536",
                 "the TCP port in 'a:65536' is not valid; write a number from 1 to 65535"},
        NameCase{"PortText", L"tcp:[::1]x",
                 "the TCP port in '[::1]x' is not valid; write a number from 1 to 65535"},
        NameCase{"BadOption", L"tcp:a,drain-ms=x",
                 "the device option 'drain-ms=x' is not valid; write serial=SN, half-close=0|1 or "
                 "drain-ms=0...600000"},
        NameCase{"Other", L"lpt:1",
                 "the port is not a device; write usb:, usb:/dev/usb/lp0, usb:serial=SN, tcp:HOST or "
                 "tcp:HOST:PORT"},
        NameCase{"NotAscii", L"tcp:dr\u00FCcker",
                 "a device's port is plain ASCII; write usb:, usb:/dev/usb/lp0, usb:serial=SN, tcp:HOST or "
                 "tcp:HOST:PORT"}),
    test::CaseName());

TEST(DeviceId, TakesTheLengthInEitherOrderAndNoMoreThanWasRead)
{
    const auto textOf = [](std::string bytes) {
        return DeviceIdText(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    };
    const struct {
        const char* what;
        std::string bytes;
        const char* text;
    } rows[] = {
        {"big-endian",
         std::string("\0\x06"
                     "abcd"
                     "efgh",
                     10),
         "abcd"},
        {"little-endian",
         std::string("\x06\0"
                     "abcd"
                     "efgh",
                     10),
         "abcd"},
        {"longer than what was read",
         std::string("\x01\x02"
                     "abcd",
                     6),
         "abcd"},
        {"all zero", std::string(8, '\0'), ""},
        {"ends at a zero",
         std::string("\0\x08"
                     "ab\0d"
                     "ef",
                     8),
         "ab"},
        {"nothing but a length", std::string("\0\x02", 2), ""},
        {"nothing", "", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, textOf(row.bytes)) << row.what;
    }
}

TEST(DeviceId, FindsAFieldUnderAnyOfItsKeys)
{
    const std::string id = "mfg: Maker ;MDL:Card;;SN:;SERN:A1;X";
    EXPECT_EQ("Maker", DeviceIdField(id, {"MANUFACTURER", "MFG"}));
    EXPECT_EQ("", DeviceIdField(id, {"CLS"}));
    EXPECT_EQ("A1", DeviceIdField(id, {"SERN", "SN"}));
}

} // namespace
} // namespace zrtmon::devices
