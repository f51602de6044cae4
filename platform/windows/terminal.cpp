#include "platform/terminal.h"

#include <atomic>
#include <cstdlib>

#include "platform/win32.h"

namespace zrtmon::terminal {
namespace {

constexpr unsigned kDefaultColumns = 80;
constexpr size_t kLongestPath = 32768; // characters, as the system's longest form has them

std::atomic<bool> g_pressed{false};

HANDLE StandardHandle(Stream stream)
{
    return GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

/// The console's code page is everybody's who uses it: it is put back at the end of the process.
class CUtf8Console {
public:
    CUtf8Console() : m_before(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
    ~CUtf8Console() { SetConsoleOutputCP(m_before); }
    CUtf8Console(const CUtf8Console&) = delete;
    CUtf8Console& operator=(const CUtf8Console&) = delete;

private:
    UINT m_before;
};

// Runs on a thread that the system makes for it. The second press is not handled, and ends the process.
BOOL WINAPI OnControl(DWORD control)
{
    const bool isKey = control == CTRL_C_EVENT || control == CTRL_BREAK_EVENT;
    return isKey && !g_pressed.exchange(true);
}

} // namespace

bool IsTerminal(Stream stream)
{
    HANDLE const handle = StandardHandle(stream);
    DWORD mode = 0;
    if (!GetConsoleMode(handle, &mode) ||
        !SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING)) {
        return false;
    }
    static const CUtf8Console utf8;
    return true;
}

unsigned Columns(Stream stream)
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(StandardHandle(stream), &info)) {
        return kDefaultColumns;
    }
    return static_cast<unsigned>(info.srWindow.Right - info.srWindow.Left + 1);
}

std::optional<std::string> Environment(const std::string& name)
{
    const char* value = std::getenv(name.c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
}

std::filesystem::path ProgramFolder()
{
    std::wstring path(kLongestPath, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

std::string SharedLibraryName(const std::string& name) { return name + ".dll"; }

CInterruptKey::CInterruptKey()
{
    g_pressed.store(false);
    SetConsoleCtrlHandler(OnControl, TRUE);
}

CInterruptKey::~CInterruptKey() { SetConsoleCtrlHandler(OnControl, FALSE); }

bool CInterruptKey::WasPressed() { return g_pressed.load(); }

} // namespace zrtmon::terminal
