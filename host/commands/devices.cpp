#include <algorithm>
#include <memory>
#include <system_error>

#include "devices/device_ports.h"
#include "host/commands/commands.h"
#include "host/text/json.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

std::string Line(const devices::CFoundDevice& device)
{
    std::string line = device.port;
    for (const std::string& part : {device.maker, device.model, device.serial}) {
        line += part.empty() ? "" : "  " + Printable(part);
    }
    line += device.problem.empty() ? "  may be opened" : "\n  -> " + Printable(device.problem);
    return line;
}

CJson Member(const devices::CFoundDevice& device)
{
    return CJson::Object{{"port", device.port},
                         {"maker", PrintableUtf8(device.maker)},
                         {"model", PrintableUtf8(device.model)},
                         {"serial", PrintableUtf8(device.serial)},
                         {"problem", PrintableUtf8(device.problem)}};
}

ExitStatus Devices(bool json, CConsole& console)
{
    const std::vector<devices::CFoundDevice> found = devices::FindDevices();
    CJson::Array members;
    for (const devices::CFoundDevice& device : found) {
        if (json) {
            members.push_back(Member(device));
        } else {
            console.Answer(Line(device));
        }
    }
    if (json) {
        console.Answer(JsonLines(members));
    } else if (found.empty()) {
        console.Message("no printer found: " + devices::NoDeviceAdvice());
    }
    return ExitStatus::Done;
}

} // namespace

CCommand DevicesCommand()
{
    const auto json = std::make_shared<bool>(false);
    return {.name = "devices",
            .help = "List the printers that are connected, by the port that --port takes",
            .options = {{.name = "--json", .target = json.get(), .help = "Answer with one JSON array"}},
            .run = [json](CHostEnvironment&, CConsole& console) { return Devices(*json, console); }};
}

} // namespace zrtmon::host
