/// Prints one job.
#pragma once

#include <string>

#include "host/printing/card_counter.h"
#include "host/session/spooler_session.h"
#include "service/job_control.h"
#include "service/job_data.h"
#include "service/storage.h"

namespace zrtmon::service {

struct CJobResult {
    JobOutcome outcome;
    std::string reason; ///< empty for a completed job
    int cards = -1;     ///< printed, by the printer's count after the job; -1: unknown
};

/// One thread. The arguments are borrowed for its life.
class CJobRun {
public:
    CJobRun(host::CSpoolerSession& session, CStorage& storage, CJobControl& control, CJobData& data)
        : m_session(session), m_storage(storage), m_control(control), m_data(data)
    {
    }

    /// Returns when the job has ended. Before its first byte leaves, whatever is wrong with the device is
    /// tried again until it works or the job is cancelled; and the journal says on disk that it is about to
    /// leave.
    CJobResult Run(uint64_t id, const std::string& title);

private:
    CJobResult Print(uint64_t id, const std::string& title);
    bool AwaitFirstBytes();
    std::unique_ptr<host::CDocument> AwaitDocument(const std::wstring& title);
    std::unique_ptr<host::CDocument> StartDocument(const std::wstring& title);
    void NoteBaseCount();
    void NoteStart(uint64_t id);
    void PauseBeforeRetry() const;
    void Offer(host::CDocument& document);
    std::optional<std::string> DeviceProblem();
    CJobResult Conclude();
    int CountCards();
    std::optional<std::string> PrinterProblem(int cards);
    host::CQueriedNumber QueryPatiently(const std::string& name);

    host::CSpoolerSession& m_session;
    CStorage& m_storage;
    CJobControl& m_control;
    CJobData& m_data;
    std::span<char> m_piece; ///< of the data, not yet accepted
    host::CCardCounter m_cards;
};

} // namespace zrtmon::service
