#include "service/job_control.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>

namespace zrtmon::service {

CJobControl::CJobControl() : m_stop(eventfd(0, EFD_CLOEXEC))
{
    if (!m_stop) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void CJobControl::Cancel(const std::string& reason)
{
    const CSectionHold hold(m_lock);
    if (m_isCancelled) {
        return;
    }
    m_cancelReason = reason;
    m_isCancelled = true;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = write(m_stop.Get(), &one, sizeof one);
    if (!m_document) {
        return;
    }
    // A cancel command that waited for its turn at a network printer would cancel another client's job.
    if (m_session->Kind() == host::PortKind::NetworkPrinter && !m_session->HasReplied()) {
        m_session->AbandonDocument();
    }
    m_document->DeleteJob();
}

std::string CJobControl::CancelReason() const
{
    const CSectionHold hold(m_lock);
    return m_cancelReason;
}

void CJobControl::SetDocument(host::CDocument* document, const host::CSpoolerSession* session)
{
    const CSectionHold hold(m_lock);
    m_document = document;
    m_session = session;
}

void CJobControl::SetWaitReason(const std::string& reason)
{
    const CSectionHold hold(m_lock);
    m_waitReason = reason;
}

std::string CJobControl::WaitReason() const
{
    const CSectionHold hold(m_lock);
    return m_waitReason;
}

} // namespace zrtmon::service
