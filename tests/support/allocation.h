/// What operator new and delete do in a program that is linked with tests/support/allocation.cpp.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zrtmon::test {

/// Blocks of operator new that have not been freed.
uint64_t LiveAllocations() noexcept;

/// While it exists, counts the blocks that are freed with a text still in them, as 8-bit or as wide text: a
/// secret that was not wiped. Blocks that a thread frees under a CFaultExemption (the printer, the test's own
/// bookkeeping) do not count. One at a time; any thread may free. Construct and destroy while no other thread
/// is freeing.
class CSecretWatch {
public:
    static constexpr size_t kLongest = 64;

    /// secret: ASCII, 1 to kLongest characters; copied.
    explicit CSecretWatch(std::string_view secret);
    ~CSecretWatch();
    CSecretWatch(const CSecretWatch&) = delete;
    CSecretWatch& operator=(const CSecretWatch&) = delete;

    uint64_t UnwipedBlocks() const { return m_unwiped; }
    /// Called by operator delete.
    void Inspect(const void* block, size_t size) noexcept;

private:
    char m_text[kLongest] = {};
    wchar_t m_wideText[kLongest] = {};
    size_t m_length;
    std::atomic<uint64_t> m_unwiped = 0;
};

} // namespace zrtmon::test
