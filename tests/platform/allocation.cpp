// The test program's operator new is a fault point, so that every allocation of the layer can be made to
// fail.
#include "tests/support/allocation.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "platform/faults.h"

namespace {

constinit std::atomic<uint64_t> g_live = 0;

void* Allocate(std::size_t size) noexcept
{
    void* const block =
        zrtmon::FaultDue(zrtmon::FaultPoint::Allocation) ? nullptr : std::malloc(size ? size : 1);
    g_live += block ? 1 : 0;
    return block;
}

void Free(void* block) noexcept
{
    g_live -= block ? 1 : 0;
    std::free(block);
}

} // namespace

uint64_t zrtmon::test::LiveAllocations() noexcept { return g_live; }

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
