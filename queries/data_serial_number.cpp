#include "queries/data_serial_number.h"

#include <utility>

namespace zrtmon {

CDataSerialNumber::CDataSerialNumber(std::unique_ptr<CData> next, uint32_t receiveMethod)
    : m_receiveMethod(receiveMethod)
{
    SetNext(std::move(next));
}

const uint8_t* CDataSerialNumber::GetCommand(uint32_t* length) { return CommandBytes({}, length); }

BOOL CDataSerialNumber::Parse()
{
    if (!KeepTextAfter("SN:")) {
        return FALSE;
    }
    CutTextAt(';');
    return TRUE;
}

} // namespace zrtmon
