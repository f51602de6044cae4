#include "platform/posix/handle_table.h"

#include <utility>

#include "platform/never_destroyed.h"

namespace zrtmon::posix {

namespace {

// Above 32 bits: apart from printer handles, and no address that a program's memory begins at.
constexpr uintptr_t kFirstValue = uintptr_t{1} << 40;
constexpr uintptr_t kStep = 4;

uintptr_t ToKey(HANDLE handle) { return reinterpret_cast<uintptr_t>(handle); }

} // namespace

CHandleTable& CHandleTable::Get() { return NeverDestroyed<CHandleTable>(); }

HANDLE CHandleTable::Add(std::shared_ptr<CWaitable> object)
{
    const uintptr_t key = kFirstValue + kStep * ++m_lastSerial;
    m_objects.emplace(key, std::move(object));
    return reinterpret_cast<HANDLE>(key);
}

std::shared_ptr<CWaitable> CHandleTable::Find(HANDLE handle) const
{
    const auto found = m_objects.find(ToKey(handle));
    return found == m_objects.end() ? nullptr : found->second;
}

bool CHandleTable::Remove(HANDLE handle) { return m_objects.erase(ToKey(handle)) != 0; }

} // namespace zrtmon::posix
