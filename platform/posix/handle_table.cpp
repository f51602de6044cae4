#include "platform/posix/handle_table.h"

#include <new>
#include <utility>

#include "platform/never_destroyed.h"

namespace zrtmon::posix {

namespace {

// The number is above the place, and both are above two bits that are 0. It counts from 2^16, so that values
// lie above 32 bits: apart from printer handles, and from what a program takes for a handle by mistake.
constexpr unsigned kSlotShift = 2;
constexpr unsigned kSerialShift = 24;
constexpr size_t kMostSlots = size_t{1} << (kSerialShift - kSlotShift);
constexpr uintptr_t kFirstSerial = uintptr_t{1} << 16;

uintptr_t ToValue(HANDLE handle) { return reinterpret_cast<uintptr_t>(handle); }

size_t SlotOf(uintptr_t value) { return (value >> kSlotShift) % kMostSlots; }

} // namespace

CHandleTable& CHandleTable::Get() { return NeverDestroyed<CHandleTable>(); }

HANDLE CHandleTable::Add(std::shared_ptr<CWaitable> object)
{
    const size_t place = m_firstFree;
    if (place == kMostSlots) {
        throw std::bad_alloc();
    }
    if (place == m_slots.size()) {
        m_slots.push_back({.nextFree = place + 1});
    }
    Slot& slot = m_slots[place];
    slot.value = (kFirstSerial + ++m_lastSerial) << kSerialShift | place << kSlotShift;
    slot.object = std::move(object);
    m_firstFree = slot.nextFree;
    ++m_count;
    return reinterpret_cast<HANDLE>(slot.value);
}

CHandleTable::Slot* CHandleTable::FindSlot(HANDLE handle)
{
    const uintptr_t value = ToValue(handle);
    const size_t place = SlotOf(value);
    return value != 0 && place < m_slots.size() && m_slots[place].value == value ? &m_slots[place] : nullptr;
}

CWaitable* CHandleTable::Find(HANDLE handle)
{
    const Slot* slot = FindSlot(handle);
    return slot ? slot->object.get() : nullptr;
}

bool CHandleTable::Remove(HANDLE handle)
{
    Slot* const slot = FindSlot(handle);
    if (!slot) {
        return false;
    }
    *slot = {.nextFree = std::exchange(m_firstFree, SlotOf(slot->value))};
    --m_count;
    return true;
}

} // namespace zrtmon::posix
