#include "host/session/protocol_description.h"

#include <algorithm>
#include <array>

#include "host/text/text.h"

namespace zrtmon::host {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kPrefix = "\x1B\x00\x02"sv;
constexpr std::string_view kPacketMark = "\x1B_"sv;
constexpr size_t kPacketHeaderBytes = 8;

struct CMnemonic {
    std::string_view letters;
    std::string_view words;
};

// A longer mnemonic precedes those that it begins with.
constexpr CMnemonic kMnemonics[] = {
    {"PPL", "move the card: PPL"},
    {"PIL", "move the card: PIL"},
    {"PML", "move the card: PML"},
    {"TRT", "utility 1"},
    {"TCT", "utility 2"},
    {"TLT", "utility 9"},
    {"XC", "cancel the print"},
    {"XZ", "end of the job"},
    {"S1", "move the card: S1"},
    {"NB", "query bay 1"},
    {"NC", "query bay 2"},
    {"Nr", "query status"},
    {"NM", "query modules"},
    {"NV", "query version"},
    {"NR", "query ribbon"},
    {"N0", "query magnetic tracks"},
    {"NL", "query display"},
    {"NE", "query settings"},
    {"Ne", "query default settings"},
    {"NF", "query flipper settings"},
    {"Nf", "query default flipper settings"},
    {"TE", "write a setting"},
    {"TF", "write a flipper setting"},
    {"NP", "query security state"},
    {"NT", "query password challenge"},
    {"TU", "enable OEM supplies"},
    {"B", "press a button"},
    {"e", "move the card: e"},
    {"d", "move the card: d"},
    {"i", "move the card: i"},
    {"r", "move the card: r"},
    {"4", "present a password"},
    {"5", "change the password protection"},
    {"C", "card side of a job"},
    {"J", "start of a job"},
    {"j", "end of a card of a job"},
    {"m", "magnetic data of a job"},
};

struct CReplyMark {
    std::string_view mark;
    std::string_view words;
};

constexpr CReplyMark kReplyMarks[] = {
    {"ERR:", "status"},
    {"Module Status:", "modules"},
    {"Ver:", "version"},
    {"Ribbon Info:", "ribbon"},
    {"MAG:", "magnetic tracks"},
    {"LCD:", "display"},
    {"Flipper EE Settings:", "flipper settings"},
    {"Flipper EE Defaults:", "default flipper settings"},
    {"EEprom Settings:", "settings"},
    {"EEprom Defaults:", "default settings"},
    {"Bay1:", "bay 1"},
    {"Bay2:", "bay 2"},
    {"Plinth:", "security state"},
    {"Corbel:", "password challenge"},
};

constexpr std::string_view kStatusFields[] = {"busy",        "error",  "status",
                                              "print state", "secure", "card count"};

constexpr struct {
    DWORD control;
    const char* words;
} kControls[] = {
    {IOCTL_USBPRINT_VENDOR_SET_COMMAND, "vendor set command"},
    {IOCTL_USBPRINT_VENDOR_GET_COMMAND, "vendor get command"},
    {IOCTL_PAR_QUERY_DEVICE_ID, "query device ID"},
};

std::string MnemonicWords(std::string_view afterPrefix)
{
    for (const CMnemonic& row : kMnemonics) {
        if (afterPrefix.starts_with(row.letters)) {
            return std::string(row.letters) + ' ' + std::string(row.words);
        }
    }
    return "unknown command " + Hex(afterPrefix.substr(0, 1));
}

/// "TE write a setting, 21 times" and the like for every run of equal commands.
std::string CommandListWords(std::string_view bytes)
{
    std::string words;
    std::string last;
    unsigned times = 0;
    const auto flush = [&] {
        words += words.empty() || last.empty() ? "" : "; ";
        words += last + (times > 1 ? ", " + std::to_string(times) + " times" : "");
    };
    for (size_t at = bytes.find(kPrefix); at != std::string_view::npos;
         at = bytes.find(kPrefix, at + kPrefix.size())) {
        const std::string next = MnemonicWords(bytes.substr(at + kPrefix.size()));
        if (next != last) {
            flush();
            times = 0;
        }
        last = next;
        ++times;
    }
    flush();
    return words;
}

std::string PacketWords(std::string_view bytes)
{
    if (bytes.size() < kPacketHeaderBytes) {
        return "job data: part of a packet header";
    }
    uint32_t length = 0;
    for (const char byte : bytes.substr(4, 4)) {
        length = length << 8 | static_cast<uint8_t>(byte);
    }
    std::string words = "job data: packet with " + ByteCount(length);
    const std::string_view payload = bytes.substr(kPacketHeaderBytes);
    if (payload.starts_with(kPrefix)) {
        words += ", first " + MnemonicWords(payload.substr(kPrefix.size()));
    }
    return words;
}

// Job data without packets begins with a command that occurs only in jobs.
bool BeginsUnframedJob(std::string_view bytes)
{
    constexpr std::string_view kJobLetters = "CJjm";
    return bytes.size() > kPrefix.size() && bytes.starts_with(kPrefix) &&
           kJobLetters.find(bytes[kPrefix.size()]) != std::string_view::npos;
}

std::string StatusWords(std::string_view values)
{
    std::string words = "status:";
    for (const std::string_view field : kStatusFields) {
        const size_t end = values.find_first_of(",;");
        words += (field == kStatusFields[0] ? " " : ", ") + std::string(field) + ' ' +
                 Printable(values.substr(0, end));
        if (end == std::string_view::npos) {
            break;
        }
        values.remove_prefix(end + 1);
    }
    return words;
}

constexpr uint8_t kPresent = '4';
constexpr uint8_t kChange = '5';
constexpr unsigned kResponseBytes = 8;
constexpr unsigned kNewPasswordBytes = 16;
// Modes that are not followed by a new password.
constexpr uint8_t kDisableMode = 0xFD;
constexpr uint8_t kEnableMode = 0x73;

} // namespace

std::string DescribeCommand(std::string_view bytes)
{
    if (bytes.starts_with(kPacketMark)) {
        return PacketWords(bytes);
    }
    const size_t filler = std::min(bytes.find_first_not_of('\0'), bytes.size());
    const bool isCommand = bytes.substr(filler).starts_with(kPrefix) && !BeginsUnframedJob(bytes);
    return isCommand ? CommandListWords(bytes) : "job data";
}

std::string DescribeReply(std::string_view bytes)
{
    if (bytes.empty()) {
        return "no reply yet";
    }
    for (const CReplyMark& row : kReplyMarks) {
        const size_t at = bytes.find(row.mark);
        if (at != std::string_view::npos) {
            const bool isStatus = row.mark == "ERR:";
            return isStatus ? StatusWords(bytes.substr(at + row.mark.size())) : std::string(row.words);
        }
    }
    return "unrecognised reply";
}

std::string DescribeControl(DWORD control)
{
    for (const auto& row : kControls) {
        if (row.control == control) {
            return row.words;
        }
    }
    return "control " + std::to_string(control);
}

std::vector<bool> CPasswordMask::Hidden(std::string_view bytes) const
{
    CPasswordMask ahead = *this;
    std::vector<bool> hidden;
    for (const char byte : bytes) {
        hidden.push_back(ahead.Step(static_cast<uint8_t>(byte)));
    }
    return hidden;
}

void CPasswordMask::Pass(std::string_view bytes)
{
    for (const char byte : bytes) {
        Step(static_cast<uint8_t>(byte));
    }
}

bool CPasswordMask::Step(uint8_t byte)
{
    if (m_command != 0) {
        ++m_commandBytes;
        const bool isModeLast =
            m_commandBytes == kResponseBytes + 1 && (byte == kDisableMode || byte == kEnableMode);
        const unsigned whole =
            m_command == kPresent ? kResponseBytes : kResponseBytes + 1 + kNewPasswordBytes;
        if (isModeLast || m_commandBytes == whole) {
            m_command = 0;
        }
        return true;
    }
    if (m_prefixSeen == kPrefix.size()) {
        m_prefixSeen = 0;
        if (byte == kPresent || byte == kChange) {
            m_command = byte;
            m_commandBytes = 0;
            return false;
        }
    }
    const bool goesOn = byte == static_cast<uint8_t>(kPrefix[m_prefixSeen]);
    const bool beginsAnew = byte == static_cast<uint8_t>(kPrefix[0]);
    m_prefixSeen = goesOn ? m_prefixSeen + 1 : beginsAnew ? 1 : 0;
    return false;
}

} // namespace zrtmon::host
