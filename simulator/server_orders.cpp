#include "simulator/server_orders.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>

namespace zrtmon::sim {

namespace {

constexpr char kOrders[] = "error CODE, clear, busy TIME, stall TIME, slow RATE, drop or quit";

struct Unit {
    std::string_view name;
    uint32_t factor;
};
constexpr Unit kNone[] = {{"", 1}};
constexpr Unit kTimes[] = {{"ms", 1}, {"s", 1000}, {"min", 60000}};
constexpr Unit kRates[] = {{"B/s", 1}, {"KB/s", 1000}, {"MB/s", 1000000}};

/// A number followed by one of the units.
template <size_t Count>
std::optional<uint32_t> Read(std::string_view text, const Unit (&units)[Count])
{
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const std::string_view name = text.substr(static_cast<size_t>(end - text.data()));
    const auto* unit =
        std::find_if(std::begin(units), std::end(units), [&](const Unit& u) { return u.name == name; });
    if (error != std::errc() || unit == std::end(units) ||
        number > std::numeric_limits<int32_t>::max() / unit->factor) {
        return std::nullopt;
    }
    return number * unit->factor;
}

struct Order {
    std::string_view name;
    const char* form; ///< of its parameter, as an example; empty: it has none
    std::optional<uint32_t> (*read)(std::string_view parameter);
    void (*carryOut)(CPrinterServer& server, uint32_t parameter);
};

std::optional<uint32_t> ReadNothing(std::string_view text)
{
    return text.empty() ? std::optional<uint32_t>(0) : std::nullopt;
}

constexpr Order kTable[] = {
    {"error", "83", [](std::string_view text) { return Read(text, kNone); },
     [](CPrinterServer& server, uint32_t code) { server.Printer().SetError(static_cast<int32_t>(code)); }},
    {"clear", "", ReadNothing, [](CPrinterServer& server, uint32_t) { server.Printer().ClearError(); }},
    {"busy", "3s", [](std::string_view text) { return Read(text, kTimes); },
     [](CPrinterServer& server, uint32_t ms) { server.SetBusy(ms); }},
    {"stall", "3s", [](std::string_view text) { return Read(text, kTimes); },
     [](CPrinterServer& server, uint32_t ms) { server.Stall(ms); }},
    {"slow", "100KB/s", [](std::string_view text) { return Read(text, kRates); },
     [](CPrinterServer& server, uint32_t rate) { server.SetRate(rate); }},
    {"drop", "", ReadNothing, [](CPrinterServer& server, uint32_t) { server.Drop(); }},
    {"quit", "", ReadNothing, nullptr},
};

std::string_view Trimmed(std::string_view text)
{
    const size_t start = std::min(text.find_first_not_of(" \t\r"), text.size());
    return text.substr(start, text.find_last_not_of(" \t\r") + 1 - start);
}

std::string Quoted(std::string_view text) { return '\'' + std::string(text) + '\''; }

} // namespace

std::string CarryOutOrder(CPrinterServer& server, std::string_view line, bool* quits)
{
    line = Trimmed(line);
    if (line.empty()) {
        return {};
    }
    const std::string_view name = line.substr(0, line.find(' '));
    const auto* order =
        std::find_if(std::begin(kTable), std::end(kTable), [&](const Order& o) { return o.name == name; });
    if (order == std::end(kTable)) {
        return Quoted(line) + " is not an order; write " + kOrders;
    }
    const std::optional<uint32_t> parameter = order->read(Trimmed(line.substr(name.size())));
    if (!parameter) {
        const std::string example = std::string(name) + (order->form[0] ? " " : "") + order->form;
        return Quoted(line) + " is not valid; write it like " + Quoted(example);
    }
    if (order->carryOut) {
        order->carryOut(server, *parameter);
    } else {
        *quits = true;
    }
    return {};
}

} // namespace zrtmon::sim
