#include "queries/data_mag_zrt.h"

#include "link/command_prefix.h"

namespace zrtmon {

namespace {
constexpr auto kCommand = MakeCommand("N0");
}

const uint8_t* CDataMagZRT::GetCommand(uint32_t* length) { return CommandBytes(kCommand, length); }

BOOL CDataMagZRT::Parse() { return KeepTextAfter("MAG:"); }

} // namespace zrtmon
