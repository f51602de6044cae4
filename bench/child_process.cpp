#include "bench/child_process.h"

#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/stopwatch.h"

namespace zrtmon::bench {

namespace {

constexpr int kOutputMode = 0644;

double Seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// Where the child's three standard streams lead.
class CStreams {
public:
    explicit CStreams(const std::string& outputPath)
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, outputPath.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, kOutputMode);
        posix_spawn_file_actions_adddup2(&m_actions, STDOUT_FILENO, STDERR_FILENO);
    }
    ~CStreams() { posix_spawn_file_actions_destroy(&m_actions); }
    CStreams(const CStreams&) = delete;
    CStreams& operator=(const CStreams&) = delete;

    const posix_spawn_file_actions_t* Get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
};

} // namespace

ProcessCost RunProgram(const std::vector<std::string>& command, const std::string& outputPath,
                       const std::string& environment)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    std::vector<char*> variables;
    for (char** variable = environ; *variable; ++variable) {
        variables.push_back(*variable);
    }
    variables.push_back(environment.empty() ? nullptr : const_cast<char*>(environment.c_str()));
    variables.push_back(nullptr);

    const CStreams streams(outputPath);
    const CStopwatch watch;
    pid_t child = 0;
    if (posix_spawnp(&child, arguments[0], streams.Get(), nullptr, arguments.data(), variables.data()) != 0) {
        throw std::runtime_error(command[0] + " does not start");
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    if (status != 0) {
        throw std::runtime_error(command[0] + " failed; its output is in " + outputPath);
    }
    constexpr double kKibPerMib = 1024;
    return {watch.Seconds(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / kKibPerMib};
}

} // namespace zrtmon::bench
