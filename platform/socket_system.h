/// What differs between the systems' sockets, for socket.cpp.
#pragma once

#ifdef _WIN32
#include "platform/win32.h"
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

#include "platform/socket.h"

namespace zrtmon::socket_system {

#ifdef _WIN32
using Handle = SOCKET;
#else
using Handle = int;
#endif

/// Before the first call.
void Prepare();
/// Of the call that has just failed.
int LastError();
/// Whether that error means that the call would have waited, or was interrupted.
bool IsTemporary(int error);
bool MakeNonBlocking(Handle handle);
void Close(Handle handle);
/// Lets no other program take the same address, but lets it be taken again right after this one.
void ClaimAddress(Handle handle);
/// Flags for a send to a broken connection: an error, no signal.
int SendFlags();
bool WaitReadable(Handle handle, DWORD timeoutMs);

inline Handle ToHandle(NativeSocket socket) { return static_cast<Handle>(socket); }

} // namespace zrtmon::socket_system
