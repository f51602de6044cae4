#include "simulator/card_printer.h"

#include <utility>

#include "platform/sync.h"
#include "platform/win32.h"
#include "simulator/input_parser.h"
#include "simulator/printer_firmware.h"
#include "simulator/reply_queue.h"

namespace zrtmon::sim {

namespace {

constexpr size_t kKeptViolations = 64;
constexpr size_t kKeptCommands = 4096;

std::string DeviceIdOf(const PrinterOptions& options)
{
    return "MFG:ZRT;CMD:ZRT;MDL:" + options.model + ";CLS:PRINTER;SN:" + options.serial + ';';
}

} // namespace

/// Everything that the lock guards; the parser reports to it.
struct CCardPrinter::State final : IInputEvents {
    explicit State(const PrinterOptions& options);

    void CatchUp();
    PrinterView View();
    void Answer(std::string_view mnemonic, const std::string& ownReply);
    void EndDocument();

    void OnHostCommand(std::string_view mnemonic, std::string_view parameters, uint64_t offset) override;
    void OnCancel(uint64_t offset) override;
    void OnCancelLead(uint64_t offset) override;
    void OnJobCommand(char letter) override;
    void OnPacket() override;
    void OnRecord() override { ++m_counts.records; }
    void OnJobData(const uint8_t* data, size_t size, bool framed) override;
    void OnViolation(uint64_t offset, const std::string& text) override;
    void NoteCommand(std::string_view mnemonic, uint64_t offset);

    CCriticalSection m_lock;
    DWORD m_lastTick = GetTickCount();
    uint64_t m_nowMs = 0; ///< since the printer was made
    CPrinterFirmware m_device;
    CInputParser m_parser;
    CReplyQueue m_replies;
    std::string m_deviceId;
    std::string m_noise;
    bool m_neverAnswers;
    std::map<std::string, std::string, std::less<>> m_replyOverrides;

    /// Members of the view that count what the parser reports; the device fills in the others.
    struct Counts {
        uint64_t jobBytes = 0;
        uint64_t rawBytes = 0;
        uint64_t packets = 0;
        uint64_t records = 0;
        uint64_t cardsReceived = 0;
        uint64_t commandsInsideCard = 0;
        uint64_t commandsInsidePacket = 0;
        std::map<std::string, uint64_t> commands;
    } m_counts;
    std::vector<uint64_t> m_violationOffsets; ///< of all, in order
    std::vector<Violation> m_violations;      ///< the first of them
    std::vector<CommandSeen> m_commandLog;
    uint32_t m_sides = 0; ///< "C" commands since the last "j"
    bool m_keepsJob = false;
    std::vector<uint8_t> m_jobBytes;
};

CCardPrinter::State::State(const PrinterOptions& options)
    : m_device(options), m_parser(*this, options.interleave), m_deviceId(DeviceIdOf(options)),
      m_noise(options.noise), m_neverAnswers(options.neverAnswer)
{
    m_replies.SetDelay(options.replyMs);
    m_replies.SetPieces(options.cutReplies, options.cutMs);
}

void CCardPrinter::State::CatchUp()
{
    const DWORD tick = GetTickCount();
    m_nowMs += tick - std::exchange(m_lastTick, tick);
    m_device.CatchUp(m_nowMs);
}

void CCardPrinter::State::OnHostCommand(std::string_view mnemonic, std::string_view parameters,
                                        uint64_t offset)
{
    NoteCommand(mnemonic, offset);
    std::string problem;
    const std::string reply = m_device.CarryOut(mnemonic, parameters, &problem);
    m_device.CatchUp(m_nowMs);
    if (!problem.empty()) {
        OnViolation(offset, problem);
    }
    Answer(mnemonic, reply);
}

void CCardPrinter::State::NoteCommand(std::string_view mnemonic, uint64_t offset)
{
    const bool insideCard = m_sides % 2 == 1;
    const bool insidePacket = m_parser.IsInsidePacket();
    m_counts.commandsInsideCard += insideCard ? 1 : 0;
    m_counts.commandsInsidePacket += insidePacket ? 1 : 0;
    ++m_counts.commands[std::string(mnemonic)];
    if (m_commandLog.size() < kKeptCommands) {
        m_commandLog.push_back({.mnemonic = std::string(mnemonic),
                                .offset = offset,
                                .jobBytes = m_counts.jobBytes,
                                .atMs = m_nowMs,
                                .insideCard = insideCard,
                                .insidePacket = insidePacket});
    }
}

void CCardPrinter::State::Answer(std::string_view mnemonic, const std::string& ownReply)
{
    const auto override = m_replyOverrides.find(mnemonic);
    const std::string& reply = override == m_replyOverrides.end() ? ownReply : override->second;
    if (!m_neverAnswers && !reply.empty()) {
        m_replies.Add(m_noise + reply, m_nowMs);
    }
}

void CCardPrinter::State::OnCancel(uint64_t offset)
{
    m_sides = 0;
    NoteCommand("XC", offset);
    m_device.CancelJob();
    Answer("XC", {});
}

void CCardPrinter::State::OnCancelLead(uint64_t offset)
{
    while (!m_violationOffsets.empty() && m_violationOffsets.back() >= offset) {
        m_violationOffsets.pop_back();
    }
    while (m_violations.size() > m_violationOffsets.size()) {
        m_violations.pop_back();
    }
}

void CCardPrinter::State::OnJobCommand(char letter)
{
    m_device.OpenJob();
    if (letter == 'C') {
        ++m_sides;
    } else if (letter == 'j') {
        m_sides = 0;
        ++m_counts.cardsReceived;
        m_device.ReceiveCard();
        m_device.CatchUp(m_nowMs);
    } else if (letter == 'Z') {
        m_sides = 0;
        m_device.EndJob();
    }
}

void CCardPrinter::State::OnPacket()
{
    ++m_counts.packets;
    m_device.OpenJob();
}

void CCardPrinter::State::OnJobData(const uint8_t* data, size_t size, bool framed)
{
    m_counts.jobBytes += size;
    m_counts.rawBytes += framed ? 0 : size;
    if (m_keepsJob) {
        m_jobBytes.insert(m_jobBytes.end(), data, data + size);
    }
}

void CCardPrinter::State::OnViolation(uint64_t offset, const std::string& text)
{
    m_violationOffsets.push_back(offset);
    if (m_violations.size() < kKeptViolations) {
        m_violations.push_back({.offset = offset, .text = text});
    }
}

void CCardPrinter::State::EndDocument()
{
    m_parser.EndDocument();
    m_sides = 0;
    m_device.CloseJob();
}

PrinterView CCardPrinter::State::View()
{
    PrinterView view;
    m_device.FillView(&view);
    view.bytesReceived = m_parser.Offset();
    view.jobBytes = m_counts.jobBytes;
    view.rawBytes = m_counts.rawBytes;
    view.packets = m_counts.packets;
    view.records = m_counts.records;
    view.cardsReceived = m_counts.cardsReceived;
    view.insidePacket = m_parser.IsInsidePacket();
    view.violationCount = m_violationOffsets.size();
    view.violations = m_violations;
    view.commandsInsideCard = m_counts.commandsInsideCard;
    view.commandsInsidePacket = m_counts.commandsInsidePacket;
    view.commands = m_counts.commands;
    return view;
}

// ---------------------------------------------------------------------------------------------
// The operations: each holds the lock and brings the printer up to date first.

/// Holds the printer for an operation.
class CCardPrinter::CAccess {
public:
    explicit CAccess(const CCardPrinter& printer) : m_state(*printer.m_state), m_hold(m_state.m_lock)
    {
        m_state.CatchUp();
    }
    State* operator->() { return &m_state; }
    CPrinterFirmware& Device() { return m_state.m_device; }

private:
    State& m_state;
    CSectionHold m_hold;
};

CCardPrinter::CCardPrinter(const PrinterOptions& options) : m_state(std::make_unique<State>(options)) {}

CCardPrinter::~CCardPrinter() = default;

void CCardPrinter::Receive(const uint8_t* data, size_t size) { CAccess(*this)->m_parser.Feed(data, size); }

size_t CCardPrinter::TakeReply(uint8_t* buffer, size_t size)
{
    CAccess access(*this);
    return access->m_replies.Take(buffer, size, access->m_nowMs);
}

bool CCardPrinter::HasReplies() { return !CAccess(*this)->m_replies.IsEmpty(); }

void CCardPrinter::DropReplies() { CAccess(*this)->m_replies.Clear(); }

void CCardPrinter::EndDocument() { CAccess(*this)->EndDocument(); }

std::string CCardPrinter::DeviceId() const { return CAccess(*this)->m_deviceId; }

PrinterView CCardPrinter::View() { return CAccess(*this)->View(); }

std::vector<CommandSeen> CCardPrinter::Commands() { return CAccess(*this)->m_commandLog; }

void CCardPrinter::KeepJob(bool keep) { CAccess(*this)->m_keepsJob = keep; }

std::vector<uint8_t> CCardPrinter::JobBytes() { return CAccess(*this)->m_jobBytes; }

void CCardPrinter::SetError(int32_t code, uint32_t clearMs)
{
    CAccess(*this).Device().SetError(code, clearMs);
}

void CCardPrinter::ClearError() { SetError(0); }

void CCardPrinter::FailAtCard(uint32_t card, int32_t code, uint32_t clearMs)
{
    CAccess(*this).Device().FailAtCard(card, code, clearMs);
}

void CCardPrinter::SetPrintState(std::optional<int32_t> state)
{
    CAccess(*this).Device().SetPrintState(state);
}

void CCardPrinter::SetBusy(std::optional<bool> busy) { CAccess(*this).Device().SetBusy(busy); }

void CCardPrinter::SetTracks(const std::string& track1, const std::string& track2, const std::string& track3)
{
    CAccess(*this).Device().SetTracks(track1, track2, track3);
}

void CCardPrinter::SetRibbon(uint32_t percent) { CAccess(*this).Device().SetRibbon(percent); }

void CCardPrinter::SetModules(bool mag, bool flipper) { CAccess(*this).Device().SetModules(mag, flipper); }

void CCardPrinter::SetBay(uint32_t bay, uint32_t station, uint32_t state)
{
    CAccess(*this).Device().SetBay(bay, station, state);
}

void CCardPrinter::SetDeviceId(const std::string& text) { CAccess(*this)->m_deviceId = text; }

void CCardPrinter::SetProtection(bool on) { CAccess(*this).Device().SetProtection(on); }

void CCardPrinter::SetValidated(bool validated) { CAccess(*this).Device().SetValidated(validated); }

void CCardPrinter::SetOemSupplies(bool enabled) { CAccess(*this).Device().SetOemSupplies(enabled); }

void CCardPrinter::SetPasswords(const std::string& admin, const std::string& user)
{
    CAccess(*this).Device().SetPasswords(admin, user);
}

void CCardPrinter::NeverAnswer(bool never) { CAccess(*this)->m_neverAnswers = never; }

void CCardPrinter::ReplyNoise(const std::string& text) { CAccess(*this)->m_noise = text; }

void CCardPrinter::CutReplies(uint32_t pieceBytes, uint32_t gapMs)
{
    CAccess(*this)->m_replies.SetPieces(pieceBytes, gapMs);
}

void CCardPrinter::SetReplyDelay(uint32_t replyMs) { CAccess(*this)->m_replies.SetDelay(replyMs); }

void CCardPrinter::SetReply(const std::string& mnemonic, const std::string& bytes)
{
    CAccess(*this)->m_replyOverrides[mnemonic] = bytes;
}

void CCardPrinter::ClearReply(const std::string& mnemonic)
{
    CAccess(*this)->m_replyOverrides.erase(mnemonic);
}

} // namespace zrtmon::sim
