#include "queries/data_version_info.h"

#include "link/command_prefix.h"

namespace zrtmon {

namespace {
constexpr auto kCommand = MakeCommand("NV");
constexpr const char* kFieldNames[] = {"Firmware"};
} // namespace

const uint8_t* CDataVersionInfo::GetCommand(uint32_t* length) { return CommandBytes(kCommand, length); }

BOOL CDataVersionInfo::Parse() { return KeepTextAfter("Ver:"); }

const char* CDataVersionInfo::GetFieldName(uint32_t index) { return NameAt(kFieldNames, index); }

} // namespace zrtmon
