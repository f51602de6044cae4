#include "queries/data_status_info.h"

#include <utility>

#include "requests/decimal.h"

namespace zrtmon {

CDataStatusInfo::CDataStatusInfo(std::unique_ptr<CDataStatus> status, uint32_t selector)
    : m_status(std::move(status)), m_selector(selector)
{
}

const uint8_t* CDataStatusInfo::GetCommand(uint32_t* length)
{
    if (!m_status) {
        *length = 0;
        return nullptr;
    }
    return m_status->GetCommand(length);
}

BOOL CDataStatusInfo::Prepare(const wchar_t* requestText)
{
    return !m_status || m_status->Prepare(requestText);
}

uint32_t CDataStatusInfo::GetSendDelay() { return m_status ? m_status->GetSendDelay() : kDefaultSendDelayMs; }

BOOL CDataStatusInfo::SetReply(const char* data, uint32_t length)
{
    if (!m_status || !m_status->ProcessReply(data, length)) {
        return FALSE;
    }
    PrinterState state;
    m_status->EvaluateStatus(state);
    m_text = DecimalText(SelectedNumber(state));
    return TRUE;
}

int CDataStatusInfo::SelectedNumber(const PrinterState& state) const
{
    switch (m_selector) {
    case kErrorCategory:
        return state.category;
    case kErrorCode:
        return state.errorCode;
    case kStatusCode:
        return state.statusCode;
    default:
        return -1;
    }
}

} // namespace zrtmon
