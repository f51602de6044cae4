// The library in the system's own spooler: registered, loaded, listed and taken away as an installer does it.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/win32.h"

namespace {

constexpr wchar_t kMonitorName[] = L"zrtmon test monitor";
constexpr wchar_t kLibrary[] = L"zrtmon.dll";
constexpr const wchar_t* kEnvironment = sizeof(void*) == 8 ? L"Windows x64" : L"Windows NT x86";

LPWSTR Mutable(const wchar_t* text) { return const_cast<LPWSTR>(text); }

std::wstring InSystemFolder(const wchar_t* file)
{
    wchar_t folder[MAX_PATH] = L"";
    GetSystemDirectoryW(folder, MAX_PATH);
    return std::wstring(folder) + L'\\' + file;
}

/// 0 or the error.
DWORD Register(const wchar_t* library)
{
    MONITOR_INFO_2W info{Mutable(kMonitorName), Mutable(kEnvironment), Mutable(library)};
    SetLastError(ERROR_SUCCESS);
    return AddMonitorW(nullptr, 2, reinterpret_cast<LPBYTE>(&info)) ? ERROR_SUCCESS : GetLastError();
}

bool Remove() { return DeleteMonitorW(nullptr, nullptr, Mutable(kMonitorName)) != FALSE; }

/// The library of the monitor of that name as the spooler lists it; std::nullopt if it does not.
std::optional<std::wstring> Listed()
{
    DWORD needed = 0;
    DWORD count = 0;
    EnumMonitorsW(nullptr, 2, nullptr, 0, &needed, &count);
    std::vector<MONITOR_INFO_2W> records(needed / sizeof(MONITOR_INFO_2W) + 1);
    EXPECT_TRUE(EnumMonitorsW(nullptr, 2, reinterpret_cast<LPBYTE>(records.data()),
                              static_cast<DWORD>(records.size() * sizeof records[0]), &needed, &count));
    const auto end = records.begin() + static_cast<std::ptrdiff_t>(count);
    const auto found = std::find_if(records.begin(), end, [](const MONITOR_INFO_2W& record) {
        return lstrcmpiW(record.pName, kMonitorName) == 0;
    });
    return found == end ? std::nullopt : std::optional<std::wstring>(found->pDLLName);
}

/// With the library in the system's folder, and no monitor of that name before and after.
class MonitorLoad : public testing::Test {
protected:
    void SetUp() override
    {
        Remove();
        const std::string built = ZRTMON_LIBRARY;
        ASSERT_TRUE(CopyFileW(std::wstring(built.begin(), built.end()).c_str(),
                              InSystemFolder(kLibrary).c_str(), FALSE))
            << built << ": error " << GetLastError();
    }
    void TearDown() override
    {
        Remove();
        DeleteFileW(InSystemFolder(kLibrary).c_str());
    }
};

TEST_F(MonitorLoad, TheSpoolerStartsListsAndRemovesTheMonitor)
{
    HMODULE const module = LoadLibraryW(kLibrary);
    ASSERT_TRUE(module) << "error " << GetLastError();
    using Initialize = MONITOR2*(WINAPI*)(MONITORINIT*, PHANDLE);
    const auto initialize = reinterpret_cast<Initialize>(
        reinterpret_cast<void (*)()>(GetProcAddress(module, "InitializePrintMonitor2")));
    ASSERT_TRUE(initialize);
    MONITORINIT init{};
    HANDLE monitor = nullptr;
    MONITOR2* const table = initialize(&init, &monitor);
    // The one table of the process; each initialisation fills the size in anew.
    table->cbSize = 0;

    EXPECT_EQ(DWORD{ERROR_SUCCESS}, Register(kLibrary));
    EXPECT_EQ(sizeof(MONITOR2), table->cbSize) << "the spooler has not initialised it";
    EXPECT_EQ(kLibrary, Listed());
    EXPECT_EQ(DWORD{ERROR_PRINT_MONITOR_ALREADY_INSTALLED}, Register(kLibrary));

    EXPECT_TRUE(Remove());
    EXPECT_EQ(std::nullopt, Listed());
    FreeLibrary(module);
}

TEST_F(MonitorLoad, ALibraryThatIsMissingOrNoMonitorIsNotListed)
{
    for (const wchar_t* library : {L"zrtmon-missing.dll", L"version.dll"}) {
        EXPECT_NE(DWORD{ERROR_SUCCESS}, Register(library));
        EXPECT_EQ(std::nullopt, Listed());
    }
}

} // namespace
