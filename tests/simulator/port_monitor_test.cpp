#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "simulator/port_monitor.h"
#include "tests/simulator/printer_fixture.h"

namespace zrtmon::sim {
namespace {

/// The port monitor as the monitor above it sees it. Calls answer 0 or the last error; those with a text for
/// an answer "error N" in its place.
struct CPortClient {
    explicit CPortClient(const std::wstring& portName) : name(portName) { Open(); }

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

    CVirtualClock clock;
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
    CPortClient client(L"sim:cards=7,write-limit=3");
    ASSERT_TRUE(client.port);
    EXPECT_EQ(sizeof(MONITOR2), client.table.cbSize);
    ASSERT_EQ(0u, client.Start(true));
    EXPECT_EQ(0u, client.Write(Command("Nr")));
    EXPECT_EQ(3u, client.count);
    EXPECT_EQ(0u, client.Write("Nr"));
    EXPECT_EQ(2u, client.count);
    EXPECT_EQ("ERR:0", client.Read(5));
    EXPECT_EQ(",0,0,0,0,7,", client.Read());
    EXPECT_EQ("", client.Read());
    EXPECT_EQ(0u, client.End());
    EXPECT_EQ(0u, client.Start());
    EXPECT_EQ(0u, client.End());
    EXPECT_EQ(0u, client.View().misuses);
}

TEST(PortMonitor, RefusesCallsOutOfOrder)
{
    CPortClient client(L"sim:");
    const HANDLE port = client.port;
    EXPECT_EQ(ERROR_BUSY, client.Open());
    EXPECT_EQ(nullptr, client.port);
    EXPECT_EQ(ERROR_INVALID_HANDLE, client.Start());
    client.port = port;
    EXPECT_EQ(ERROR_GEN_FAILURE, client.Write("x"));
    EXPECT_EQ("error 31", client.Read());
    EXPECT_EQ(ERROR_GEN_FAILURE, client.End());
    EXPECT_EQ(0u, client.Start());
    EXPECT_EQ(ERROR_BUSY, client.Start());
    EXPECT_EQ(ERROR_BUSY, client.Start(true));
    EXPECT_EQ(0u, client.Write("x")) << "the first document continues";
    EXPECT_EQ(6u, client.View().misuses);
    EXPECT_EQ(0u, client.Close());
    EXPECT_EQ(7u, client.View().misuses) << "a document was open";
    EXPECT_EQ(ERROR_INVALID_HANDLE, client.Close());
    EXPECT_EQ(ERROR_INVALID_HANDLE, client.Start());
    EXPECT_EQ(ERROR_INVALID_HANDLE, client.Write("x"));
    EXPECT_EQ("error 6", client.Read());
    EXPECT_EQ(ERROR_INVALID_HANDLE, client.End());
    EXPECT_EQ(12u, client.View().misuses);
    EXPECT_EQ("EndDocPort on a closed port", client.View().misuseTexts[11]);
    EXPECT_EQ(1u, client.View().bytesWritten);
}

TEST(PortMonitor, AClosedPortKeepsItsPrinter)
{
    CPortClient client(L"sim:card-ms=100");
    CCardPrinter* const printer = client.monitor.FindPrinter(L"SIM:Card-MS=100");
    ASSERT_TRUE(printer);
    client.Start();
    client.Write(Packet(CardPayload()) + "\x1B_");
    client.Close();
    EXPECT_EQ(nullptr, client.Printer());
    EXPECT_FALSE(client.View().open);
    Sleep(100);
    client.name = L"SIM:CARD-MS=100";
    EXPECT_EQ(0u, client.Open());
    EXPECT_EQ(printer, client.Printer());
    EXPECT_EQ(1u, printer->View().cardsPrinted);
    EXPECT_FALSE(printer->View().insidePacket) << "the document ended with the port";
}

TEST(PortMonitor, ADocumentsEndReachesThePrinterAndAChannelsDoesNot)
{
    CPortClient client(L"sim:");
    CCardPrinter* const printer = client.Printer();
    client.Start(true);
    client.Write(Packet(CardPayload()).substr(0, 50));
    client.End();
    EXPECT_TRUE(printer->View().insidePacket);
    client.Start();
    client.End();
    EXPECT_FALSE(printer->View().insidePacket);
    EXPECT_EQ(1u, printer->View().violationCount);
}

TEST(PortMonitor, ServesTheDevicesControls)
{
    CPortClient client(L"sim:serial=S1,model=M,firmware=3");
    const std::string id = "MFG:ZRT;CMD:ZRT;MDL:M;CLS:PRINTER;SN:S1;";
    EXPECT_EQ(id, client.Control(IOCTL_PAR_QUERY_DEVICE_ID, "", id.size()));
    EXPECT_EQ("error 122", client.Control(IOCTL_PAR_QUERY_DEVICE_ID, "", id.size() - 1));
    EXPECT_EQ(0u, client.count);
    const std::string head(3, '\0');
    EXPECT_EQ("error 31", client.Control(IOCTL_USBPRINT_VENDOR_GET_COMMAND, head, 100));
    EXPECT_EQ("", client.Control(IOCTL_USBPRINT_VENDOR_SET_COMMAND, head + Command("NV"), 0));
    EXPECT_EQ("Ver:3", client.Control(IOCTL_USBPRINT_VENDOR_GET_COMMAND, head, 100));
    EXPECT_EQ(5u, client.Printer()->View().bytesReceived);
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
        CPortClient client(L"file:" + (folder / file).wstring());
        EXPECT_EQ(nullptr, client.port) << file;
        EXPECT_EQ(DWORD{error}, client.Open());
        EXPECT_FALSE(client.View().open);
        EXPECT_EQ(0u, client.View().misuses);
    }
    std::filesystem::remove_all(folder);
}

TEST(CaptureFile, ThatIsFullFailsTheDocumentToItsEndAndFreesThePort)
{
    CPortClient client(L"file:/dev/full");
    if (!client.port) { // there is no such device everywhere
        return;
    }
    for (const size_t size : {size_t{1}, size_t{1} << 20}) {
        EXPECT_EQ(0u, client.Start());
        EXPECT_EQ(ERROR_WRITE_FAULT, client.Write(std::string(size, 'x')));
        EXPECT_EQ(ERROR_WRITE_FAULT, client.Write("y"));
        EXPECT_EQ(0u, client.End());
        EXPECT_FALSE(client.View().documentOpen);
        ASSERT_TRUE(client.monitor.FindDevice(client.name)->Failure());
        EXPECT_EQ("writing to /dev/full: No space left on device; make room, or give another file",
                  client.monitor.FindDevice(client.name)->Failure()->text);
    }
}

} // namespace
} // namespace zrtmon::sim
