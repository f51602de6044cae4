#pragma once

#include <array>
#include <vector>

#include "settings/data_settings.h"

namespace zrtmon {

/// Writes the settings that a printer's data holds into one settings memory: "InitializeSettings/<printer
/// name>". The values come from that printer's value "CurrentSettings", a text as the settings' reading
/// answers it; rows that it does not name stay as they are. No reply is read. Values are sent as they are,
/// whatever their range.
class CDataSettingsInit : public CDataSettings {
public:
    /// Loads the settings text. FALSE without "/", for an unknown printer and without the value.
    BOOL Prepare(const wchar_t* requestText) override;
    uint32_t GetSendDelay() override { return 0; }
    uint32_t GetReceiveMethod() override { return kReceiveNothing; }
    const uint8_t* GetCommand(uint32_t* length) override;

    /// What follows the first "/", or null.
    virtual const wchar_t* GetTargetPrinter(const wchar_t* requestText);

protected:
    /// The commands of one memory: its two letters, and the parameter number of its first row.
    struct Memory {
        std::array<uint8_t, 5> prefix;
        int firstParameter;
    };

    CDataSettingsInit(const SettingRow* table, const Memory& memory) : CDataSettings(table), m_memory(memory)
    {
    }

    /// One command for each row that the text holds, in table order.
    virtual void BuildCommands(std::vector<uint8_t>& commands);

private:
    Memory m_memory;
    std::vector<uint8_t> m_commandBuffer;
};

/// The main settings memory ("TE"), with the flipper's chained behind it.
class CDataSettingsInitZRT final : public CDataSettingsInit {
public:
    CDataSettingsInitZRT();

    BOOL Prepare(const wchar_t* requestText) override;
    /// Empties the text, so that the answer holds the settings once: those of the flipper's request.
    const uint8_t* GetCommand(uint32_t* length) override;
};

/// The flipper's settings memory ("TF").
class CDataSettingsInitFlip final : public CDataSettingsInit {
public:
    CDataSettingsInitFlip();
};

} // namespace zrtmon
