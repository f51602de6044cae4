#include "simulator/printer_firmware.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace zrtmon::sim {

namespace {

constexpr size_t kKeptTexts = 64; ///< of every list in the view
constexpr int32_t kIdleState = 0;
constexpr int32_t kWaitingState = 10;
constexpr int32_t kPrintingState = 11;
constexpr size_t kSerialDigits = 8; ///< of the serial number, that switch OEM supplies on

/// Where a move leaves the card: station and state that bay 1 reports from then on.
struct MoveRow {
    std::string_view mnemonic;
    uint32_t station;
    uint32_t state;
};
constexpr MoveRow kMoves[] = {{"e", 2, 1}, {"d", 4, 1}, {"r", 2, 6}, {"S1", 3, 5}};

/// The station that the next "i" takes a card to.
struct TargetRow {
    std::string_view mnemonic;
    uint32_t station;
};
constexpr TargetRow kTargets[] = {{"PPL", 1}, {"PIL", 4}, {"PML", 3}};
constexpr uint32_t kDefaultTarget = 1;
constexpr uint32_t kLoadedState = 2;

std::string HexText(const CipherBlock& block)
{
    std::string text;
    for (const uint8_t byte : block) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        text += digits;
    }
    return text;
}

void Keep(std::vector<std::string>& list, std::string_view text)
{
    if (list.size() == kKeptTexts) {
        list.erase(list.begin());
    }
    list.emplace_back(text);
}

template <class Row>
const Row* Find(std::string_view mnemonic, const Row* begin, const Row* end)
{
    const Row* row = std::find_if(begin, end, [&](const Row& r) { return r.mnemonic == mnemonic; });
    return row == end ? nullptr : row;
}

const char* Digit(bool value) { return value ? "1" : "0"; }

} // namespace

struct CPrinterFirmware::CommandRow {
    std::string_view mnemonic;
    std::string (CPrinterFirmware::*carryOut)();
};

CPrinterFirmware::CPrinterFirmware(const PrinterOptions& options)
    : m_options(options), m_engine(options),
      m_passwords(options), m_bays{{options.bay1Station, options.bay1State},
                                   {options.bay2Station, options.bay2State}},
      m_target(kDefaultTarget)
{
}

std::string CPrinterFirmware::CarryOut(std::string_view mnemonic, std::string_view parameters,
                                       std::string* problem)
{
    using D = CPrinterFirmware;
    static constexpr CommandRow kCommands[] = {
        {"Nr", &D::Status},
        {"NM", &D::Modules},
        {"NV", &D::Firmware},
        {"NR", &D::Ribbon},
        {"N0", &D::Tracks},
        {"NL", &D::Display},
        {"NE", &D::Settings},
        {"Ne", &D::Defaults},
        {"NF", &D::FlipperSettings},
        {"Nf", &D::FlipperDefaults},
        {"NB", &D::Bay1},
        {"NC", &D::Bay2},
        {"NP", &D::Security},
        {"NT", &D::Challenge},
        {"TU", &D::SwitchOemSupplies},
        {"TE", &D::WriteSetting},
        {"TF", &D::WriteFlipperSetting},
        {"B", &D::PressButton},
        {"4", &D::Present},
        {"5", &D::Change},
        {"TRT", &D::Utility},
        {"TCT", &D::Utility},
        {"TLT", &D::Utility},
        {"e", &D::Move},
        {"d", &D::Move},
        {"i", &D::Move},
        {"r", &D::Move},
        {"S1", &D::Move},
        {"PPL", &D::Move},
        {"PIL", &D::Move},
        {"PML", &D::Move},
    };
    const CommandRow* row = Find(mnemonic, std::begin(kCommands), std::end(kCommands));
    if (!row) {
        return {};
    }
    m_mnemonic = mnemonic;
    m_parameters = parameters;
    m_problem = problem;
    return (this->*row->carryOut)();
}

// ---------------------------------------------------------------------------------------------
// Jobs

void CPrinterFirmware::EndJob()
{
    ++m_history.jobsEnded;
    CloseJob();
    m_passwords.EndValidation();
}

void CPrinterFirmware::CloseJob()
{
    m_isJobOpen = false;
    m_history.cardsRefused += m_engine.DropHeld();
}

void CPrinterFirmware::CancelJob()
{
    const uint32_t dropped = m_engine.DropAll();
    if (std::exchange(m_isJobOpen, false) || dropped > 0) {
        ++m_history.jobsCancelled;
    }
    m_history.cardsCancelled += dropped;
}

// ---------------------------------------------------------------------------------------------
// What the host asks

std::string CPrinterFirmware::Status()
{
    std::string text = "ERR:";
    for (const std::string& field :
         {std::string(Digit(IsBusy())), std::to_string(m_engine.Error()), std::string(Digit(m_isJobOpen)),
          std::to_string(PrintState()), std::string(Digit(!m_passwords.IsOpen())),
          std::to_string(CardCount())}) {
        text += field + ',';
    }
    return text;
}

std::string CPrinterFirmware::Modules()
{
    return std::string("Module Status:") + Digit(m_options.magModule) + ',' + Digit(m_options.flipperModule);
}

std::string CPrinterFirmware::Firmware() { return "Ver:" + m_options.firmware; }

std::string CPrinterFirmware::Ribbon()
{
    return "Ribbon Info:R5210,OEM5210,1,YMCKO,DYE," + std::to_string(m_engine.RibbonPercent());
}

std::string CPrinterFirmware::Tracks()
{
    if (!m_options.magModule) {
        return "MAG:,,;";
    }
    return "MAG:" + m_options.track1 + ',' + m_options.track2 + ',' + m_options.track3 + ';';
}

std::string CPrinterFirmware::Display()
{
    std::string text = "LCD:";
    const char* separator = "";
    for (const std::string& line : DisplayLines()) {
        text += separator + line;
        separator = ";";
    }
    return text;
}

std::string CPrinterFirmware::FlipperSettings()
{
    return m_options.flipperModule ? m_flipper.SettingsReply() : "Flipper not fitted;";
}

std::string CPrinterFirmware::FlipperDefaults()
{
    return m_options.flipperModule ? m_flipper.DefaultsReply() : "Flipper not fitted;";
}

std::string CPrinterFirmware::BayReply(size_t number) const
{
    const Bay& bay = m_bays[number - 1];
    return "Bay" + std::to_string(number) + ':' + std::to_string(bay.station) + ',' +
           std::to_string(bay.state) + ';';
}

std::string CPrinterFirmware::Security()
{
    return std::string("Plinth:PLINTH=") + (m_passwords.IsOpen() ? "VALID" : "INVALID") +
           ",CORBEL=" + (m_options.oemSupplies ? "ENABLED" : "DISABLED") +
           ",PASSWORD=" + (m_passwords.IsProtected() ? "ENABLED" : "DISABLED") + ',';
}

std::string CPrinterFirmware::Challenge() { return "Corbel:" + HexText(m_passwords.NewChallenge()) + ';'; }

// ---------------------------------------------------------------------------------------------
// What the host has it do

/// The serial number's first digits, 'S', the switch (1 is on) and 'T'.
std::string CPrinterFirmware::SwitchOemSupplies()
{
    std::string serial = m_options.serial.substr(0, kSerialDigits);
    serial.resize(kSerialDigits, '\0');
    const std::string_view rest = m_parameters.substr(kSerialDigits);
    if (rest.front() != 'S' || rest.back() != 'T' || static_cast<uint8_t>(rest[1]) > 1) {
        *m_problem = "the command TU does not end in 'S', 0 or 1, 'T'";
    } else if (m_parameters.substr(0, kSerialDigits) == serial) {
        m_options.oemSupplies = rest[1] == 1;
    }
    return {};
}

std::string CPrinterFirmware::Write(CSettingsMemory& memory)
{
    if (!memory.Write(m_parameters)) {
        *m_problem = "the command " + std::string(m_mnemonic) + " has parameters of no setting";
    }
    return {};
}

std::string CPrinterFirmware::PressButton()
{
    if (m_parameters != "1" && m_parameters != "2") {
        *m_problem = "there is no such button";
        return {};
    }
    Keep(m_history.buttons, m_parameters);
    m_engine.SetError(0, 0);
    if (m_parameters == "2") {
        CancelJob();
    }
    return {};
}

std::string CPrinterFirmware::Present()
{
    CountPassword(m_passwords.Present(m_parameters));
    return {};
}

std::string CPrinterFirmware::Change()
{
    CountPassword(m_passwords.Change(m_parameters));
    return {};
}

void CPrinterFirmware::CountPassword(bool accepted)
{
    ++(accepted ? m_history.passwordsAccepted : m_history.passwordsRefused);
    ReleaseIfOpen();
}

std::string CPrinterFirmware::Move()
{
    Keep(m_history.moves, m_mnemonic);
    if (const TargetRow* row = Find(m_mnemonic, std::begin(kTargets), std::end(kTargets))) {
        m_target = row->station;
    } else if (const MoveRow* move = Find(m_mnemonic, std::begin(kMoves), std::end(kMoves))) {
        m_bays[0] = {move->station, move->state};
    } else {
        m_bays[0] = {std::exchange(m_target, kDefaultTarget), kLoadedState};
    }
    return {};
}

std::string CPrinterFirmware::Utility()
{
    Keep(m_history.utilities, m_mnemonic);
    return {};
}

// ---------------------------------------------------------------------------------------------
// State

void CPrinterFirmware::SetTracks(const std::string& track1, const std::string& track2,
                                 const std::string& track3)
{
    m_options.track1 = track1;
    m_options.track2 = track2;
    m_options.track3 = track3;
}

void CPrinterFirmware::SetModules(bool mag, bool flipper)
{
    m_options.magModule = mag;
    m_options.flipperModule = flipper;
}

void CPrinterFirmware::SetBay(uint32_t bay, uint32_t station, uint32_t state)
{
    m_bays[bay == 1 ? 0 : 1] = {station, state};
}

void CPrinterFirmware::SetProtection(bool on)
{
    m_passwords.SetProtection(on);
    ReleaseIfOpen();
}

void CPrinterFirmware::SetValidated(bool validated)
{
    m_passwords.SetValidated(validated);
    ReleaseIfOpen();
}

void CPrinterFirmware::ReleaseIfOpen()
{
    if (m_passwords.IsOpen()) {
        m_engine.ReleaseHeld();
    }
}

int32_t CPrinterFirmware::PrintState() const
{
    const int32_t own = m_engine.IsPrinting() ? kPrintingState : m_isJobOpen ? kWaitingState : kIdleState;
    return m_printState.value_or(own);
}

std::vector<std::string> CPrinterFirmware::DisplayLines() const
{
    std::string first = "READY";
    if (m_engine.Error() != 0) {
        first = "ERROR " + std::to_string(m_engine.Error());
    } else if (m_engine.IsPrinting()) {
        first = "PRINTING CARD " + std::to_string(m_engine.Printed() + 1);
    } else if (m_engine.Held() > 0) {
        first = "PASSWORD REQUIRED";
    } else if (m_isJobOpen) {
        first = "RECEIVING DATA";
    }
    return {first, "CARDS " + std::to_string(CardCount())};
}

void CPrinterFirmware::FillView(PrinterView* view) const
{
    *view = m_history;
    view->errorCode = m_engine.Error();
    view->printState = PrintState();
    view->busy = IsBusy();
    view->cardsPrinted = m_engine.Printed();
    view->cardCount = CardCount();
    view->cardsWaiting = m_engine.Waiting();
    view->cardsHeld = m_engine.Held();
    view->displayLines = DisplayLines();
    view->ribbonPercent = m_engine.RibbonPercent();
    view->eepromSettings = m_eeprom.Values();
    view->flipperSettings = m_flipper.Values();
    view->protection = m_passwords.IsProtected();
    view->validated = m_passwords.IsValidated();
    view->oemSupplies = m_options.oemSupplies;
}

} // namespace zrtmon::sim
