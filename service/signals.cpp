#include "service/signals.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace zrtmon::service {

CSignals::CSignals(std::function<void()> onStop, std::function<void()> onReload)
    : m_onStop(std::move(onStop)), m_onReload(std::move(onReload))
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    m_descriptor = CDescriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_descriptor) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

ILoopSource::CWait CSignals::Wait() { return {m_descriptor.Get(), POLLIN, -1}; }

void CSignals::Process()
{
    signalfd_siginfo signal{};
    while (read(m_descriptor.Get(), &signal, sizeof signal) == sizeof signal) {
        signal.ssi_signo == SIGHUP ? m_onReload() : m_onStop();
    }
}

} // namespace zrtmon::service
