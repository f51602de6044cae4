#pragma once

#include "settings/data_settings.h"

namespace zrtmon {

/// The main settings memory (command "NE"), with the flipper's chained after it.
class CDataSettingsZRT : public CDataSettings {
public:
    CDataSettingsZRT() : CDataSettings(EepromSettingsTable) {}

    /// Makes the chain on first use. FALSE if memory is exhausted.
    BOOL Prepare(const wchar_t* requestText) override;
    BOOL Parse() override;
};

/// The main settings memory's defaults (command "Ne"), with the flipper's defaults chained after them.
class CDataSettingsZRTDefault final : public CDataSettingsZRT {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Prepare(const wchar_t* requestText) override;
};

/// The flipper's settings memory (command "NF").
class CDataSettingsFlip : public CDataSettings {
public:
    CDataSettingsFlip() : CDataSettings(FlipperSettingsTable) {}

    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;
};

/// The flipper's defaults (command "Nf").
class CDataSettingsFlipDefault final : public CDataSettingsFlip {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
};

} // namespace zrtmon
