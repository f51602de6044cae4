#include "platform/socket_system.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "platform/descriptor.h"

namespace zrtmon::socket_system {

void Prepare() {}

int LastError() { return errno; }

bool IsTemporary(int error) { return error == EAGAIN || error == EINTR; }

bool MakeNonBlocking(Handle handle)
{
    const int flags = fcntl(handle, F_GETFL);
    return fcntl(handle, F_SETFD, FD_CLOEXEC) == 0 && fcntl(handle, F_SETFL, flags | O_NONBLOCK) == 0;
}

void Close(Handle handle) { close(handle); }

void ClaimAddress(Handle handle)
{
    const int on = 1;
    setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

int SendFlags() { return MSG_NOSIGNAL; }

bool WaitReadable(Handle handle, DWORD timeoutMs)
{
    return WaitForDescriptor(handle, DescriptorEvent::Readable, timeoutMs);
}

} // namespace zrtmon::socket_system
