#include "platform/terminal.h"

#include <atomic>
#include <csignal>
#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace zrtmon::terminal {
namespace {

constexpr unsigned kDefaultColumns = 80;
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

} // namespace

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
