#include <memory>
#include <new>

#include "platform/faults.h"
#include "platform/posix/handle_table.h"
#include "platform/posix/waitable.h"

namespace zrtmon::posix {

namespace {

BOOL Fail(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

template <class MakeObject>
HANDLE CreateWaitable(const SECURITY_ATTRIBUTES* attributes, LPCWSTR name, MakeObject make)
{
    if (attributes || name) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (ShouldFail(FaultPoint::HandleCreation)) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    try {
        const Lock lock = CWaitEngine::Get().Acquire();
        return CHandleTable::Get().Add(make());
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

template <class Use>
BOOL WithEvent(HANDLE handle, Use use)
{
    const Lock lock = CWaitEngine::Get().Acquire();
    CWaitable* const object = CHandleTable::Get().Find(handle);
    CEventObject* const event = object ? object->AsEvent() : nullptr;
    if (!event) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    use(*event);
    return TRUE;
}

DWORD ToWaitResult(WakeReason reason)
{
    switch (reason) {
    case WakeReason::Granted:
        return WAIT_OBJECT_0;
    case WakeReason::Abandoned:
        return WAIT_ABANDONED;
    default:
        return WAIT_TIMEOUT;
    }
}

} // namespace

} // namespace zrtmon::posix

using namespace zrtmon::posix;

HANDLE WINAPI CreateEventW(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initiallySet,
                           LPCWSTR name) noexcept
{
    return CreateWaitable(attributes, name, [=] {
        return std::make_shared<CEventObject>(manualReset != FALSE, initiallySet != FALSE);
    });
}

BOOL WINAPI SetEvent(HANDLE event) noexcept
{
    return WithEvent(event, [](CEventObject& object) { object.Set(); });
}

BOOL WINAPI ResetEvent(HANDLE event) noexcept
{
    return WithEvent(event, [](CEventObject& object) { object.Reset(); });
}

HANDLE WINAPI CreateMutexW(SECURITY_ATTRIBUTES* attributes, BOOL initiallyOwned, LPCWSTR name) noexcept
{
    return CreateWaitable(attributes, name, [=] {
        auto mutex = std::make_shared<CMutexObject>();
        if (initiallyOwned) {
            mutex->TryTake(ThisThread());
        }
        return mutex;
    });
}

BOOL WINAPI ReleaseMutex(HANDLE mutex) noexcept
{
    const Lock lock = CWaitEngine::Get().Acquire();
    CWaitable* const object = CHandleTable::Get().Find(mutex);
    CMutexObject* const found = object ? object->AsMutex() : nullptr;
    if (!found) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    return found->Release(ThisThread()) ? TRUE : Fail(ERROR_NOT_OWNER);
}

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept
{
    Lock lock = CWaitEngine::Get().Acquire();
    CWaitable* const object = CHandleTable::Get().Find(handle);
    if (!object) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return ToWaitResult(object->Take(lock, ThisThread(), milliseconds));
}

BOOL WINAPI CloseHandle(HANDLE handle) noexcept
{
    const Lock lock = CWaitEngine::Get().Acquire();
    return CHandleTable::Get().Remove(handle) ? TRUE : Fail(ERROR_INVALID_HANDLE);
}

uint64_t zrtmon::OpenHandleCount() noexcept
{
    const Lock lock = CWaitEngine::Get().Acquire();
    return CHandleTable::Get().Count();
}
