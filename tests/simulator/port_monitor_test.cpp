#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "simulator/port_monitor.h"
#include "tests/simulator/printer_bench.h"

namespace zrtmon::sim {
namespace {

/// The port monitor as the monitor above it sees it.
struct Line {
    explicit Line(const std::wstring& portName) : name(portName) { Open(); }

    BOOL Open() { return table.pfnOpenPort(monitor.Handle(), name.data(), &port); }
    BOOL Start(bool channel = false)
    {
        DOC_INFO_2W info{};
        info.dwMode = channel ? DI_CHANNEL : 0;
        return table.pfnStartDocPort(port, nullptr, 1, 2, reinterpret_cast<LPBYTE>(&info));
    }
    BOOL Write(std::string bytes)
    {
        return table.pfnWritePort(port, reinterpret_cast<LPBYTE>(bytes.data()),
                                  static_cast<DWORD>(bytes.size()), &count);
    }
    BOOL Read(DWORD size = 2048)
    {
        text.assign(size, '\0');
        const BOOL ok = table.pfnReadPort(port, reinterpret_cast<LPBYTE>(text.data()), size, &count);
        text.resize(count);
        return ok;
    }
    BOOL End() { return table.pfnEndDocPort(port); }
    BOOL Close() { return table.pfnClosePort(port); }
    BOOL Control(DWORD code, std::string input, DWORD outputSize)
    {
        text.assign(outputSize, '\0');
        const BOOL ok = table.pfnGetPrinterDataFromPort(
            port, code, nullptr, reinterpret_cast<LPWSTR>(input.data()), static_cast<DWORD>(input.size()),
            reinterpret_cast<LPWSTR>(text.data()), outputSize, &count);
        text.resize(count);
        return ok;
    }
    PortView View() { return monitor.View(name); }

    VirtualClock clock;
    CPortMonitor monitor;
    const MONITOR2& table = *CPortMonitor::Table();
    std::wstring name;
    HANDLE port = nullptr;
    DWORD count = 0;
    std::string text;
};

#define EXPECT_REFUSED(error, call)                                                                          \
    do {                                                                                                     \
        SetLastError(ERROR_SUCCESS);                                                                         \
        EXPECT_FALSE(call);                                                                                  \
        EXPECT_EQ(error, GetLastError()) << #call;                                                           \
    } while (false)

TEST(PortMonitor, CarriesDocumentsAndChannels)
{
    Line line(L"sim:cards=7,write-limit=3");
    ASSERT_TRUE(line.port);
    EXPECT_EQ(sizeof(MONITOR2), line.table.cbSize);
    ASSERT_TRUE(line.Start(true));
    EXPECT_TRUE(line.Write(Command("Nr")));
    EXPECT_EQ(3u, line.count);
    EXPECT_TRUE(line.Write("Nr"));
    EXPECT_EQ(2u, line.count);
    EXPECT_TRUE(line.Read(5));
    EXPECT_EQ("ERR:0", line.text);
    EXPECT_TRUE(line.Read());
    EXPECT_EQ(",0,0,0,0,7,", line.text);
    EXPECT_TRUE(line.Read());
    EXPECT_EQ("", line.text);
    EXPECT_TRUE(line.End());
    EXPECT_TRUE(line.Start());
    EXPECT_TRUE(line.End());
    EXPECT_EQ(0u, line.View().misuses);
}

TEST(PortMonitor, RefusesCallsOutOfOrder)
{
    Line line(L"sim:");
    const HANDLE port = line.port;
    EXPECT_REFUSED(ERROR_BUSY, line.Open());
    EXPECT_EQ(nullptr, line.port);
    EXPECT_REFUSED(ERROR_INVALID_HANDLE, line.Start());
    line.port = port;
    EXPECT_REFUSED(ERROR_GEN_FAILURE, line.Write("x"));
    EXPECT_REFUSED(ERROR_GEN_FAILURE, line.Read());
    EXPECT_REFUSED(ERROR_GEN_FAILURE, line.End());
    EXPECT_TRUE(line.Start());
    EXPECT_REFUSED(ERROR_BUSY, line.Start());
    EXPECT_REFUSED(ERROR_BUSY, line.Start(true));
    EXPECT_TRUE(line.Write("x")) << "the first document goes on";
    EXPECT_EQ(6u, line.View().misuses);
    EXPECT_TRUE(line.Close());
    EXPECT_EQ(7u, line.View().misuses) << "a document was open";
    EXPECT_REFUSED(ERROR_INVALID_HANDLE, line.Close());
    EXPECT_REFUSED(ERROR_INVALID_HANDLE, line.Start());
    EXPECT_REFUSED(ERROR_INVALID_HANDLE, line.Write("x"));
    EXPECT_REFUSED(ERROR_INVALID_HANDLE, line.Read());
    EXPECT_REFUSED(ERROR_INVALID_HANDLE, line.End());
    EXPECT_EQ(12u, line.View().misuses);
    EXPECT_EQ("EndDocPort on a closed port", line.View().misuseTexts[11]);
    EXPECT_EQ(1u, line.View().bytesWritten);
}

TEST(PortMonitor, AClosedPortKeepsItsPrinter)
{
    Line line(L"sim:card-ms=100");
    CCardPrinter* const printer = line.monitor.FindPrinter(L"SIM:Card-MS=100");
    ASSERT_TRUE(printer);
    line.Start();
    line.Write(Packet(CardPayload()) + "\x1B_");
    line.Close();
    EXPECT_EQ(nullptr, line.monitor.FindPrinter(line.name));
    EXPECT_FALSE(line.View().open);
    Sleep(100);
    line.name = L"SIM:CARD-MS=100";
    EXPECT_TRUE(line.Open());
    EXPECT_EQ(printer, line.monitor.FindPrinter(line.name));
    EXPECT_EQ(1u, printer->View().cardsPrinted);
    EXPECT_FALSE(printer->View().insidePacket) << "the document ended with the port";
}

TEST(PortMonitor, ADocumentsEndReachesThePrinterAndAChannelsDoesNot)
{
    Line line(L"sim:");
    CCardPrinter* const printer = line.monitor.FindPrinter(line.name);
    line.Start(true);
    line.Write(Packet(CardPayload()).substr(0, 50));
    line.End();
    EXPECT_TRUE(printer->View().insidePacket);
    line.Start();
    line.End();
    EXPECT_FALSE(printer->View().insidePacket);
    EXPECT_EQ(1u, printer->View().violationCount);
}

TEST(PortMonitor, ServesTheDevicesControls)
{
    Line line(L"sim:serial=S1,model=M,firmware=3");
    const std::string id = "MFG:ZRT;CMD:ZRT;MDL:M;CLS:PRINTER;SN:S1;";
    EXPECT_TRUE(line.Control(kIoctlParQueryDeviceId, "", static_cast<DWORD>(id.size())));
    EXPECT_EQ(id, line.text);
    EXPECT_REFUSED(ERROR_INSUFFICIENT_BUFFER,
                   line.Control(kIoctlParQueryDeviceId, "", static_cast<DWORD>(id.size() - 1)));
    EXPECT_EQ(0u, line.count);
    const std::string head(3, '\0');
    EXPECT_REFUSED(ERROR_GEN_FAILURE, line.Control(kIoctlUsbPrintVendorGetCommand, head, 100));
    EXPECT_TRUE(line.Control(kIoctlUsbPrintVendorSetCommand, head + Command("NV"), 0));
    EXPECT_TRUE(line.Control(kIoctlUsbPrintVendorGetCommand, head, 100));
    EXPECT_EQ("Ver:3", line.text);
    EXPECT_EQ(5u, line.monitor.FindPrinter(line.name)->View().bytesReceived);
}

/// A directory of its own for each test.
class CaptureFile : public testing::Test {
protected:
    CaptureFile()
    {
        m_folder =
            std::filesystem::temp_directory_path() / ("zrtsim-" + std::to_string(std::random_device()()));
        std::filesystem::create_directories(m_folder);
    }
    ~CaptureFile() override { std::filesystem::remove_all(m_folder); }

    std::wstring Port(const std::string& file) const { return L"file:" + (m_folder / file).wstring(); }
    std::filesystem::path m_folder;
};

TEST_F(CaptureFile, ThatCannotBeWrittenIsNotOpened)
{
    struct Case {
        const char* file;
        DWORD error;
    };
    std::ofstream(m_folder / "plain") << "x";
    for (const Case& bad : {Case{"missing/job", ERROR_PATH_NOT_FOUND}, Case{".", ERROR_ACCESS_DENIED},
                            Case{"plain/job", ERROR_PATH_NOT_FOUND}}) {
        Line line(Port(bad.file));
        EXPECT_EQ(nullptr, line.port) << bad.file;
        EXPECT_REFUSED(bad.error, line.Open());
        EXPECT_FALSE(line.View().open);
        EXPECT_EQ(0u, line.View().misuses);
    }
    Line full(L"file:/dev/full");
    if (full.port) { // where there is such a device
        EXPECT_TRUE(full.Start());
        EXPECT_TRUE(full.Write("x"));
        EXPECT_REFUSED(ERROR_WRITE_FAULT, full.End());
        EXPECT_FALSE(full.View().documentOpen);
    }
}

} // namespace
} // namespace zrtmon::sim
