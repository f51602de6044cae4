#pragma once

#include <array>
#include <vector>

#include "settings/data_settings.h"

namespace zrtmon {

/// Writes the settings stored in a printer's data into one settings memory: "InitializeSettings/<printer
/// name>". The values come from that printer's value "CurrentSettings", a text in the form of the answer to
/// that name; settings that it does not contain keep their value. No reply is read. Values outside their
/// range are sent, too.
class CDataSettingsInit : public CDataSettings {
public:
    const uint8_t* GetCommand(uint32_t* length) override = 0;
    /// Loads the settings text. FALSE without "/", for an unknown printer, without the value, and if memory
    /// is exhausted.
    BOOL Prepare(const wchar_t* requestText) override;
    uint32_t GetSendDelay() override { return 0; }
    uint32_t GetReceiveMethod() override { return kReceiveNothing; }

    /// The text after the first "/", or null if there is none.
    virtual const wchar_t* GetTargetPrinter(const wchar_t* requestText);

protected:
    using CDataSettings::CDataSettings;

    /// A subclass's BuildCommands: writes, in table order, one command for each row that the text contains:
    /// the prefix, then the parameter number, which is firstParameter for row 0, and the value. length is the
    /// buffer's size, and becomes the size of all the commands. FALSE if the buffer is smaller than that.
    BOOL WriteCommands(const std::array<uint8_t, 5>& prefix, int firstParameter, uint8_t* buffer,
                       uint32_t& length) const;
};

/// The main settings memory ("TE"), with the flipper's chained after it.
class CDataSettingsInitZRT final : public CDataSettingsInit {
public:
    CDataSettingsInitZRT() : CDataSettingsInit(EepromSettingsTable) {}

    /// Clears the text, so that the answer contains the settings once: in the flipper's request.
    const uint8_t* GetCommand(uint32_t* length) override;
    /// Also FALSE if there is no memory for the chained request.
    BOOL Prepare(const wchar_t* requestText) override;

    /// See WriteCommands.
    virtual BOOL BuildCommands(uint8_t* buffer, uint32_t& length) const;

private:
    std::vector<uint8_t> m_commandBuffer;
};

/// The flipper's settings memory ("TF").
class CDataSettingsInitFlip final : public CDataSettingsInit {
public:
    CDataSettingsInitFlip() : CDataSettingsInit(FlipperSettingsTable) {}

    const uint8_t* GetCommand(uint32_t* length) override;

    /// See WriteCommands.
    virtual BOOL BuildCommands(uint8_t* buffer, uint32_t& length) const;

private:
    std::vector<uint8_t> m_commandBuffer;
};

} // namespace zrtmon
