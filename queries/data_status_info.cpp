#include "queries/data_status_info.h"

#include <iterator>
#include <utility>

#include "requests/decimal.h"

namespace zrtmon {

namespace {
constexpr int kNoSuchNumber = -1;
}

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
    int numbers[] = {CDataStatus::kNoErrorCategory, CDataStatus::kNoErrorCode, CDataStatus::kNoStatusCode};
    m_status->EvaluateStatus(numbers[kErrorCategory], numbers[kErrorCode], numbers[kStatusCode]);
    m_text = DecimalText(m_selector < std::size(numbers) ? numbers[m_selector] : kNoSuchNumber);
    return TRUE;
}

} // namespace zrtmon
