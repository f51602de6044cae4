#include "platform/socket.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "platform/socket_system.h"

namespace zrtmon {

namespace system = socket_system;

namespace {

constexpr int kBacklog = 16;

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

[[noreturn]] void ThrowLast(const std::string& what)
{
    throw std::system_error(system::LastError(), std::system_category(), what);
}

std::unique_ptr<addrinfo, FreeAddresses> Resolve(const std::string& host, const std::string& port)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* list = nullptr;
    if (getaddrinfo(host.c_str(), port.c_str(), &hints, &list) != 0) {
        throw std::system_error(std::make_error_code(std::errc::address_not_available), host);
    }
    return std::unique_ptr<addrinfo, FreeAddresses>(list);
}

int AtMost(size_t sizeBytes)
{
    return static_cast<int>(std::min<size_t>(sizeBytes, std::numeric_limits<int>::max()));
}

CSocket::Transfer ToTransfer(int64_t result, CSocket::State atZero)
{
    if (result > 0) {
        return {static_cast<size_t>(result)};
    }
    if (result == 0) {
        return {0, atZero};
    }
    const int error = system::LastError();
    if (system::IsTemporary(error)) {
        return {};
    }
    return {0, CSocket::State::Broken, error};
}

} // namespace

CSocket& CSocket::operator=(CSocket&& other) noexcept
{
    if (this != &other) {
        Close();
        m_socket = std::exchange(other.m_socket, kNoSocket);
    }
    return *this;
}

void CSocket::Close()
{
    if (m_socket != kNoSocket) {
        system::Close(system::ToHandle(std::exchange(m_socket, kNoSocket)));
    }
}

void CSocket::Reset()
{
    const linger atOnce{1, 0};
    setsockopt(system::ToHandle(m_socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&atOnce),
               sizeof atOnce);
    Close();
}

CSocket::Transfer CSocket::Receive(uint8_t* buffer, size_t sizeBytes)
{
    return ToTransfer(recv(system::ToHandle(m_socket), reinterpret_cast<char*>(buffer), AtMost(sizeBytes), 0),
                      State::Ended);
}

CSocket::Transfer CSocket::Send(const uint8_t* data, size_t sizeBytes)
{
    return ToTransfer(send(system::ToHandle(m_socket), reinterpret_cast<const char*>(data), AtMost(sizeBytes),
                           system::SendFlags()),
                      State::Open);
}

bool CSocket::WaitReadable(DWORD timeoutMs) const
{
    return system::WaitReadable(system::ToHandle(m_socket), timeoutMs);
}

CListener::CListener(const std::string& host, uint16_t port)
{
    system::Prepare();
    const auto addresses = Resolve(host, std::to_string(port));
    CSocket made(static_cast<NativeSocket>(socket(addresses->ai_family, SOCK_STREAM, 0)));
    if (!made) {
        ThrowLast("socket");
    }
    const system::Handle handle = system::ToHandle(made.Get());
    system::ClaimAddress(handle);
    if (bind(handle, addresses->ai_addr, static_cast<socklen_t>(addresses->ai_addrlen)) != 0 ||
        listen(handle, kBacklog) != 0 || !system::MakeNonBlocking(handle)) {
        ThrowLast(host);
    }
    m_socket = std::move(made);
}

std::string CListener::Address() const
{
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (getsockname(system::ToHandle(m_socket.Get()), generic, &size) != 0 ||
        getnameinfo(generic, size, host.data(), static_cast<socklen_t>(host.size()), port.data(),
                    static_cast<socklen_t>(port.size()), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "an unknown address";
    }
    const bool isIpv6 = address.ss_family == AF_INET6;
    return (isIpv6 ? "[" : "") + std::string(host.data()) + (isIpv6 ? "]:" : ":") + port.data();
}

std::optional<CSocket> CListener::Accept(DWORD timeoutMs) const
{
    if (!m_socket.WaitReadable(timeoutMs)) {
        return std::nullopt;
    }
    CSocket client(static_cast<NativeSocket>(accept(system::ToHandle(m_socket.Get()), nullptr, nullptr)));
    if (!client || !system::MakeNonBlocking(system::ToHandle(client.Get()))) {
        return std::nullopt; // the client is gone already
    }
    const int on = 1;
    setsockopt(system::ToHandle(client.Get()), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on),
               sizeof on);
    return client;
}

} // namespace zrtmon
