/// The objects that event and mutex handles refer to. Every function needs the engine's lock, destructors
/// too.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/posix/wait_engine.h"

namespace zrtmon::posix {

class CEventObject;
class CMutexObject;

/// Owned by the handle table and by the threads that block for it, or by an owner that outlives them.
class CWaitable : public std::enable_shared_from_this<CWaitable> {
public:
    CWaitable() = default;
    virtual ~CWaitable() = default;
    CWaitable(const CWaitable&) = delete;
    CWaitable& operator=(const CWaitable&) = delete;

    /// Takes the object for the thread where that needs no wait: Granted or Abandoned; nothing otherwise.
    virtual std::optional<WakeReason> TryTake(ThreadState& thread) = 0;
    /// What messages call it.
    virtual const char* Kind() const = 0;
    virtual CEventObject* AsEvent() { return nullptr; }
    virtual CMutexObject* AsMutex() { return nullptr; }

    /// Takes it, or blocks for it in the order of coming, whether or not its handle is closed meanwhile.
    WakeReason Take(Lock& lock, ThreadState& thread, DWORD timeoutMs);

protected:
    WaitQueue m_queue;
};

class CEventObject final : public CWaitable {
public:
    CEventObject(bool manualReset, bool initiallySet) : m_manualReset(manualReset), m_set(initiallySet) {}

    std::optional<WakeReason> TryTake(ThreadState& thread) override;
    const char* Kind() const override { return "an event"; }
    CEventObject* AsEvent() override { return this; }

    void Set();
    void Reset() { m_set = false; }

private:
    const bool m_manualReset;
    bool m_set;
};

class CMutexObject final : public CWaitable, public CListNode<CMutexObject, OwnedTag> {
public:
    ~CMutexObject() override;

    std::optional<WakeReason> TryTake(ThreadState& thread) override;
    const char* Kind() const override { return "a mutex"; }
    CMutexObject* AsMutex() override { return this; }

    /// False when the thread does not own it.
    bool Release(ThreadState& thread);
    /// Every mutex that the thread owns goes to its first waiter, or stays free for the next thread, as
    /// abandoned.
    static void AbandonAll(ThreadState& thread);

private:
    void GiveTo(ThreadState& thread);
    /// Hands it to the first waiter, if there is one.
    bool PassOn(WakeReason reason);

    ThreadState* m_owner = nullptr;
    uint32_t m_depth = 0;
    bool m_abandoned = false;
};

} // namespace zrtmon::posix
