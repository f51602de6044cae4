// Device ports on a scripted device: what they do with every error, and how long they wait.
#include <gtest/gtest.h>

#include "devices/tcp_port.h"
#include "devices/usb_port.h"
#include "platform/usb_print.h"
#include "platform/virtual_clock.h"
#include "tests/devices/scripted_file.h"
#include "tests/support/case_name.h"

namespace zrtmon::test {
namespace {

using devices::CDeviceName;
using devices::CDevicePort;

constexpr CDeviceName::Kind kUsb = CDeviceName::Kind::Usb;
constexpr CDeviceName::Kind kTcp = CDeviceName::Kind::Tcp;

/// A port on a device that follows a script. The clock is declared first: everything else may use it.
struct PortFixture {
    explicit PortFixture(CDeviceName::Kind kind, const std::wstring& options = L"")
    {
        std::string problem;
        const CDeviceName name = *devices::ParseDeviceName(
            (kind == kUsb ? L"usb:/dev/usb/lp7" : L"tcp:printer") + options, &problem);
        if (kind == kUsb) {
            devices::CUsbPort::System system;
            system.makeFile = [this](const std::string&) { return std::make_unique<CScriptedFile>(script); };
            port = std::make_unique<devices::CUsbPort>(name, system);
        } else {
            port = std::make_unique<devices::CTcpPort>(name, [this](const std::string&, uint16_t) {
                return std::make_unique<CScriptedFile>(script);
            });
        }
    }

    DWORD Write(const std::string& bytes)
    {
        return port->Write(reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()),
                           &count);
    }

    /// A document of one write; whether every byte arrived and nothing failed.
    bool CarriesADocument()
    {
        script.written.clear();
        const bool isStarted = port->Start() == ERROR_SUCCESS;
        const bool isWritten =
            isStarted && Write("document") == ERROR_SUCCESS && script.written == "document";
        port->End(false);
        return isWritten && !port->Failure();
    }

    std::string FailureText() const { return port->Failure() ? port->Failure()->text : ""; }

    CVirtualClock clock;
    CScript script;
    std::unique_ptr<CDevicePort> port;
    DWORD count = 0;
};

struct WriteCase {
    const char* name;
    std::deque<ssize_t> writes;
    DWORD error;
    DWORD count; ///< of ten bytes
};

class DeviceWrite : public testing::TestWithParam<std::tuple<CDeviceName::Kind, WriteCase>> {};

TEST_P(DeviceWrite, TakesWhatTheSystemTakesAndKeepsAFailure)
{
    const auto& [kind, row] = GetParam();
    PortFixture fixture(kind);
    ASSERT_EQ(ERROR_SUCCESS, fixture.port->Start());
    fixture.script.writes = row.writes;
    EXPECT_EQ(row.error, fixture.Write("0123456789"));
    EXPECT_EQ(row.count, fixture.count);
    EXPECT_EQ(std::string("0123456789").substr(0, row.count), fixture.script.written);
    ASSERT_EQ(row.error != ERROR_SUCCESS, fixture.port->Failure().has_value());
    if (row.error != ERROR_SUCCESS) {
        EXPECT_EQ(row.count, fixture.port->Failure()->bytesTaken);
        // It stays failed without another system call, and the port is free again afterwards.
        const size_t calls = fixture.script.calls.size();
        EXPECT_EQ(row.error, fixture.Write("more"));
        EXPECT_EQ(row.error, fixture.port->Read(nullptr, 0, &fixture.count));
        EXPECT_EQ(calls, fixture.script.calls.size());
    }
    EXPECT_EQ(ERROR_SUCCESS, fixture.port->End(false));
    EXPECT_EQ(0u, fixture.script.opened);
    EXPECT_TRUE(fixture.CarriesADocument());
}

INSTANTIATE_TEST_SUITE_P(
    Results, DeviceWrite,
    testing::Combine(testing::Values(kUsb, kTcp),
                     testing::Values(WriteCase{"All", {10}, 0, 10},
                                     WriteCase{"ShortWrites", {3, 1, 6}, 0, 10},
                                     WriteCase{"Interrupted", {-EINTR, 4, -EINTR, 6}, 0, 10},
                                     WriteCase{"NothingNow", {-EAGAIN}, 0, 0},
                                     WriteCase{"FullAfterAPart", {7, -EAGAIN}, 0, 7},
                                     WriteCase{"Broken", {-EPIPE}, ERROR_WRITE_FAULT, 0},
                                     WriteCase{"BrokenAfterAPart", {4, -ECONNRESET}, ERROR_WRITE_FAULT, 4},
                                     WriteCase{"Unplugged", {2, 2, -ENODEV}, ERROR_WRITE_FAULT, 4},
                                     WriteCase{"TransferFailed", {-EIO}, ERROR_WRITE_FAULT, 0})),
    [](const auto& row) {
        return std::string(std::get<0>(row.param) == kUsb ? "Usb" : "Tcp") + std::get<1>(row.param).name;
    });

struct OpenCase {
    const char* name;
    CDeviceName::Kind kind;
    int error;
    DWORD code;
    const char* text;
};

class DeviceOpen : public testing::TestWithParam<OpenCase> {};

TEST_P(DeviceOpen, SaysWhatWasTriedWhatTheSystemSaidAndWhatWouldDo)
{
    PortFixture fixture(GetParam().kind);
    fixture.script.openError = GetParam().error;
    EXPECT_EQ(GetParam().code, fixture.port->Start());
    EXPECT_EQ(GetParam().text, fixture.FailureText());
    EXPECT_EQ(ERROR_GEN_FAILURE, fixture.Write("x"));
    fixture.script.openError = 0;
    EXPECT_TRUE(fixture.CarriesADocument());
}

INSTANTIATE_TEST_SUITE_P(
    Errors, DeviceOpen,
    testing::Values(
        OpenCase{"InUse", kUsb, EBUSY, ERROR_DEVICE_NOT_AVAILABLE,
                 "opening /dev/usb/lp7: Device or resource busy; another program has it open, such as "
                 "CUPS's usb backend or another zrtctl: end that, or try later"},
        OpenCase{"NotAllowed", kUsb, EACCES, ERROR_ACCESS_DENIED,
                 "opening /dev/usb/lp7: Permission denied; add the user to the group lp, and log in again"},
        OpenCase{"NotThere", kUsb, ENOENT, ERROR_DEVICE_NOT_AVAILABLE,
                 "opening /dev/usb/lp7: No such file or directory; check that the printer is on and its "
                 "cable connected"},
        OpenCase{"Refused", kTcp, ECONNREFUSED, ERROR_DEVICE_NOT_AVAILABLE,
                 "connecting to printer port 9100: Connection refused; check that the printer is on, and "
                 "its address and port"},
        OpenCase{"NoSuchHost", kTcp, ENXIO, ERROR_DEVICE_NOT_AVAILABLE,
                 "connecting to printer port 9100: No such device or address; the system knows no host of "
                 "that name: check it, or give the address"}),
    CaseName());

TEST(DeviceOpening, IsOneAttemptOfFiveSeconds)
{
    PortFixture fixture(kTcp);
    fixture.script.openMs = 60000;
    EXPECT_EQ(ERROR_DEVICE_NOT_AVAILABLE, fixture.port->Start());
    EXPECT_EQ(5000u, fixture.clock.Elapsed());
    EXPECT_EQ(1u, fixture.script.Count("open"));
}

TEST(DeviceOpening, OfThePortTouchesNothing)
{
    PortFixture fixture(kTcp);
    fixture.script.openError = ECONNREFUSED;
    EXPECT_EQ(ERROR_SUCCESS, fixture.port->Open());
    EXPECT_TRUE(fixture.script.calls.empty());
}

TEST(DeviceWindow, MayStayShutForAsLongAsItTakes)
{
    PortFixture fixture(kTcp);
    ASSERT_EQ(ERROR_SUCCESS, fixture.port->Start());
    constexpr DWORD kHourMs = 3600000;
    fixture.script.writableAtTick = kHourMs;
    unsigned offers = 0;
    do {
        ASSERT_EQ(ERROR_SUCCESS, fixture.Write("document"));
        ASSERT_LT(++offers, 40000u);
    } while (fixture.count == 0);
    EXPECT_EQ(kHourMs, fixture.clock.Elapsed());
    EXPECT_EQ(kHourMs / CDevicePort::kWriteMs, offers); // the caller is asked again ten times a second
    EXPECT_EQ("document", fixture.script.written);
    fixture.port->End(false);
    EXPECT_FALSE(fixture.port->Failure());
}

TEST(UsbPort, WritesSmallBlocksEachAfterTheOneBeforeHasLeft)
{
    PortFixture fixture(kUsb);
    ASSERT_EQ(ERROR_SUCCESS, fixture.port->Start());
    const std::string bytes(20000, 'x');
    EXPECT_EQ(ERROR_SUCCESS, fixture.Write(bytes));
    EXPECT_EQ(bytes, fixture.script.written);
    EXPECT_EQ((std::vector<std::string>{"open", "wait to write", "write 8192", "wait to write", "write 8192",
                                        "wait to write", "write 3616"}),
              fixture.script.calls);
}

devices::CUsbPrinter Present(const std::string& path, const std::string& serial)
{
    devices::CUsbPrinter printer;
    printer.path = path;
    printer.serial = serial;
    return printer;
}

TEST(UsbPort, FindsItsPrinterAnewForEachDocument)
{
    CVirtualClock clock;
    CScript script;
    std::vector<devices::CUsbPrinter> present;
    std::vector<std::string> opened;
    devices::CUsbPort::System system;
    system.find = [&] { return present; };
    system.makeFile = [&](const std::string& path) {
        opened.push_back(path);
        return std::make_unique<CScriptedFile>(script);
    };
    std::string problem;
    devices::CUsbPort bySerial(*devices::ParseDeviceName(L"usb:serial=B2", &problem), system);
    devices::CUsbPort onlyOne(*devices::ParseDeviceName(L"usb:", &problem), system);
    const auto textOf = [](devices::CUsbPort& port) {
        const DWORD error = port.Start();
        port.End(false);
        return error == ERROR_SUCCESS ? "opened" : port.Failure()->text;
    };

    EXPECT_EQ("looking for a USB printer with the serial number B2: No such device; check that the printer "
              "is on and "
              "its cable connected",
              textOf(bySerial));
    present = {Present("/dev/usb/lp0", "A1"), Present("/dev/usb/lp1", "B2")};
    EXPECT_EQ("opened", textOf(bySerial));
    EXPECT_EQ(
        "looking for a USB printer among /dev/usb/lp0, /dev/usb/lp1: Name not unique on network; name one of "
        "them, as \"zrtctl devices\" lists them",
        textOf(onlyOne));
    present = {Present("/dev/usb/lp3", "B2")}; // unplugged, and back
    EXPECT_EQ("opened", textOf(bySerial));
    EXPECT_EQ("opened", textOf(onlyOne));
    EXPECT_EQ((std::vector<std::string>{"/dev/usb/lp1", "/dev/usb/lp3", "/dev/usb/lp3"}), opened);
}

struct EndCase {
    const char* name;
    CDeviceName::Kind kind;
    const wchar_t* options;
    bool channel;
    DWORD leavesAtMs; ///< when the last byte leaves
    bool closes;      ///< the printer closes at the half-close
    uint64_t takesMs;
    const char* failure; ///< part of it
    size_t halfCloses;
};

class DeviceEnd : public testing::TestWithParam<EndCase> {};

TEST_P(DeviceEnd, WaitsUntilTheLastByteHasLeftAndThePortIsFree)
{
    const EndCase& row = GetParam();
    PortFixture fixture(row.kind, row.options);
    ASSERT_EQ(ERROR_SUCCESS, fixture.port->Start());
    ASSERT_EQ(ERROR_SUCCESS, fixture.Write("document"));
    fixture.script.writableAtTick = row.leavesAtMs;
    fixture.script.acknowledgedAtTick = row.leavesAtMs;
    fixture.script.closesAtEnd = row.closes;
    fixture.script.replies = {"a reply that nobody has read"};
    EXPECT_EQ(ERROR_SUCCESS, fixture.port->End(row.channel));
    EXPECT_EQ(row.takesMs, fixture.clock.Elapsed());
    EXPECT_NE(std::string::npos, fixture.FailureText().find(row.failure)) << fixture.FailureText();
    EXPECT_EQ(row.failure[0] == '\0', !fixture.port->Failure());
    EXPECT_EQ(row.halfCloses, fixture.script.Count("half-close"));
    EXPECT_EQ(0u, fixture.script.opened);
    if (row.kind == kTcp) {
        EXPECT_TRUE(fixture.script.replies.empty()) << "closing with a reply unread loses what is on its way";
    }
    fixture.script.writableAtTick = 0;
    fixture.script.acknowledgedAtTick = 0;
    fixture.script.closesAtEnd = true;
    EXPECT_TRUE(fixture.CarriesADocument());
}

INSTANTIATE_TEST_SUITE_P(
    Ends, DeviceEnd,
    testing::Values(
        EndCase{"UsbAtOnce", kUsb, L"", false, 0, true, 0, "", 0},
        EndCase{"UsbLate", kUsb, L"", false, 12345, true, 12345, "", 0},
        EndCase{"UsbNever", kUsb, L"", false, 999999, true, 30000,
                "waiting for /dev/usb/lp7 to take the last bytes: Connection timed out; ", 0},
        EndCase{"UsbOption", kUsb, L",drain-ms=700", false, 999999, true, 700, "take the last bytes", 0},
        EndCase{"TcpAtOnce", kTcp, L"", false, 0, true, 0, "", 1},
        EndCase{"TcpLate", kTcp, L"", false, 20000, true, 20000, "", 1},
        EndCase{"TcpNever", kTcp, L"", false, 999999, true, 30000,
                "waiting for printer port 9100 to take the last 1234 bytes: Connection timed out; ", 0},
        EndCase{"TcpThatStaysOpen", kTcp, L"", false, 0, false, 2000, "", 1},
        EndCase{"TcpWithoutHalfClose", kTcp, L",half-close=0", false, 0, false, 2000, "", 0},
        EndCase{"TcpChannelWithoutHalfClose", kTcp, L",half-close=0", true, 0, false, 0, "", 0},
        EndCase{"TcpOption", kTcp, L",drain-ms=700", false, 999999, true, 700, "take the last", 0}),
    CaseName());

TEST(DevicePort, AnEmptyTransferOfAUsbPrinterIsNotTheEndOfItsReplies)
{
    for (const CDeviceName::Kind kind : {kUsb, kTcp}) {
        PortFixture fixture(kind);
        fixture.script.replies = {"", "reply"};
        ASSERT_EQ(ERROR_SUCCESS, fixture.port->Start());
        std::string received;
        for (int read = 0; read < 2; ++read) {
            BYTE buffer[64] = {};
            EXPECT_EQ(ERROR_SUCCESS, fixture.port->Read(buffer, sizeof buffer, &fixture.count));
            received.append(reinterpret_cast<const char*>(buffer), fixture.count);
        }
        EXPECT_EQ(kind == kUsb ? "reply" : "", received);
        fixture.port->End(false);
    }
}

TEST(DevicePort, ThatIsGivenUpSendsNothingMoreAndWaitsForNothing)
{
    for (const CDeviceName::Kind kind : {kUsb, kTcp}) {
        PortFixture fixture(kind);
        ASSERT_EQ(ERROR_SUCCESS, fixture.port->Start());
        fixture.Write("document");
        fixture.script.writableAtTick = 999999;
        fixture.script.acknowledgedAtTick = 999999;
        CVirtualClock::CClockThread other([&] {
            Sleep(5000);
            fixture.port->Abandon();
        });
        fixture.port->End(false);
        EXPECT_GE(5100u, fixture.clock.Elapsed());
        other.Join();

        fixture.script.writableAtTick = 0;
        ASSERT_EQ(ERROR_SUCCESS, fixture.port->Start());
        fixture.port->Abandon();
        EXPECT_EQ(ERROR_GEN_FAILURE, fixture.Write("cancel"));
        fixture.port->End(false);
        EXPECT_EQ("document", fixture.script.written);
    }
}

TEST(DevicePort, BreaksAtAnyByteAndSaysHowManyArrived)
{
    const std::string document(64, 'x');
    for (uint64_t at = 0; at < document.size(); ++at) {
        PortFixture fixture(kTcp);
        fixture.script.failsAtByte = at;
        ASSERT_EQ(ERROR_SUCCESS, fixture.port->Start());
        EXPECT_EQ(ERROR_WRITE_FAULT, fixture.Write(document));
        EXPECT_EQ(at, fixture.port->Failure()->bytesTaken);
        fixture.port->End(false);
        fixture.script.failsAtByte.reset();
        EXPECT_TRUE(fixture.CarriesADocument());
    }
}

TEST(DevicePort, IsWellAgainAfterAFailureOfAnySystemCall)
{
    for (const CDeviceName::Kind kind : {kUsb, kTcp}) {
        for (const int error : {EIO, ENODEV, EPIPE, ECONNRESET, ENOMEM, EINTR, EAGAIN}) {
            for (unsigned failAt = 0;; ++failAt) {
                ASSERT_LT(failAt, 50u) << "the sweep does not end";
                SCOPED_TRACE("call " + std::to_string(failAt) + " fails with " + std::to_string(error));
                PortFixture fixture(kind);
                fixture.script.failCall = failAt;
                fixture.script.failError = error;
                fixture.script.replies = {"reply"};
                fixture.script.deviceId = std::string("\0\x07SN:1;", 8);
                BYTE buffer[64] = {};
                if (fixture.port->Start() == ERROR_SUCCESS) {
                    fixture.Write("0123456789");
                    fixture.port->Read(buffer, sizeof buffer, &fixture.count);
                    fixture.port->Control(IOCTL_PAR_QUERY_DEVICE_ID, nullptr, 0, buffer, sizeof buffer,
                                          &fixture.count);
                }
                fixture.port->End(false);
                EXPECT_EQ(0u, fixture.script.opened);
                EXPECT_GE(32000u, fixture.clock.Elapsed());
                const bool hasFired = fixture.script.hasFired;
                fixture.script.failCall.reset();
                EXPECT_TRUE(fixture.CarriesADocument());
                if (!hasFired && failAt > fixture.script.calls.size()) {
                    break;
                }
            }
        }
    }
}

struct IdCase {
    const char* name;
    CDeviceName::Kind kind;
    const wchar_t* options;
    DWORD control;
    DWORD outputSize;
    const char* answer; ///< or "error N"
};

class DeviceControl : public testing::TestWithParam<IdCase> {};

TEST_P(DeviceControl, AnswersTheDeviceIdOnly)
{
    PortFixture fixture(GetParam().kind, GetParam().options);
    fixture.script.deviceId = std::string("\0\x0CMFG:ZRT;XX", 12);
    std::string id(GetParam().outputSize, '\0');
    const DWORD error =
        fixture.port->Control(GetParam().control, nullptr, 0, reinterpret_cast<BYTE*>(id.data()),
                              GetParam().outputSize, &fixture.count);
    EXPECT_EQ(GetParam().answer, error ? "error " + std::to_string(error) : id.substr(0, fixture.count));
    EXPECT_EQ(0u, fixture.script.opened) << "opened for the question only";
}

INSTANTIATE_TEST_SUITE_P(
    Controls, DeviceControl,
    testing::Values(IdCase{"Usb", kUsb, L"", IOCTL_PAR_QUERY_DEVICE_ID, 64, "MFG:ZRT;XX"},
                    IdCase{"NoRoom", kUsb, L"", IOCTL_PAR_QUERY_DEVICE_ID, 9, "error 122"},
                    IdCase{"Vendor", kUsb, L"", IOCTL_USBPRINT_VENDOR_GET_COMMAND, 64, "error 50"},
                    IdCase{"TcpWithoutSerial", kTcp, L"", IOCTL_PAR_QUERY_DEVICE_ID, 64, "error 50"},
                    IdCase{"TcpWithSerial", kTcp, L",serial=SN24070001", IOCTL_PAR_QUERY_DEVICE_ID, 64,
                           "CLS:PRINTER;SN:SN24070001;"}),
    CaseName());

} // namespace
} // namespace zrtmon::test
