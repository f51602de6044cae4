/// The printer without its input parser: what the host commands do and reply, and what a job's cards do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/password_lock.h"
#include "simulator/print_engine.h"
#include "simulator/printer_options.h"
#include "simulator/printer_view.h"
#include "simulator/settings_memory.h"

namespace zrtmon::sim {

/// Not thread-safe. Its time moves in CatchUp only; call that before anything else.
class CPrinterFirmware {
public:
    explicit CPrinterFirmware(const PrinterOptions& options);

    void CatchUp(uint64_t nowMs) { m_engine.CatchUp(nowMs); }

    /// Carries out a host command and returns its reply, empty if it has none. *problem is set to a sentence
    /// when the parameters make no sense.
    std::string CarryOut(std::string_view mnemonic, std::string_view parameters, std::string* problem);

    void OpenJob() { m_isJobOpen = true; }
    void ReceiveCard() { m_engine.AddCard(!m_passwords.IsOpen()); }
    /// The end-of-job command: cards that no password has released are dropped, and the validation ends.
    void EndJob();
    /// The document is over, however it ended; as EndJob, but a validation stays.
    void CloseJob();
    /// Drops the job and every card.
    void CancelJob();

    void SetError(int32_t code, uint32_t clearMs) { m_engine.SetError(code, clearMs); }
    void FailAtCard(uint32_t card, int32_t code, uint32_t clearMs)
    {
        m_engine.FailAtCard(card, code, clearMs);
    }
    void SetPrintState(std::optional<int32_t> state) { m_printState = state; }
    void SetBusy(std::optional<bool> busy) { m_isBusy = busy; }
    void SetTracks(const std::string& track1, const std::string& track2, const std::string& track3);
    void SetRibbon(uint32_t percent) { m_engine.SetRibbon(percent); }
    void SetModules(bool mag, bool flipper);
    void SetBay(uint32_t bay, uint32_t station, uint32_t state);
    void SetProtection(bool on);
    void SetValidated(bool validated);
    void SetOemSupplies(bool enabled) { m_options.oemSupplies = enabled; }
    void SetPasswords(const std::string& admin, const std::string& user)
    {
        m_passwords.SetPasswords(admin, user);
    }

    /// Fills in what this object knows.
    void FillView(PrinterView* view) const;

private:
    struct Bay {
        uint32_t station;
        uint32_t state;
    };
    struct CommandRow;

    std::string Status();
    std::string Modules();
    std::string Firmware();
    std::string Ribbon();
    std::string Tracks();
    std::string Display();
    std::string Settings() { return m_eeprom.SettingsReply(); }
    std::string Defaults() { return m_eeprom.DefaultsReply(); }
    std::string FlipperSettings();
    std::string FlipperDefaults();
    std::string Bay1() { return BayReply(1); }
    std::string Bay2() { return BayReply(2); }
    std::string Security();
    std::string Challenge();
    std::string SwitchOemSupplies();
    std::string WriteSetting() { return Write(m_eeprom); }
    std::string WriteFlipperSetting() { return Write(m_flipper); }
    std::string PressButton();
    std::string Present();
    std::string Change();
    std::string Move();
    std::string Utility();

    std::string BayReply(size_t number) const;
    std::string Write(CSettingsMemory& memory);
    void CountPassword(bool accepted);
    void ReleaseIfOpen();
    int32_t PrintState() const;
    bool IsBusy() const { return m_isBusy.value_or(m_engine.IsFull()); }
    uint32_t CardCount() const { return m_options.cardCount + m_engine.Printed(); }
    std::vector<std::string> DisplayLines() const;

    PrinterOptions m_options;
    CPrintEngine m_engine;
    CPasswordLock m_passwords;
    CSettingsMemory m_eeprom = CSettingsMemory::MakeEeprom();
    CSettingsMemory m_flipper = CSettingsMemory::MakeFlipper();
    Bay m_bays[2];
    uint32_t m_target; ///< station that the next card is taken to
    bool m_isJobOpen = false;
    std::optional<int32_t> m_printState;
    std::optional<bool> m_isBusy;
    PrinterView m_history; ///< the members that only count or list what has happened

    // The command that is carried out.
    std::string_view m_mnemonic;
    std::string_view m_parameters;
    std::string* m_problem = nullptr;
};

} // namespace zrtmon::sim
