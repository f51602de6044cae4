/// The values that represent events and mutexes outside this layer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/posix/waitable.h"
#include "platform/win32.h"

namespace zrtmon::posix {

/// A value is never given twice, so that a handle used after its end is always recognised: it is made of a
/// place in the table and of a number that counts up. Every function needs the engine's lock.
class CHandleTable {
public:
    /// Exists from the first use to the end of the process, static destructors included.
    static CHandleTable& Get();

    /// Throws std::bad_alloc.
    HANDLE Add(std::shared_ptr<CWaitable> object);
    /// Null for a handle that is not open. Borrowed until the lock is released.
    CWaitable* Find(HANDLE handle);
    /// False for a handle that is not open.
    bool Remove(HANDLE handle);
    size_t Count() const { return m_count; }

private:
    struct Slot {
        uintptr_t value = 0; ///< of the handle that is open here, 0 for none
        std::shared_ptr<CWaitable> object = nullptr;
        size_t nextFree = 0; ///< the next place that is free, of one that is
    };

    /// Null for a handle that is not open.
    Slot* FindSlot(HANDLE handle);

    std::vector<Slot> m_slots;
    size_t m_firstFree = 0; ///< a slot; one past the last if none is free
    size_t m_count = 0;
    uintptr_t m_lastSerial = 0;
};

} // namespace zrtmon::posix
