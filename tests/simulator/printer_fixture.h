/// A simulated printer on a clock that the test holds, and how a host speaks to it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/virtual_clock.h"
#include "simulator/card_printer.h"

namespace zrtmon::sim {

/// The bytes of a host or job command.
inline std::string Command(std::string_view rest) { return std::string("\x1B\0\x02", 3) + std::string(rest); }

inline std::string Text(const std::vector<uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

/// A packet around a payload.
inline std::string Packet(std::string_view payload)
{
    std::string packet("\x1B_\0\0", 4);
    for (const int shift : {24, 16, 8, 0}) {
        packet.push_back(static_cast<char>(payload.size() >> shift));
    }
    return packet + std::string(payload);
}

/// The smallest card: a side of one record, and the order to print.
inline std::string CardPayload() { return Command("C10") + "\x8F" + std::string(475, 'x') + Command("j"); }

struct CPrinterFixture {
    explicit CPrinterFixture(std::string_view optionText = {}, DWORD startTick = 0)
        : clock(startTick), printer(*ParsePrinterOptions(optionText, &problem))
    {
    }

    void Send(std::string_view bytes)
    {
        printer.Receive(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::string Read(size_t most = 2048)
    {
        std::string reply(most, '\0');
        reply.resize(printer.TakeReply(reinterpret_cast<uint8_t*>(reply.data()), most));
        return reply;
    }
    std::string Ask(std::string_view mnemonicAndParameters)
    {
        Send(Command(mnemonicAndParameters));
        return Read();
    }

    std::string problem;
    CVirtualClock clock;
    CCardPrinter printer;
};

} // namespace zrtmon::sim
