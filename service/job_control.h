/// What the main thread and the thread that prints a job share.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "host/session/spooler_session.h"
#include "platform/sync.h"
#include "service/descriptor.h"

namespace zrtmon::service {

/// Any thread.
class CJobControl {
public:
    /// Throws std::system_error.
    CJobControl();
    CJobControl(const CJobControl&) = delete;
    CJobControl& operator=(const CJobControl&) = delete;

    /// Cancels the job, at the printer when its document is open. The first reason counts; nothing happens
    /// once the document has ended.
    void Cancel(const std::string& reason);
    bool IsCancelled() const { return m_isCancelled; }
    std::string CancelReason() const;
    /// Readable from the cancel on.
    int StopDescriptor() const { return m_stop.Get(); }

    /// The document that Cancel concerns; null when it has ended. Both are borrowed until then.
    void SetDocument(host::CDocument* document, const host::CSpoolerSession* session);
    /// Why no document has started yet; empty when nothing is in the way.
    void SetWaitReason(const std::string& reason);
    std::string WaitReason() const;

    std::atomic<uint64_t> bytes{0};       ///< accepted by the monitor
    std::atomic<int> baseCount{-1};       ///< the printer's card count before the job; -1: unknown
    std::atomic<bool> hasStarted{false};  ///< its first byte has left, or is about to
    std::atomic<bool> isFinishing{false}; ///< all data was accepted

private:
    CDescriptor m_stop; ///< eventfd
    std::atomic<bool> m_isCancelled{false};
    mutable CCriticalSection m_lock; ///< guards what follows
    std::string m_cancelReason;
    std::string m_waitReason;
    host::CDocument* m_document = nullptr;
    const host::CSpoolerSession* m_session = nullptr;
};

} // namespace zrtmon::service
