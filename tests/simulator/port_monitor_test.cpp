#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "simulator/port_monitor.h"
#include "tests/simulator/printer_bench.h"

namespace zrtmon::sim {
namespace {

/// The port monitor as the monitor above it sees it. Calls answer 0 or the last error; those with a text for
/// an answer "error N" in its place.
struct Line {
    explicit Line(const std::wstring& portName) : name(portName) { Open(); }

    DWORD Open() { return ErrorOf(table.pfnOpenPort(monitor.Handle(), name.data(), &port)); }
    DWORD Start(bool channel = false)
    {
        DOC_INFO_2W info{};
        info.dwMode = channel ? DI_CHANNEL : 0;
        return ErrorOf(table.pfnStartDocPort(port, nullptr, 1, 2, reinterpret_cast<LPBYTE>(&info)));
    }
    DWORD Write(std::string bytes)
    {
        return ErrorOf(table.pfnWritePort(port, reinterpret_cast<LPBYTE>(bytes.data()),
                                          static_cast<DWORD>(bytes.size()), &count));
    }
    std::string Read(DWORD size = 2048)
    {
        std::string text(size, '\0');
        return TextOr(ErrorOf(table.pfnReadPort(port, reinterpret_cast<LPBYTE>(text.data()), size, &count)),
                      text);
    }
    DWORD End() { return ErrorOf(table.pfnEndDocPort(port)); }
    DWORD Close() { return ErrorOf(table.pfnClosePort(port)); }
    std::string Control(DWORD code, std::string input, size_t outputSize)
    {
        std::string text(outputSize, '\0');
        return TextOr(
            ErrorOf(table.pfnGetPrinterDataFromPort(
                port, code, nullptr, reinterpret_cast<LPWSTR>(input.data()), static_cast<DWORD>(input.size()),
                reinterpret_cast<LPWSTR>(text.data()), static_cast<DWORD>(outputSize), &count)),
            text);
    }
    PortView View() { return monitor.View(name); }
    CCardPrinter* Printer() { return monitor.FindPrinter(name); }

    VirtualClock clock;
    CPortMonitor monitor;
    const MONITOR2& table = *CPortMonitor::Table();
    std::wstring name;
    HANDLE port = nullptr;
    DWORD count = 0;

private:
    std::string TextOr(DWORD error, const std::string& text) const
    {
        return error ? "error " + std::to_string(error) : text.substr(0, count);
    }
    static DWORD ErrorOf(BOOL result)
    {
        const DWORD error = GetLastError();
        EXPECT_TRUE(result || error != ERROR_SUCCESS) << "a call that fails says why";
        SetLastError(ERROR_SUCCESS);
        return result ? ERROR_SUCCESS : error;
    }
};

TEST(PortMonitor, CarriesDocumentsAndChannels)
{
    Line line(L"sim:cards=7,write-limit=3");
    ASSERT_TRUE(line.port);
    EXPECT_EQ(sizeof(MONITOR2), line.table.cbSize);
    ASSERT_EQ(0u, line.Start(true));
    EXPECT_EQ(0u, line.Write(Command("Nr")));
    EXPECT_EQ(3u, line.count);
    EXPECT_EQ(0u, line.Write("Nr"));
    EXPECT_EQ(2u, line.count);
    EXPECT_EQ("ERR:0", line.Read(5));
    EXPECT_EQ(",0,0,0,0,7,", line.Read());
    EXPECT_EQ("", line.Read());
    EXPECT_EQ(0u, line.End());
    EXPECT_EQ(0u, line.Start());
    EXPECT_EQ(0u, line.End());
    EXPECT_EQ(0u, line.View().misuses);
}

TEST(PortMonitor, RefusesCallsOutOfOrder)
{
    Line line(L"sim:");
    const HANDLE port = line.port;
    EXPECT_EQ(ERROR_BUSY, line.Open());
    EXPECT_EQ(nullptr, line.port);
    EXPECT_EQ(ERROR_INVALID_HANDLE, line.Start());
    line.port = port;
    EXPECT_EQ(ERROR_GEN_FAILURE, line.Write("x"));
    EXPECT_EQ("error 31", line.Read());
    EXPECT_EQ(ERROR_GEN_FAILURE, line.End());
    EXPECT_EQ(0u, line.Start());
    EXPECT_EQ(ERROR_BUSY, line.Start());
    EXPECT_EQ(ERROR_BUSY, line.Start(true));
    EXPECT_EQ(0u, line.Write("x")) << "the first document goes on";
    EXPECT_EQ(6u, line.View().misuses);
    EXPECT_EQ(0u, line.Close());
    EXPECT_EQ(7u, line.View().misuses) << "a document was open";
    EXPECT_EQ(ERROR_INVALID_HANDLE, line.Close());
    EXPECT_EQ(ERROR_INVALID_HANDLE, line.Start());
    EXPECT_EQ(ERROR_INVALID_HANDLE, line.Write("x"));
    EXPECT_EQ("error 6", line.Read());
    EXPECT_EQ(ERROR_INVALID_HANDLE, line.End());
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
    EXPECT_EQ(nullptr, line.Printer());
    EXPECT_FALSE(line.View().open);
    Sleep(100);
    line.name = L"SIM:CARD-MS=100";
    EXPECT_EQ(0u, line.Open());
    EXPECT_EQ(printer, line.Printer());
    EXPECT_EQ(1u, printer->View().cardsPrinted);
    EXPECT_FALSE(printer->View().insidePacket) << "the document ended with the port";
}

TEST(PortMonitor, ADocumentsEndReachesThePrinterAndAChannelsDoesNot)
{
    Line line(L"sim:");
    CCardPrinter* const printer = line.Printer();
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
    EXPECT_EQ(id, line.Control(IOCTL_PAR_QUERY_DEVICE_ID, "", id.size()));
    EXPECT_EQ("error 122", line.Control(IOCTL_PAR_QUERY_DEVICE_ID, "", id.size() - 1));
    EXPECT_EQ(0u, line.count);
    const std::string head(3, '\0');
    EXPECT_EQ("error 31", line.Control(IOCTL_USBPRINT_VENDOR_GET_COMMAND, head, 100));
    EXPECT_EQ("", line.Control(IOCTL_USBPRINT_VENDOR_SET_COMMAND, head + Command("NV"), 0));
    EXPECT_EQ("Ver:3", line.Control(IOCTL_USBPRINT_VENDOR_GET_COMMAND, head, 100));
    EXPECT_EQ(5u, line.Printer()->View().bytesReceived);
}

TEST(CaptureFile, ThatCannotBeWrittenIsNotOpened)
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("zrtsim-" + std::to_string(std::random_device()()));
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "plain") << "x";
    for (const auto& [file, error] : {std::pair{"missing/job", ERROR_PATH_NOT_FOUND},
                                      {".", ERROR_ACCESS_DENIED},
                                      {"plain/job", ERROR_PATH_NOT_FOUND}}) {
        Line line(L"file:" + (folder / file).wstring());
        EXPECT_EQ(nullptr, line.port) << file;
        EXPECT_EQ(DWORD{error}, line.Open());
        EXPECT_FALSE(line.View().open);
        EXPECT_EQ(0u, line.View().misuses);
    }
    std::filesystem::remove_all(folder);
}

TEST(CaptureFile, ThatIsFullFailsTheDocument)
{
    Line line(L"file:/dev/full");
    if (line.port) { // where there is such a device
        EXPECT_EQ(0u, line.Start());
        EXPECT_EQ(0u, line.Write("x"));
        EXPECT_EQ(ERROR_WRITE_FAULT, line.End());
        EXPECT_FALSE(line.View().documentOpen);
    }
}

} // namespace
} // namespace zrtmon::sim
