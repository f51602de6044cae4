// The test program's operator new is a fault point, so that every allocation of the layer can be made to
// fail.
#include <cstdlib>
#include <new>

#include "platform/faults.h"

namespace {

void* Allocate(std::size_t size) noexcept
{
    return zrtmon::FaultDue(zrtmon::FaultPoint::Allocation) ? nullptr : std::malloc(size ? size : 1);
}

} // namespace

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

void operator delete(void* block) noexcept { std::free(block); }

void operator delete[](void* block) noexcept { std::free(block); }

void operator delete(void* block, std::size_t) noexcept { std::free(block); }

void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }

void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
