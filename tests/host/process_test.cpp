// zrtctl as a process: signals, the terminal, and files and streams that cannot be written to.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zrtmon::test {
namespace {

/// A run of the program by a shell, with all it prints.
struct CProcessResult {
    int status; ///< exit status, or 128 and the signal
    std::string printed;
};

/// Runs a shell's command line in which "zrtctl" is the program; on a terminal if wanted. onOutput is called
/// with everything printed so far.
template <typename OnOutput>
CProcessResult RunShell(const std::string& line, bool onTerminal, OnOutput onOutput)
{
    int pipes[2] = {-1, -1};
    if (!onTerminal && pipe(pipes) != 0) {
        return {-1, "no pipe"};
    }
    int output = pipes[0];
    const pid_t child = onTerminal ? forkpty(&output, nullptr, nullptr, nullptr) : fork();
    if (child == 0) {
        if (!onTerminal) {
            dup2(pipes[1], STDOUT_FILENO);
            dup2(pipes[1], STDERR_FILENO);
            close(pipes[0]);
            close(pipes[1]);
        }
        setenv("TERM", "xterm", 1);
        const std::string script = "zrtctl() { \"" ZRTCTL "\" \"$@\"; }; " + line;
        execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
        _exit(127);
    }
    if (!onTerminal) {
        close(pipes[1]);
    }
    CProcessResult result{-1, {}};
    char bytes[4096];
    for (ssize_t count = 0; (count = read(output, bytes, sizeof bytes)) > 0;) {
        result.printed.append(bytes, static_cast<size_t>(count));
        onOutput(result.printed, child);
    }
    close(output);
    int status = 0;
    waitpid(child, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

CProcessResult RunShell(const std::string& line, bool onTerminal = false)
{
    return RunShell(line, onTerminal, [](const std::string&, pid_t) {});
}

TEST(Process, EndsAWatchAtTheInterruptKey)
{
    bool isSent = false;
    const CProcessResult result =
        RunShell("exec \"" ZRTCTL "\" status --watch --port sim:", false,
                 [&](const std::string& printed, pid_t process) {
                     if (!isSent && printed.find("CardCount=100") != std::string::npos) {
                         isSent = kill(process, SIGINT) == 0;
                     }
                 });
    EXPECT_TRUE(isSent);
    EXPECT_EQ(130, result.status) << result.printed;
}

TEST(Process, ColoursMessagesOnATerminalOnlyAndNotWithNoColor)
{
    const std::string bad = "\x1b[31mzrtctl: ";
    EXPECT_NE(std::string::npos, RunShell("unset NO_COLOR; zrtctl get Foo", true).printed.find(bad));
    EXPECT_EQ(std::string::npos,
              RunShell("NO_COLOR=1; export NO_COLOR; zrtctl get Foo", true).printed.find('\x1b'));
    EXPECT_EQ(std::string::npos,
              RunShell("TERM=dumb; export TERM; zrtctl get Foo", true).printed.find('\x1b'));
    EXPECT_EQ(std::string::npos, RunShell("unset NO_COLOR; zrtctl get Foo").printed.find('\x1b'));
}

TEST(Process, SaysThatItsOutputCannotBeWritten)
{
    const CProcessResult result = RunShell("zrtctl names >/dev/full");
    EXPECT_EQ(73, result.status);
    EXPECT_EQ("zrtctl: cannot write to standard output\n", result.printed);
}

TEST(Process, KeepsAFileThatItCannotReplace)
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("zrtctl-process-" + std::to_string(std::random_device()()));
    std::filesystem::create_directories(folder);
    const std::filesystem::path kept = folder / "kept";
    std::ofstream(kept) << "before";
    // Files of at most one block: the job is larger. The signal that would end the program is ignored.
    const CProcessResult result =
        RunShell("trap '' XFSZ; ulimit -f 1; zrtctl make-job --cards 9 '" + kept.string() + "'");
    EXPECT_EQ(73, result.status) << result.printed;
    EXPECT_NE(std::string::npos, result.printed.find("kept: cannot be written to")) << result.printed;
    std::string text;
    std::ifstream(kept) >> text;
    EXPECT_EQ("before", text);
    EXPECT_FALSE(std::filesystem::exists(folder / "kept.part"));
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace zrtmon::test
