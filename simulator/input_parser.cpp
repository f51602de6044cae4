#include "simulator/input_parser.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace zrtmon::sim {

namespace {

constexpr size_t kHeaderBytes = 8;
constexpr size_t kLengthOffset = 4;
constexpr uint8_t kRecordMarker = 0x8F;
constexpr size_t kRecordRest = 1 + 474; // after the marker: one byte and the body
constexpr size_t kShortestUnit = 4;     // the prefix and a letter; fewer bytes at a packet's end are filling
constexpr size_t kLetterOffset = 3;
constexpr size_t kJobEndBytes = 5;
constexpr size_t kMagHeadBytes = 7; // of an "m" command; the last one counts the bytes that follow
constexpr uint8_t kZeros[512] = {};

const uint8_t* Bytes(const std::string& text) { return reinterpret_cast<const uint8_t*>(text.data()); }

std::string Hex(uint8_t byte)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", byte);
    return text;
}

/// As text, with what is not printable in hexadecimal.
std::string Printable(std::string_view bytes)
{
    std::string text;
    for (const char c : bytes) {
        const bool plain = c > ' ' && c <= '~';
        text += plain ? std::string(1, c) : Hex(static_cast<uint8_t>(c));
    }
    return text;
}

bool IsSecurityCommand(std::string_view mnemonic)
{
    return mnemonic == "NP" || mnemonic == "NT" || mnemonic == "4";
}

uint32_t BigEndian32(const uint8_t* bytes)
{
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

} // namespace

void CInputParser::Feed(const uint8_t* data, size_t size)
{
    m_isInterleaved = IsInterleavedCommand({reinterpret_cast<const char*>(data), size});
    while (size > 0) {
        const size_t piece = m_watch.Advance(data, size);
        Parse(data, piece);
        if (m_watch.Found()) {
            CheckPattern();
        }
        data += piece;
        size -= piece;
    }
}

/// The transfer is one or more complete host commands, all of them allowed here.
bool CInputParser::IsInterleavedCommand(std::string_view transfer) const
{
    const bool isBetweenUnits = (m_expect == Expect::Command && m_unit.empty()) || m_expect == Expect::Marker;
    if (m_interleave == Interleave::Packets || m_payloadLeft == 0 || !isBetweenUnits) {
        return false;
    }
    while (!transfer.empty()) {
        size_t length = 0;
        const HostCommand* const command = FindFirstCommand(transfer, &length);
        if (!command || command->form == ParameterForm::Job ||
            (m_interleave == Interleave::Security && !IsSecurityCommand(command->mnemonic))) {
            return false;
        }
        transfer.remove_prefix(length);
    }
    return true;
}

void CInputParser::Parse(const uint8_t* data, size_t size)
{
    while (size > 0) {
        size_t taken = 0;
        if (m_payloadLeft > 0 && !m_isInterleaved) {
            taken = TakePayload(data, std::min<size_t>(size, m_payloadLeft));
            m_events.OnJobData(data, taken, true);
            m_payloadLeft -= static_cast<uint32_t>(taken);
        } else {
            taken = TakeOutside(data, size);
        }
        m_offset += taken;
        data += taken;
        size -= taken;
    }
}

/// A pattern that the parser took for something else is where no command may be. A cancel command counts
/// all the same.
void CInputParser::CheckPattern()
{
    const uint64_t start = m_offset - CCommandSpotter::kPatternBytes;
    if (m_watch.IsCancel()) {
        if (m_lastCommand != start) {
            Cancel(start);
        }
        m_events.OnCancelLead(start - CCommandSpotter::kCancelLead);
    } else if (m_lastCommand != start) {
        const std::string mnemonic(m_watch.Letters().begin(), m_watch.Letters().end());
        m_events.OnViolation(start,
                             "the host command " + mnemonic + " is inside a packet or another command");
    }
}

void CInputParser::Cancel(uint64_t offset)
{
    Reset();
    m_filler = 0;
    m_lastCommand = offset;
    m_events.OnCancel(offset);
}

void CInputParser::Reset()
{
    m_mode = Mode::Idle;
    m_held.clear();
    m_command = nullptr;
    m_strayRaw = false;
    m_payloadLeft = 0;
    m_expect = Expect::Command;
    m_unit.clear();
    m_bodyLeft = 0;
    m_strayUnit = false;
}

void CInputParser::EndDocument()
{
    if (m_payloadLeft > 0) {
        m_events.OnViolation(m_offset, "the document ended with " + std::to_string(m_payloadLeft) +
                                           " payload bytes of a packet missing");
    } else if (IsHeader()) {
        m_events.OnViolation(m_offset, "the document ended inside a packet header");
    } else if (!m_held.empty()) {
        TakeRaw(Bytes(m_held), m_held.size(), m_offset - m_held.size());
    } else {
        SettleFiller(true, m_offset);
    }
    Reset();
}

// ---------------------------------------------------------------------------------------------
// Outside packets

size_t CInputParser::TakeOutside(const uint8_t* data, size_t size)
{
    if (m_mode != Mode::Raw || !m_held.empty()) {
        TakeByte(*data);
        return 1;
    }
    const void* esc = std::memchr(data, kEsc, size);
    const size_t plain = esc ? static_cast<size_t>(static_cast<const uint8_t*>(esc) - data) : size;
    if (plain == 0) {
        TakeByte(*data);
        return 1;
    }
    TakeRaw(data, plain, m_offset);
    return plain;
}

void CInputParser::TakeByte(uint8_t byte)
{
    if (m_held.empty()) {
        if (byte == kEsc) {
            m_held.push_back(static_cast<char>(byte));
        } else if (byte == 0) {
            ++m_filler;
        } else {
            TakeRaw(&byte, 1, m_offset);
        }
        return;
    }
    m_held.push_back(static_cast<char>(byte));
    if (m_command) {
        TakeParameter();
    } else if (IsHeader() && m_mode != Mode::Raw) {
        TakeHeader();
    } else if (m_held.size() > std::size(kPrefix)) {
        TakeMnemonic(byte);
    } else if (byte != kPrefix[m_held.size() - 1]) {
        GiveUp(byte);
    }
}

void CInputParser::TakeHeader()
{
    if (m_held.size() < kHeaderBytes) {
        return;
    }
    SettleFiller(false, m_offset + 1 - m_held.size());
    m_mode = Mode::Framed;
    m_strayRaw = false;
    m_strayUnit = false;
    m_payloadLeft = BigEndian32(Bytes(m_held) + kLengthOffset);
    m_events.OnPacket();
    m_events.OnJobData(Bytes(m_held), m_held.size(), true);
    m_held.clear();
}

void CInputParser::TakeMnemonic(uint8_t byte)
{
    bool possible = false;
    m_command = FindHostCommand(std::string_view(m_held).substr(std::size(kPrefix)), &possible);
    if (m_command) {
        TakeParameter();
    } else if (!possible) {
        GiveUp(byte);
    }
}

void CInputParser::TakeParameter()
{
    const size_t head = std::size(kPrefix) + m_command->mnemonic.size();
    bool wrong = false;
    if (AreParametersComplete(*m_command, std::string_view(m_held).substr(head), &wrong)) {
        CarryOut();
    } else if (wrong) {
        GiveUp(static_cast<uint8_t>(m_held.back()));
    }
}

void CInputParser::CarryOut()
{
    const HostCommand& command = *m_command;
    const std::string held = std::exchange(m_held, {});
    const uint64_t start = m_offset + 1 - held.size();
    m_command = nullptr;
    if (command.mnemonic == "XC") {
        Cancel(start);
        return;
    }
    SettleFiller(false, start);
    if (command.form == ParameterForm::Job) {
        CarryOutJobCommand(held, start);
        return;
    }
    m_strayRaw = false;
    m_lastCommand = start;
    const size_t head = std::size(kPrefix) + command.mnemonic.size();
    m_events.OnHostCommand(command.mnemonic, std::string_view(held).substr(head), start);
}

void CInputParser::CarryOutJobCommand(const std::string& bytes, uint64_t start)
{
    if (m_mode == Mode::Framed) {
        m_events.OnViolation(start, std::string("the job command ") + bytes.back() +
                                        " is outside the packets of a framed job");
        return;
    }
    const bool isEnd = bytes.size() == kJobEndBytes;
    m_mode = isEnd ? Mode::Idle : Mode::Raw;
    m_events.OnJobData(Bytes(bytes), bytes.size(), false);
    m_events.OnJobCommand(bytes.back());
}

/// What is held makes no command: it is raw data or, where there can be none, a violation. An ESC that came
/// last may begin the next command.
void CInputParser::GiveUp(uint8_t lastByte)
{
    std::string held = std::exchange(m_held, {});
    m_command = nullptr;
    uint64_t start = m_offset + 1 - held.size();
    if (lastByte == kEsc) {
        held.pop_back();
        m_held.push_back(static_cast<char>(kEsc));
    }
    if (held.size() <= std::size(kPrefix) || m_mode == Mode::Raw) {
        TakeRaw(Bytes(held), held.size(), start);
        return;
    }
    SettleFiller(false, start);
    m_events.OnViolation(start, "unknown command or parameters: ESC 00 02 " +
                                    Printable(std::string_view(held).substr(std::size(kPrefix))));
    m_events.OnJobData(Bytes(held), held.size(), false);
}

void CInputParser::TakeRaw(const uint8_t* data, size_t size, uint64_t start)
{
    SettleFiller(m_mode == Mode::Idle, start);
    if (m_mode == Mode::Idle) {
        m_mode = Mode::Raw;
    } else if (m_mode == Mode::Framed && !m_strayRaw) {
        m_strayRaw = true;
        m_events.OnViolation(start, "a byte " + Hex(*data) + " is outside the packets of a framed job");
    }
    m_events.OnJobData(data, size, false);
}

/// The zero bytes before start do not precede a cancel command.
void CInputParser::SettleFiller(bool isRaw, uint64_t start)
{
    uint64_t filler = std::exchange(m_filler, 0);
    if (filler == 0) {
        return;
    }
    if (!isRaw) {
        m_events.OnViolation(start - filler,
                             std::to_string(filler) + " zero bytes do not precede a cancel command");
    }
    while (filler > 0) {
        const auto piece = static_cast<size_t>(std::min<uint64_t>(filler, std::size(kZeros)));
        m_events.OnJobData(kZeros, piece, false);
        filler -= piece;
    }
}

// ---------------------------------------------------------------------------------------------
// In a packet

/// Takes what belongs together; at most size bytes, and 0 where only the state has moved on.
size_t CInputParser::TakePayload(const uint8_t* data, size_t size)
{
    switch (m_expect) {
    case Expect::CardParameters: {
        const void* marker = std::memchr(data, kRecordMarker, size);
        m_expect = marker ? Expect::Marker : Expect::CardParameters;
        return marker ? static_cast<size_t>(static_cast<const uint8_t*>(marker) - data) : size;
    }
    case Expect::Marker:
        m_expect = *data == kRecordMarker ? Expect::Body : Expect::Command;
        m_bodyLeft = kRecordRest;
        return m_expect == Expect::Body ? 1 : 0;
    case Expect::Body:
        return TakeBody(size);
    case Expect::Command:
        if (m_unit.empty() && m_payloadLeft < kShortestUnit) {
            return size;
        }
        TakeUnit(*data);
        return 1;
    }
    return size;
}

size_t CInputParser::TakeBody(size_t size)
{
    const size_t taken = std::min(size, m_bodyLeft);
    m_bodyLeft -= taken;
    if (m_bodyLeft == 0) {
        m_expect = Expect::Marker;
        m_events.OnRecord();
    }
    return taken;
}

void CInputParser::TakeUnit(uint8_t byte)
{
    const size_t at = m_unit.size();
    if (at < std::size(kPrefix) && byte != kPrefix[at]) {
        RefuseUnit(byte);
        return;
    }
    m_unit.push_back(static_cast<char>(byte));
    if (m_unit.size() >= kShortestUnit && m_unit.size() == UnitBytes()) {
        FinishUnit();
    }
}

/// The length of the unit that is being collected, as far as it is known.
size_t CInputParser::UnitBytes() const
{
    switch (m_unit[kLetterOffset]) {
    case 'X':
        return kJobEndBytes;
    case 'm':
        return m_unit.size() < kMagHeadBytes
                   ? kMagHeadBytes
                   : kMagHeadBytes + static_cast<uint8_t>(m_unit[kMagHeadBytes - 1]);
    default:
        return kShortestUnit;
    }
}

void CInputParser::FinishUnit()
{
    const std::string unit = std::exchange(m_unit, {});
    m_strayUnit = false;
    char letter = unit[kLetterOffset];
    if (letter == 'C') {
        m_expect = Expect::CardParameters;
    } else if (letter == 'X' && unit.back() == 'Z') {
        letter = 'Z';
        m_mode = Mode::Idle;
    }
    m_events.OnJobCommand(letter);
}

void CInputParser::RefuseUnit(uint8_t byte)
{
    if (!m_strayUnit) {
        m_events.OnViolation(m_offset, "a byte " + Hex(byte) + " is in a packet where a command is expected");
    }
    m_strayUnit = true;
    m_unit.clear();
    if (byte == kEsc) {
        m_unit.push_back(static_cast<char>(byte));
    }
}

} // namespace zrtmon::sim
