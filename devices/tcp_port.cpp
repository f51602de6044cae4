#include "devices/tcp_port.h"

#include <array>
#include <cerrno>
#include <utility>

namespace zrtmon::devices {

namespace {
constexpr DWORD kAcknowledgeStepMs = 10; // the system reports no event for it
constexpr size_t kMostWriteBytes = SIZE_MAX;
constexpr size_t kDiscardBytes = 4096;
} // namespace

CTcpPort::CTcpPort(CDeviceName name, FileMaker makeFile)
    : CDevicePort(std::move(name), kMostWriteBytes), m_makeFile(std::move(makeFile))
{
}

std::string CTcpPort::Advice(int error) const
{
    switch (error) {
    case ENXIO:
        return "the system knows no host of that name: check it, or give the address";
    case EPIPE:
    case ECONNRESET:
        return "the printer, or something on the way, closed the connection: check what was printed";
    case ETIMEDOUT:
        return "check that the printer is on, connected, and not serving somebody else";
    default:
        return "check that the printer is on, and its address and port";
    }
}

void CTcpPort::Finish(bool wasChannel)
{
    if (!AwaitAcknowledgement()) {
        return;
    }
    if (m_name.halfCloses) {
        m_file->HalfClose(); // when it fails, the connection is gone, and reading says so
    }
    // Without a half-close the printer sees no end, and a channel's reply has been read.
    if (m_name.halfCloses || !wasChannel) {
        ReadToTheEnd();
    }
}

/// Whether the printer's system has everything.
bool CTcpPort::AwaitAcknowledgement()
{
    std::array<uint8_t, kDiscardBytes> discarded;
    const DWORD start = GetTickCount();
    while (IsSound()) {
        while (ReadSome(discarded.data(), discarded.size()) > 0) {
        }
        const ssize_t unsent = IsSound() ? m_file->UnsentBytes() : 0;
        if (unsent <= 0) {
            return IsSound();
        }
        if (GetTickCount() - start >= m_name.drainMs) {
            Fail(ETIMEDOUT,
                 "waiting for " + Place() + " to take the last " + std::to_string(unsent) + " bytes",
                 ERROR_WRITE_FAULT);
            return false;
        }
        Sleep(kAcknowledgeStepMs);
    }
    return false;
}

void CTcpPort::ReadToTheEnd()
{
    std::array<uint8_t, kDiscardBytes> discarded;
    const DWORD start = GetTickCount();
    for (DWORD passed = 0; !m_isAtEnd && passed < kCloseMs; passed = GetTickCount() - start) {
        if (AwaitEvent(DescriptorEvent::Readable, kCloseMs - passed)) {
            ReadSome(discarded.data(), discarded.size());
        }
        if (!IsSound()) {
            return;
        }
    }
}

DWORD CTcpPort::QueryDeviceId(std::string* id)
{
    if (m_name.serial.empty()) {
        return ERROR_NOT_SUPPORTED;
    }
    *id = "CLS:PRINTER;SN:" + m_name.serial + ';';
    return ERROR_SUCCESS;
}

} // namespace zrtmon::devices
