/// Owns a file descriptor.
#pragma once

#include <unistd.h>
#include <utility>

namespace zrtmon::service {

class CDescriptor {
public:
    CDescriptor() = default;
    explicit CDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~CDescriptor() { Close(); }
    CDescriptor(CDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    CDescriptor& operator=(CDescriptor&& other) noexcept
    {
        if (this != &other) {
            Close();
            m_descriptor = std::exchange(other.m_descriptor, -1);
        }
        return *this;
    }

    int Get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }

private:
    void Close()
    {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }

    int m_descriptor = -1;
};

} // namespace zrtmon::service
