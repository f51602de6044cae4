/// What a simulated printer shows of itself.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zrtmon::sim {

/// A rule of the wire that the host broke.
struct Violation {
    uint64_t offset;  ///< of its first byte in all bytes received
    std::string text; ///< one sentence
};

/// A host command, that is, one outside job data, that the printer has carried out.
struct CommandSeen {
    std::string mnemonic; ///< "Nr", "XC", ...
    uint64_t offset;      ///< of its ESC in all bytes received
    uint64_t jobBytes;    ///< bytes of job data received before it
    uint64_t atMs;        ///< since the printer was made
    bool insideCard;      ///< a card was half transferred: an odd number of "C" since the last "j"
    bool insidePacket;    ///< payload bytes of a packet were still to come
};

/// A printer at one moment.
struct PrinterView {
    int32_t errorCode = 0;  ///< 0: none
    int32_t printState = 0; ///< 0 idle, 10 a job is open and nothing prints, 11 a card is printed
    bool busy = false;

    uint32_t cardsPrinted = 0;   ///< since the printer was made
    uint32_t cardCount = 0;      ///< in its life
    uint32_t cardsWaiting = 0;   ///< received and not begun
    uint32_t cardsHeld = 0;      ///< of those, the ones that wait for a password
    uint32_t cardsCancelled = 0; ///< received and dropped by a cancel
    uint32_t cardsRefused = 0;   ///< dropped at the end of a job that no password had released
    uint32_t jobsEnded = 0;      ///< end-of-job commands
    uint32_t jobsCancelled = 0;  ///< cancel commands and presses of button 2 that found a job or a card

    uint64_t bytesReceived = 0; ///< all of them
    uint64_t jobBytes = 0;      ///< job data: packets with their headers, and data in no packet
    uint64_t rawBytes = 0;      ///< of those, the ones in no packet
    uint64_t packets = 0;       ///< packet headers
    uint64_t records = 0;       ///< whole records
    uint64_t cardsReceived = 0; ///< "j" commands
    bool insidePacket = false;  ///< payload bytes (or a part of a header) are still to come

    uint64_t violationCount = 0;
    std::vector<Violation> violations; ///< the first 64
    uint64_t commandsInsideCard = 0;   ///< host commands carried out with a card half transferred
    uint64_t commandsInsidePacket = 0; ///< host commands carried out with a packet half transferred

    std::map<std::string, uint64_t> commands; ///< how often each host command came, by mnemonic
    std::vector<std::string> moves;           ///< mnemonics, the last 64
    std::vector<std::string> buttons;         ///< "1" or "2", the last 64
    std::vector<std::string> utilities;       ///< mnemonics, the last 64
    std::vector<std::string> displayLines;    ///< what the display shows

    uint32_t ribbonPercent = 0;
    std::vector<int32_t> eepromSettings;  ///< 21, current values
    std::vector<int32_t> flipperSettings; ///< 5, current values

    bool protection = false;
    bool validated = false;
    bool oemSupplies = false;
    uint32_t passwordsAccepted = 0;
    uint32_t passwordsRefused = 0;
};

} // namespace zrtmon::sim
