#include "platform/terminal.h"

#include <atomic>
#include <csignal>
#include <cstdlib>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "platform/secret_line.h"

namespace zrtmon::terminal {
namespace {

constexpr unsigned kDefaultColumns = 80;
constexpr int kInputStepMs = 50;
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Lock-free, so that the handler may set it.
std::atomic<bool> g_pressed{false};
static_assert(std::atomic<bool>::is_always_lock_free);

int Descriptor(Stream stream) { return stream == Stream::Output ? STDOUT_FILENO : STDERR_FILENO; }

void OnSignal(int) { g_pressed.store(true); }

// Whoever started the process may have shut a signal off (nohup does): that stays so.
bool IsIgnored(int signal)
{
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// While one exists, a terminal at standard input does not show what is typed. What was typed ahead, and the
/// part of a line that is left when the reading was stopped, are dropped: a shell would show it.
class CEchoOff {
public:
    CEchoOff() : m_isTerminal(tcgetattr(STDIN_FILENO, &m_before) == 0)
    {
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
        Set(silent);
    }
    ~CEchoOff() { Set(m_before); }
    CEchoOff(const CEchoOff&) = delete;
    CEchoOff& operator=(const CEchoOff&) = delete;

private:
    void Set(const termios& settings) const
    {
        if (m_isTerminal) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &settings);
        }
    }

    termios m_before{};
    bool m_isTerminal;
};

class CStandardInput final : public IInputBytes {
public:
    bool Wait() override
    {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        return poll(&input, 1, kInputStepMs) > 0;
    }

    std::optional<char> Read() override
    {
        char byte = 0;
        // Single bytes: what follows the line is for the next reader.
        return read(STDIN_FILENO, &byte, 1) == 1 ? std::optional<char>(byte) : std::nullopt;
    }
};

} // namespace

bool IsInputTyped() { return isatty(STDIN_FILENO) != 0; }

SecretEnd ReadSecret(CSecret& line, const std::function<bool()>& stop)
{
    const CEchoOff echoOff;
    CStandardInput input;
    return ReadSecretLine(input, line, stop);
}

std::optional<std::string> ReadLine(const std::function<bool()>& stop)
{
    CStandardInput input;
    return ReadPlainLine(input, stop);
}

bool IsTerminal(Stream stream)
{
    return isatty(Descriptor(stream)) && Environment("TERM").value_or("dumb") != "dumb";
}

unsigned Columns(Stream stream)
{
    winsize size{};
    const bool known = ioctl(Descriptor(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kDefaultColumns;
}

std::optional<std::string> Environment(const std::string& name)
{
    const char* value = std::getenv(name.c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
}

std::filesystem::path ProgramFolder()
{
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

std::filesystem::path SystemFolder() { return {}; }

std::string SharedLibraryName(const std::string& name) { return "lib" + name + ".so"; }

CInterruptKey::CInterruptKey()
{
    g_pressed.store(false);
    struct sigaction action {};
    action.sa_handler = OnSignal;
    // The handler is taken off when it has run: a second signal ends the process as it always did.
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int signal : kSignals) {
        if (!IsIgnored(signal)) {
            sigaction(signal, &action, nullptr);
        }
    }
}

CInterruptKey::~CInterruptKey()
{
    for (const int signal : kSignals) {
        if (!IsIgnored(signal)) {
            std::signal(signal, SIG_DFL);
        }
    }
}

bool CInterruptKey::WasPressed() { return g_pressed.load(); }

} // namespace zrtmon::terminal
