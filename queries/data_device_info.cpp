#include "queries/data_device_info.h"

#include "link/command_prefix.h"

namespace zrtmon {

namespace {
constexpr auto kCommand = MakeCommand("NM");
constexpr const char* kFieldNames[] = {"MagModule", "FlipperModule"};
} // namespace

const uint8_t* CDataDeviceInfo::GetCommand(uint32_t* length) { return CommandBytes(kCommand, length); }

BOOL CDataDeviceInfo::Parse() { return KeepTextAfter("Module Status:"); }

const char* CDataDeviceInfo::GetFieldName(uint32_t index) { return NameAt(kFieldNames, index); }

} // namespace zrtmon
