#include "settings/data_settings_zrt.h"

#include "link/command_prefix.h"

namespace zrtmon {

namespace {
constexpr auto kDefaultsCommand = MakeCommand("Ne");
constexpr auto kFlipperCommand = MakeCommand("NF");
constexpr auto kFlipperDefaultsCommand = MakeCommand("Nf");
} // namespace

BOOL CDataSettingsZRT::Prepare(const wchar_t* /*requestText*/) { return EnsureNext<CDataSettingsFlip>(); }

BOOL CDataSettingsZRT::Parse()
{
    return KeepTextAfter("EEprom Settings:") || KeepTextAfter("EEprom Defaults:");
}

const uint8_t* CDataSettingsZRTDefault::GetCommand(uint32_t* length)
{
    return CommandBytes(kDefaultsCommand, length);
}

BOOL CDataSettingsZRTDefault::Prepare(const wchar_t* /*requestText*/)
{
    return EnsureNext<CDataSettingsFlipDefault>();
}

const uint8_t* CDataSettingsFlip::GetCommand(uint32_t* length)
{
    return CommandBytes(kFlipperCommand, length);
}

BOOL CDataSettingsFlip::Parse()
{
    return KeepTextAfter("Flipper EE Settings:") || KeepTextAfter("Flipper EE Defaults:");
}

const uint8_t* CDataSettingsFlipDefault::GetCommand(uint32_t* length)
{
    return CommandBytes(kFlipperDefaultsCommand, length);
}

} // namespace zrtmon
