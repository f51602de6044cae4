// The test program's operator new is a fault point, so that every allocation of the layer can be made to
// fail.
#include <cstdlib>
#include <new>

#include "platform/faults.h"

void* operator new(std::size_t size)
{
    void* const block =
        zrtmon::FaultDue(zrtmon::FaultPoint::Allocation) ? nullptr : std::malloc(size ? size : 1);
    if (!block) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept { std::free(block); }

void operator delete(void* block, std::size_t) noexcept { std::free(block); }
