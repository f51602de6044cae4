#include <atomic>
#include <cstdlib>

#include "platform/faults.h"
#include "platform/win32.h"

namespace {
constinit std::atomic<uint64_t> g_blocks = 0;
}

HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T sizeBytes) noexcept
{
    void* block = nullptr;
    if (!zrtmon::ShouldFail(zrtmon::FaultPoint::Allocation)) {
        const SIZE_T allocated = sizeBytes != 0 ? sizeBytes : 1; // an empty block has an address too
        block = (flags & GMEM_ZEROINIT) != 0 ? std::calloc(1, allocated) : std::malloc(allocated);
    }
    if (!block) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    g_blocks.fetch_add(1, std::memory_order_relaxed);
    return block;
}

HGLOBAL WINAPI GlobalFree(HGLOBAL block) noexcept
{
    if (block) {
        g_blocks.fetch_sub(1, std::memory_order_relaxed);
        std::free(block);
    }
    return nullptr;
}

uint64_t zrtmon::GlobalBlockCount() noexcept { return g_blocks.load(std::memory_order_relaxed); }
