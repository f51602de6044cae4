#include "platform/descriptor.h"

#include <algorithm>
#include <limits>

#include <poll.h>

#include "platform/posix/wait_engine.h"

namespace zrtmon {

namespace {

bool IsReady(int descriptor, DescriptorEvent event, int timeoutMs)
{
    pollfd entry{descriptor, static_cast<short>(event == DescriptorEvent::Readable ? POLLIN : POLLOUT), 0};
    return poll(&entry, 1, timeoutMs) > 0;
}

int PollLimit(DWORD timeoutMs)
{
    return static_cast<int>(std::min<DWORD>(timeoutMs, std::numeric_limits<int>::max()));
}

} // namespace

bool WaitForDescriptor(int descriptor, DescriptorEvent event, DWORD timeoutMs) noexcept
{
    const DWORD start = GetTickCount();
    for (;;) {
        const DWORD passed = std::min(GetTickCount() - start, timeoutMs);
        const bool isVirtual = posix::CWaitEngine::Get().IsVirtual();
        if (IsReady(descriptor, event, isVirtual ? 0 : PollLimit(timeoutMs - passed))) {
            return true;
        }
        if (GetTickCount() - start >= timeoutMs) {
            return false;
        }
        if (isVirtual) {
            Sleep(1);
        }
    }
}

} // namespace zrtmon
