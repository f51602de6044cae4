#include "platform/socket_system.h"

namespace zrtmon::socket_system {

namespace {

/// The system's socket library, for the rest of the process.
class CSocketLibrary {
public:
    CSocketLibrary()
    {
        WSADATA data{};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~CSocketLibrary() { WSACleanup(); }
    CSocketLibrary(const CSocketLibrary&) = delete;
    CSocketLibrary& operator=(const CSocketLibrary&) = delete;
};

} // namespace

void Prepare() { static const CSocketLibrary library; }

int LastError() { return WSAGetLastError(); }

bool IsTemporary(int error) { return error == WSAEWOULDBLOCK || error == WSAEINTR; }

bool MakeNonBlocking(Handle handle)
{
    u_long on = 1;
    return ioctlsocket(handle, FIONBIO, &on) == 0;
}

void Close(Handle handle) { closesocket(handle); }

void ClaimAddress(Handle handle)
{
    const BOOL on = TRUE;
    setsockopt(handle, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on), sizeof on);
}

int SendFlags() { return 0; }

bool WaitReadable(Handle handle, DWORD timeoutMs)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(handle, &readable);
    timeval limit{static_cast<long>(timeoutMs / 1000), static_cast<long>(timeoutMs % 1000 * 1000)};
    return select(0, &readable, nullptr, nullptr, &limit) > 0;
}

} // namespace zrtmon::socket_system
