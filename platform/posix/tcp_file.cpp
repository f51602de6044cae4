#include <algorithm>
#include <atomic>
#include <memory>
#include <system_error>
#include <thread>

#include <linux/sockios.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "platform/posix/descriptor_file.h"
#include "platform/sync.h"

namespace zrtmon {

namespace {

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, FreeAddresses>;

/// The addresses of a host, or an errno number in *error.
AddressList LookUp(const std::string& host, const std::string& port, int flags, int* error)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int result = getaddrinfo(host.c_str(), port.c_str(), &hints, &list);
    *error = result == 0            ? 0
             : result == EAI_SYSTEM ? errno
             : result == EAI_AGAIN  ? EHOSTUNREACH
             : result == EAI_MEMORY ? ENOMEM
                                    : ENXIO; // no such host
    return AddressList(list);
}

DWORD CountOf(const addrinfo* list)
{
    DWORD count = 0;
    for (; list; list = list->ai_next) {
        ++count;
    }
    return count;
}

/// A look-up on a thread that may outlive whoever asked: the system sets no limit to it.
struct LookUpState {
    const std::string host;
    const std::string port;
    CHandle done{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    AddressList addresses{};
    int error = 0;
};

AddressList LookUpWithin(DWORD timeoutMs, const std::string& host, const std::string& port, int* error)
{
    if (AddressList numeric = LookUp(host, port, AI_NUMERICHOST, error)) {
        return numeric;
    }
    const auto state = std::make_shared<LookUpState>(LookUpState{host, port});
    if (!state->done) {
        *error = ENOMEM;
        return nullptr;
    }
    try {
        std::thread([state] {
            state->addresses = LookUp(state->host, state->port, AI_ADDRCONFIG, &state->error);
            SetEvent(state->done.Get());
        }).detach();
    } catch (const std::system_error& failure) {
        *error = failure.code().value();
        return nullptr;
    }
    if (WaitForSingleObject(state->done.Get(), timeoutMs) != WAIT_OBJECT_0) {
        *error = ETIMEDOUT;
        return nullptr;
    }
    *error = state->error;
    return std::move(state->addresses);
}

class CTcpFile final : public posix::CDescriptorFile {
public:
    CTcpFile(std::string host, uint16_t port) : m_host(std::move(host)), m_port(std::to_string(port)) {}

    int Open(DWORD timeoutMs) override
    {
        const DWORD start = GetTickCount();
        int error = 0;
        const AddressList addresses = LookUpWithin(timeoutMs, m_host, m_port, &error);
        DWORD left = CountOf(addresses.get());
        for (const addrinfo* address = addresses.get(); address; address = address->ai_next) {
            // An address that does not answer leaves the others their share of the time.
            const DWORD passed = std::min(GetTickCount() - start, timeoutMs);
            error = Connect(*address, (timeoutMs - passed) / left--);
            if (error == 0) {
                return 0;
            }
        }
        return error;
    }

    ssize_t Write(const uint8_t* data, size_t sizeBytes) override
    {
        return posix::CountOrError(send(m_descriptor.Get(), data, sizeBytes, MSG_NOSIGNAL));
    }

    ssize_t UnsentBytes() override
    {
        int bytes = 0;
        return ioctl(m_descriptor.Get(), SIOCOUTQ, &bytes) == 0 ? bytes : -errno;
    }

    int HalfClose() override { return shutdown(m_descriptor.Get(), SHUT_WR) == 0 ? 0 : errno; }

    ssize_t ReadDeviceId(uint8_t*, size_t) override { return -EOPNOTSUPP; }

private:
    int Connect(const addrinfo& address, DWORD timeoutMs)
    {
        posix::CDescriptor made(socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC,
                                       address.ai_protocol));
        if (!made) {
            return errno;
        }
        // A query is one small piece, and its reply is waited for.
        const int on = 1;
        setsockopt(made.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (connect(made.Get(), address.ai_addr, address.ai_addrlen) != 0) {
            // An interrupted connect goes on like one that is in progress.
            const bool isUnderWay = errno == EINPROGRESS || errno == EINTR;
            const int error = isUnderWay ? AwaitConnection(made.Get(), timeoutMs) : errno;
            if (error != 0) {
                return error;
            }
        }
        m_descriptor = std::move(made);
        return 0;
    }

    static int AwaitConnection(int descriptor, DWORD timeoutMs)
    {
        if (!WaitForDescriptor(descriptor, DescriptorEvent::Writable, timeoutMs)) {
            return ETIMEDOUT;
        }
        int error = 0;
        socklen_t size = sizeof error;
        return getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
    }

    std::string m_host;
    std::string m_port;
};

} // namespace

std::unique_ptr<CDeviceFile> MakeTcpFile(std::string host, uint16_t port)
{
    return std::make_unique<CTcpFile>(std::move(host), port);
}

} // namespace zrtmon
