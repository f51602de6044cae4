// The test program's operator new is a fault point, so that every allocation of the layer can be made to
// fail.
#include "tests/support/allocation.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "platform/faults.h"

namespace zrtmon::test {

namespace {

constinit std::atomic<uint64_t> g_live = 0;
constinit std::atomic<CSecretWatch*> g_watch = nullptr;

/// Precedes every block.
struct alignas(std::max_align_t) BlockHead {
    size_t size; ///< of the block, without this
};

void* Allocate(size_t size) noexcept
{
    void* const memory = ShouldFail(FaultPoint::Allocation) ? nullptr : std::malloc(sizeof(BlockHead) + size);
    if (!memory) {
        return nullptr;
    }
    ++g_live;
    BlockHead* const head = new (memory) BlockHead{size};
    if (g_watch) {
        std::memset(head + 1, 0, size); // what a block held that was freed before is not this one's
    }
    return head + 1;
}

void Free(void* block) noexcept
{
    if (!block) {
        return;
    }
    BlockHead* const head = static_cast<BlockHead*>(block) - 1;
    if (CSecretWatch* const watch = g_watch) {
        watch->Inspect(block, head->size);
    }
    --g_live;
    std::free(head);
}

template <typename Character>
bool Contains(const void* block, size_t size, const Character* text, size_t length)
{
    const auto* const bytes = static_cast<const char*>(block);
    const auto* const wanted = reinterpret_cast<const char*>(text);
    return std::search(bytes, bytes + size, wanted, wanted + length * sizeof *text) != bytes + size;
}

} // namespace

uint64_t LiveAllocations() noexcept { return g_live; }

CSecretWatch::CSecretWatch(std::string_view secret) : m_length(secret.size())
{
    if (secret.empty() || secret.size() > kLongest || g_watch) {
        throw std::logic_error("CSecretWatch: a text of 1 to 64 characters, one watch at a time");
    }
    std::ranges::copy(secret, m_text);
    std::ranges::copy(secret, m_wideText);
    g_watch = this;
}

CSecretWatch::~CSecretWatch() { g_watch = nullptr; }

void CSecretWatch::Inspect(const void* block, size_t size) noexcept
{
    const bool isUnwiped =
        Contains(block, size, m_text, m_length) || Contains(block, size, m_wideText, m_length);
    m_unwiped += isUnwiped && !CFaultExemption::IsActive() ? 1 : 0;
}

} // namespace zrtmon::test

using zrtmon::test::Allocate;
using zrtmon::test::Free;

// Every form, so that no block is allocated by one implementation and freed by another.

void* operator new(std::size_t size)
{
    void* const block = Allocate(size);
    if (!block) {
        throw std::bad_alloc();
    }
    return block;
}

void* operator new[](std::size_t size) { return operator new(size); }

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }

void operator delete(void* block) noexcept { Free(block); }

void operator delete[](void* block) noexcept { Free(block); }

void operator delete(void* block, std::size_t) noexcept { Free(block); }

void operator delete[](void* block, std::size_t) noexcept { Free(block); }

void operator delete(void* block, const std::nothrow_t&) noexcept { Free(block); }

void operator delete[](void* block, const std::nothrow_t&) noexcept { Free(block); }
