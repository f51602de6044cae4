#include "queries/data_ribbon.h"

#include "link/command_prefix.h"

namespace zrtmon {

namespace {
constexpr auto kCommand = MakeCommand("NR");
constexpr const char* kFieldNames[] = {"PartNumber", "OEMPartNumber", "Grade",
                                       "Type",       "Material",      "PercentRemaining"};
} // namespace

const uint8_t* CDataRibbon::GetCommand(uint32_t* length)
{
    return m_supply == kRibbon ? CommandBytes(kCommand, length) : CommandBytes({}, length);
}

BOOL CDataRibbon::Parse() { return KeepTextAfter("Ribbon Info:"); }

BOOL CDataRibbon::NameFields()
{
    CData::NameFields();
    return TRUE;
}

const char* CDataRibbon::GetFieldName(uint32_t index) { return NameAt(kFieldNames, index); }

} // namespace zrtmon
