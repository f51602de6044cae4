#include "service/backend/supervisor.h"

#include <csignal>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace zrtmon::backend {
namespace {

sigset_t WatchedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGCHLD);
    return signals;
}

/// Returns the wait status of the child.
int WaitFor(pid_t child, const sigset_t& signals)
{
    for (;;) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return status;
        }
        if (sigwaitinfo(&signals, nullptr) == SIGTERM) {
            kill(child, SIGTERM);
        }
    }
}

} // namespace

int Supervise(const std::function<int()>& work, const std::function<void()>& forget, int onCrash)
{
    signal(SIGCHLD, SIG_DFL); // an ignored one would take the child's status away
    const sigset_t signals = WatchedSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const pid_t child = fork();
    if (child < 0) {
        return work();
    }
    if (child == 0) {
        exit(work());
    }
    forget();
    const int status = WaitFor(child, signals);
    return WIFEXITED(status) ? WEXITSTATUS(status) : onCrash;
}

} // namespace zrtmon::backend
