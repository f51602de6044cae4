#include "devices/device_port.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/usb_print.h"

namespace zrtmon::devices {

namespace {

constexpr DWORD kStepMs = 100; ///< after so long a wait finds that the document was given up

std::string SystemText(int error) { return std::generic_category().message(error); }

DWORD OpenCode(int error)
{
    return error == EACCES || error == EPERM ? ERROR_ACCESS_DENIED : ERROR_DEVICE_NOT_AVAILABLE;
}

} // namespace

CDevicePort::CDevicePort(CDeviceName name, size_t mostWriteBytes)
    : m_name(std::move(name)), m_mostWriteBytes(mostWriteBytes)
{
}

DWORD CDevicePort::Start()
{
    {
        CSectionHold hold(m_lock);
        m_failure.reset();
    }
    m_error = ERROR_SUCCESS;
    m_isAtEnd = false;
    m_takenBytes = 0;
    m_hasReplied = false;
    m_isAbandoned = false;
    m_file = MakeFile();
    if (!m_file) {
        return m_error;
    }
    const int error = m_file->Open(kOpenMs);
    if (error != 0) {
        m_file.reset();
        return Fail(error, (IsNetwork() ? "connecting to " : "opening ") + Place(), OpenCode(error));
    }
    return ERROR_SUCCESS;
}

DWORD CDevicePort::End(bool wasChannel)
{
    if (!m_file) {
        return ERROR_SUCCESS;
    }
    if (IsSound()) {
        Finish(wasChannel);
    }
    m_file->Close();
    m_file.reset();
    m_error = ERROR_SUCCESS;
    return ERROR_SUCCESS;
}

DWORD CDevicePort::Write(const BYTE* data, DWORD size, DWORD* count)
{
    *count = 0;
    if (!m_file) {
        return ERROR_GEN_FAILURE;
    }
    const DWORD start = GetTickCount();
    while (IsSound() && *count < size) {
        const DWORD passed = std::min(GetTickCount() - start, kWriteMs);
        if (!m_file->Wait(DescriptorEvent::Writable, kWriteMs - passed)) {
            break;
        }
        const ssize_t taken = m_file->Write(data + *count, std::min<size_t>(size - *count, m_mostWriteBytes));
        if (taken == -EAGAIN) {
            break;
        }
        if (taken >= 0) {
            *count += static_cast<DWORD>(taken);
            m_takenBytes += static_cast<uint64_t>(taken);
        } else if (taken != -EINTR) {
            Fail(static_cast<int>(-taken), "writing to " + Place(), ERROR_WRITE_FAULT);
        }
    }
    return Result();
}

DWORD CDevicePort::Read(BYTE* buffer, DWORD size, DWORD* count)
{
    *count = 0;
    if (!m_file) {
        return ERROR_GEN_FAILURE;
    }
    if (IsSound()) {
        *count = static_cast<DWORD>(ReadSome(buffer, size));
    }
    return Result();
}

DWORD CDevicePort::Control(DWORD code, const BYTE*, DWORD, BYTE* output, DWORD outputSize, DWORD* count)
{
    if (code != IOCTL_PAR_QUERY_DEVICE_ID) {
        return ERROR_NOT_SUPPORTED;
    }
    std::string id;
    const DWORD error = QueryDeviceId(&id);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (!output || outputSize < id.size()) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::memcpy(output, id.data(), id.size());
    *count = static_cast<DWORD>(id.size());
    return ERROR_SUCCESS;
}

std::optional<sim::PortFailure> CDevicePort::Failure()
{
    CSectionHold hold(m_lock);
    return m_failure;
}

bool CDevicePort::AwaitEvent(DescriptorEvent event, DWORD timeoutMs)
{
    const DWORD start = GetTickCount();
    for (DWORD passed = 0; IsSound() && passed < timeoutMs; passed = GetTickCount() - start) {
        if (m_file->Wait(event, std::min(timeoutMs - passed, kStepMs))) {
            return true;
        }
    }
    return false;
}

size_t CDevicePort::ReadSome(uint8_t* buffer, size_t size)
{
    ssize_t count = -EINTR;
    while (!m_isAtEnd && count == -EINTR) {
        count = m_file->Read(buffer, size);
    }
    if (count > 0) {
        m_hasReplied = true;
        return static_cast<size_t>(count);
    }
    // A USB printer may send a transfer without bytes; a stream that ended does nothing else.
    m_isAtEnd = m_isAtEnd || (count == 0 && IsNetwork());
    if (!m_isAtEnd && count != 0 && count != -EAGAIN) {
        Fail(static_cast<int>(-count), "reading from " + Place(), ERROR_READ_FAULT);
    }
    return 0;
}

DWORD CDevicePort::Result() const
{
    return m_error == ERROR_SUCCESS && m_isAbandoned ? ERROR_GEN_FAILURE : m_error;
}

DWORD CDevicePort::Fail(int error, const std::string& tried, DWORD code)
{
    if (m_error == ERROR_SUCCESS) {
        m_error = code;
        CSectionHold hold(m_lock);
        m_failure = sim::PortFailure{.systemError = error,
                                     .text = tried + ": " + SystemText(error) + "; " + Advice(error),
                                     .bytesTaken = m_takenBytes};
    }
    return m_error;
}

} // namespace zrtmon::devices
