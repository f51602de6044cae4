/// How a simulated printer is set up, and the text form of that: the options in a port name such as
/// "sim:cards=250,error=83,error-at-card=2".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zrtmon::sim {

/// Where in framed job data the printer accepts a host command. Between packets it always does; inside a
/// packet it must arrive in a transfer of host commands only, between two units of the payload (a job command
/// with its data, or a record). Anything else there is job data, and a query in it a violation.
enum class Interleave {
    Packets,  ///< between packets only
    Security, ///< inside a packet as well, for the commands of the password gate: "NP", "NT" and "4"
    Commands, ///< inside a packet as well, for every host command
};

/// A printer when its port is opened. Every member is one option of the port name.
struct PrinterOptions {
    uint32_t cardCount = 100;  ///< cards printed in its life so far
    uint32_t cardMs = 400;     ///< time to print one card, milliseconds
    uint32_t bufferCards = 1;  ///< it is busy while a card prints and that many more have been received
    uint32_t replyMs = 0;      ///< from a command to its reply, milliseconds
    uint32_t error = 0;        ///< error code; 0 for none
    uint32_t errorAtCard = 0;  ///< the error comes when this card is due (1 is the first); 0: at once
    uint32_t clearMs = 0;      ///< the error clears automatically after that time; 0: it stays until cleared
    bool magModule = true;     ///< magnetic-stripe encoder fitted
    bool flipperModule = true; ///< card flipper fitted
    std::string firmware = "1.4.2";
    std::string serial =
        "SN24070001"; ///< in the device ID; its first eight characters switch OEM supplies on
    std::string model = "Card Printer";
    uint32_t ribbonPercent = 100; ///< of the ribbon, when the port is opened
    uint32_t ribbonCards = 200;   ///< cards that a whole ribbon prints
    std::string track1 = "ZRT SIMULATED CARD";
    std::string track2 = "1234567890";
    std::string track3 = "0987654321";
    uint32_t bay1Station = 4; ///< station code of bay 1
    uint32_t bay1State = 1;   ///< state code of bay 1
    uint32_t bay2Station = 2;
    uint32_t bay2State = 1;
    bool protection = false;   ///< password protection on
    std::string adminPassword; ///< empty: the factory's
    std::string userPassword;  ///< empty: the factory's
    bool oemSupplies = false;  ///< OEM supplies accepted
    uint32_t seed = 1;         ///< of the challenges; the same seed gives the same sequence
    bool neverAnswer = false;  ///< no command is ever replied to
    std::string noise;         ///< bytes that precede every reply
    uint32_t cutReplies = 0;   ///< a reply comes in pieces of this many bytes; 0: whole
    uint32_t cutMs = 0;        ///< between two pieces, milliseconds
    Interleave interleave = Interleave::Commands;
    uint32_t writeLimit = 0; ///< the port takes at most this many bytes of a write; 0: all
};

/// An option as the help of the command line shows it.
struct OptionHelp {
    std::string name;         ///< "card-ms"
    std::string form;         ///< what follows the '=': "N", "0|1", "packets|security|commands", "TEXT"
    std::string meaning;      ///< one line
    std::string defaultValue; ///< as it would be written
};

/// Every option, in the order of the help. Any thread.
std::vector<OptionHelp> PrinterOptionHelp();

/// Reads "name=value,name=value"; empty text gives the defaults. An option that is given twice takes its last
/// value. std::nullopt on a bad option, with one line in *problem that says what is wrong, where, and what
/// would do. Any thread.
std::optional<PrinterOptions> ParsePrinterOptions(std::string_view text, std::string* problem);

/// A port name taken apart.
struct PortName {
    enum class Kind { Printer, File };
    Kind kind = Kind::Printer;
    PrinterOptions options; ///< of a printer
    std::wstring filePath;  ///< of a file
};

/// Whether the name begins with "sim:" or "file:", whatever follows. Any thread.
bool HasKnownKind(std::wstring_view text);

/// Reads "sim:", "sim:OPTIONS" or "file:PATH" (the part before ':' is case-insensitive). std::nullopt on a
/// bad name, with one line in *problem, as ParsePrinterOptions. Any thread.
std::optional<PortName> ParsePortName(std::wstring_view text, std::string* problem);

} // namespace zrtmon::sim
