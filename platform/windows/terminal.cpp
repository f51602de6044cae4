#include "platform/terminal.h"

#include <atomic>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/secret_line.h"
#include "platform/win32.h"

namespace zrtmon::terminal {
namespace {

constexpr unsigned kDefaultColumns = 80;
constexpr DWORD kInputStepMs = 50;
constexpr size_t kLongestPath = 32768; // characters, as the system's longest form has them

std::atomic<bool> g_pressed{false};

HANDLE StandardHandle(Stream stream)
{
    return GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

/// All programs on the console share its code page: it is restored at the end of the process.
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

/// A pipe or a file.
class CStreamInput final : public IInputBytes {
public:
    explicit CStreamInput(HANDLE handle) : m_handle(handle) {}

    bool Wait() override
    {
        DWORD available = 0;
        const bool isWaiting = GetFileType(m_handle) == FILE_TYPE_PIPE &&
                               PeekNamedPipe(m_handle, nullptr, 0, nullptr, &available, nullptr) &&
                               available == 0;
        if (isWaiting) {
            Sleep(kInputStepMs);
        }
        return !isWaiting;
    }

    std::optional<char> Read() override
    {
        char byte = 0;
        DWORD count = 0;
        // Single bytes: what follows the line is for the next reader.
        const bool isThere = ReadFile(m_handle, &byte, 1, &count, nullptr) && count == 1;
        return isThere ? std::optional<char>(byte) : std::nullopt;
    }

private:
    HANDLE m_handle;
};

enum class Echo {
    None,  ///< nothing of what is typed is shown, and what was typed ahead is dropped
    Typed, ///< it is written to the console
};

/// A console. The line is edited here, since the console's own reading cannot be stopped, and given out when
/// it is complete.
class CConsoleInput final : public IInputBytes {
public:
    CConsoleInput(HANDLE handle, DWORD mode, Echo echo) : m_handle(handle), m_before(mode), m_echo(echo)
    {
        SetConsoleMode(m_handle, ENABLE_PROCESSED_INPUT);
        DropTypedAhead();
    }
    ~CConsoleInput() override
    {
        DropTypedAhead();
        SetConsoleMode(m_handle, m_before);
    }
    CConsoleInput(const CConsoleInput&) = delete;
    CConsoleInput& operator=(const CConsoleInput&) = delete;

    bool Wait() override
    {
        INPUT_RECORD record{};
        DWORD count = 0;
        if (!m_isComplete && WaitForSingleObject(m_handle, kInputStepMs) == WAIT_OBJECT_0 &&
            ReadConsoleInputW(m_handle, &record, 1, &count) && count == 1 && record.EventType == KEY_EVENT &&
            record.Event.KeyEvent.bKeyDown) {
            Type(record.Event.KeyEvent.uChar.UnicodeChar);
        }
        return m_isComplete;
    }

    std::optional<char> Read() override
    {
        const std::string_view text = m_typed.Text();
        if (m_given < text.size()) {
            return text[m_given++];
        }
        // A line that did not fit here fits nowhere: one byte more than the limit reports that.
        return std::exchange(m_isTooLong, false) ? ' ' : '\n';
    }

private:
    void DropTypedAhead()
    {
        if (m_echo == Echo::None) {
            FlushConsoleInputBuffer(m_handle);
        }
    }

    void Show(std::wstring_view text)
    {
        DWORD count = 0;
        if (m_echo == Echo::Typed) {
            WriteConsoleW(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()),
                          &count, nullptr);
        }
    }

    void Type(wchar_t unit)
    {
        if (unit == L'\r') {
            m_isComplete = true;
            Show(L"\r\n");
        } else if (unit == L'\b') {
            if (!m_typed.Text().empty()) {
                Show(L"\b \b");
            }
            DropCharacter();
        } else if (IS_HIGH_SURROGATE(unit)) {
            m_firstHalf = unit;
        } else if (unit != L'\0') {
            Append(unit);
        }
    }

    void Append(wchar_t unit)
    {
        const wchar_t units[] = {std::exchange(m_firstHalf, L'\0'), unit};
        const bool isPair = units[0] != L'\0';
        char bytes[4] = {};
        Show(std::wstring_view(isPair ? units : units + 1, isPair ? 2 : 1));
        const int size = WideCharToMultiByte(CP_UTF8, 0, isPair ? units : units + 1, isPair ? 2 : 1, bytes,
                                             sizeof bytes, nullptr, nullptr);
        for (int i = 0; i < size; ++i) {
            m_isTooLong = !m_typed.Append(bytes[i]) || m_isTooLong;
        }
        Wipe(bytes, sizeof bytes);
    }

    void DropCharacter()
    {
        constexpr unsigned kKindMask = 0xC0;
        constexpr unsigned kContinuation = 0x80;
        for (bool isCharacter = false; !isCharacter && !m_typed.Text().empty();) {
            const char last = m_typed.Text().back();
            isCharacter = (static_cast<unsigned char>(last) & kKindMask) != kContinuation;
            m_typed.DropLast(last);
        }
    }

    HANDLE m_handle;
    DWORD m_before;
    Echo m_echo;
    CSecret m_typed;
    wchar_t m_firstHalf = L'\0';
    size_t m_given = 0;
    bool m_isTooLong = false;
    bool m_isComplete = false;
};

} // namespace

bool IsInputTyped()
{
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != FALSE;
}

SecretEnd ReadSecret(CSecret& line, const std::function<bool()>& stop)
{
    HANDLE const handle = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode)) {
        CConsoleInput input(handle, mode, Echo::None);
        return ReadSecretLine(input, line, stop);
    }
    CStreamInput input(handle);
    return ReadSecretLine(input, line, stop);
}

std::optional<std::string> ReadLine(const std::function<bool()>& stop)
{
    HANDLE const handle = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode)) {
        CConsoleInput input(handle, mode, Echo::Typed);
        return ReadPlainLine(input, stop);
    }
    CStreamInput input(handle);
    return ReadPlainLine(input, stop);
}

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

std::filesystem::path SystemFolder()
{
    std::wstring path(MAX_PATH, L'\0');
    path.resize(GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size())));
    return path;
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
