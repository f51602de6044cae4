/// What the device files of a descriptor have in common.
#pragma once

#include <cerrno>
#include <utility>

#include <unistd.h>

#include "platform/device_file.h"

namespace zrtmon::posix {

/// Owns a descriptor; may be empty.
class CDescriptor {
public:
    explicit CDescriptor(int descriptor = -1) : m_descriptor(descriptor) {}
    ~CDescriptor() { Reset(); }
    CDescriptor(CDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    CDescriptor& operator=(CDescriptor&& other) noexcept
    {
        if (this != &other) {
            Reset();
            m_descriptor = std::exchange(other.m_descriptor, -1);
        }
        return *this;
    }

    int Get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }

    void Reset()
    {
        if (m_descriptor >= 0) {
            close(std::exchange(m_descriptor, -1));
        }
    }

private:
    int m_descriptor;
};

/// The result of a call that returns a count or -1: the count, or the negated errno.
inline ssize_t CountOrError(ssize_t result) { return result >= 0 ? result : -errno; }

/// A file of one descriptor; Open is the derived class's.
class CDescriptorFile : public CDeviceFile {
public:
    void Close() override { m_descriptor.Reset(); }
    ssize_t Read(uint8_t* buffer, size_t sizeBytes) override
    {
        return CountOrError(read(m_descriptor.Get(), buffer, sizeBytes));
    }
    bool Wait(DescriptorEvent event, DWORD timeoutMs) override
    {
        return WaitForDescriptor(m_descriptor.Get(), event, timeoutMs);
    }

protected:
    CDescriptor m_descriptor;
};

} // namespace zrtmon::posix
