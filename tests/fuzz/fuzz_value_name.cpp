// Request texts as callers give them. Input: 16-bit characters, low byte first.
#include <string>
#include <vector>

#include "link/print_monitor_zrt.h"
#include "platform/spooler_admin.h"
#include "requests/data.h"
#include "tests/fuzz/fuzz_target.h"

namespace zrtmon::fuzz {
namespace {

/// What the chain would send, and how long it would wait.
std::vector<std::string> Commands(CData* request)
{
    std::vector<std::string> commands;
    for (; request; request = request->GetNext()) {
        uint32_t length = 0;
        const uint8_t* bytes = request->GetCommand(&length);
        commands.emplace_back(bytes, bytes ? bytes + length : bytes);
        Demand(request->GetSendDelay() <= 10000, "no delay is longer than ten seconds");
    }
    return commands;
}

void Check(const std::wstring& text)
{
    CPrintMonitorZRT model;
    CData* request = model.GetRequestByName(text.c_str());
    const std::vector<std::string> commands = Commands(request);
    model.GetRequestByName(L"UtilityCommand/9");
    Demand(model.GetRequestByName(text.c_str()) == request, "a name is served by one object");
    Demand(Commands(request) == commands, "a text sends the same every time");
}

bool CreatePrinter()
{
    spooler::CreatePrinter(L"Cards");
    spooler::StoreValue(L"Cards", L"CurrentSettings", REG_BINARY, "Image Darkness=5,-128,127,1;");
    return true;
}

} // namespace
} // namespace zrtmon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    [[maybe_unused]] static const bool isThere = zrtmon::fuzz::CreatePrinter();
    std::wstring text;
    for (size_t i = 0; i + 1 < size; i += 2) {
        text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    }
    zrtmon::fuzz::Check(text);
    return 0;
}
