/// The values that stand for events and mutexes outside this layer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "platform/posix/waitable.h"
#include "platform/win32.h"

namespace zrtmon::posix {

/// A value is never given twice, so that a handle used after its end is always recognised. Every function
/// needs the engine's lock, and so does the end of a pointer that was given out.
class CHandleTable {
public:
    /// Exists from the first use to the end of the process, static destructors included.
    static CHandleTable& Get();

    /// Throws std::bad_alloc.
    HANDLE Add(std::shared_ptr<CWaitable> object);
    /// Null for a handle that is not open.
    std::shared_ptr<CWaitable> Find(HANDLE handle) const;
    /// False for a handle that is not open.
    bool Remove(HANDLE handle);
    size_t Count() const { return m_objects.size(); }

private:
    std::unordered_map<uintptr_t, std::shared_ptr<CWaitable>> m_objects;
    uintptr_t m_lastSerial = 0;
};

} // namespace zrtmon::posix
