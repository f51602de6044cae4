/// What a device port needs of the system: a printer's character device or its network connection, as system
/// calls. The tests put a script in its place, so that EINTR, a short write or a reset at byte n is a row of
/// a table. Only where the system has such devices.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <sys/types.h>

#include "platform/descriptor.h"

namespace zrtmon {

/// Errors are errno numbers: negated where a count is returned. No call but Open and Wait takes time. Calls
/// come one at a time.
class CDeviceFile {
public:
    virtual ~CDeviceFile() = default;

    /// Opens or connects, in one attempt of at most timeoutMs, with the resolution of a host's name. 0 or the
    /// error.
    virtual int Open(DWORD timeoutMs) = 0;
    /// Closes what is open. What the system still has to send may be lost.
    virtual void Close() = 0;
    /// Bytes taken, which may be fewer; -EAGAIN while none are.
    virtual ssize_t Write(const uint8_t* data, size_t sizeBytes) = 0;
    /// Bytes read; 0 at the end of the stream; -EAGAIN while there are none.
    virtual ssize_t Read(uint8_t* buffer, size_t sizeBytes) = 0;
    /// As WaitForDescriptor.
    virtual bool Wait(DescriptorEvent event, DWORD timeoutMs) = 0;
    /// Bytes taken that the other side has not acknowledged.
    virtual ssize_t UnsentBytes() = 0;
    /// Says that no more bytes follow; reading goes on. 0 or the error.
    virtual int HalfClose() = 0;
    /// The IEEE 1284 device ID as the device reports it, its two length bytes first. Bytes read.
    virtual ssize_t ReadDeviceId(uint8_t* buffer, size_t sizeBytes) = 0;
};

/// A character device of the kernel's USB printer driver, not opened yet. The driver admits one user at a
/// time: EBUSY.
ZRT_PLATFORM_API std::unique_ptr<CDeviceFile> MakeUsbFile(std::string path);

/// A TCP connection to a host's name or address, not connected yet. Its addresses are tried in the system's
/// order.
ZRT_PLATFORM_API std::unique_ptr<CDeviceFile> MakeTcpFile(std::string host, uint16_t port);

/// Whether this user may read and write the device: 0 or the error.
ZRT_PLATFORM_API int CheckDeviceAccess(const std::string& path);
/// Whose the device is, and its mode: "root:lp, mode 0660". Empty when it is not there or no character
/// device; *error is then an errno number.
ZRT_PLATFORM_API std::string DescribeDeviceOwner(const std::string& path, int* error);
/// The group that owns the device, or its number; empty when the device is gone.
ZRT_PLATFORM_API std::string DeviceGroup(const std::string& path);

} // namespace zrtmon
