// Request texts as callers give them. Input: 16-bit characters, low byte first.
#include <algorithm>
#include <string>
#include <vector>

#include "link/print_monitor_zrt.h"
#include "platform/spooler_admin.h"
#include "requests/data.h"
#include "tests/fuzz/fuzz_target.h"

namespace zrtmon::fuzz {
namespace {

constexpr size_t kNameCapacity = 255;

/// Up to the first NUL, as a caller's text is.
std::wstring TextOf(const uint8_t* data, size_t size)
{
    std::wstring text;
    for (size_t i = 0; i + 1 < size; i += 2) {
        text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    }
    return text.substr(0, text.find(L'\0'));
}

bool IsKnownName(const std::wstring& text)
{
    const std::wstring name = text.substr(0, std::min(text.find(L'/'), kNameCapacity));
    return std::ranges::any_of(RequestNameTable, [&name](const RequestName& row) {
        return lstrcmpiW(name.c_str(), row.valueName) == 0;
    });
}

/// What the chain would send, and how long it would wait.
std::vector<std::string> Commands(CData* request)
{
    std::vector<std::string> commands;
    for (; request; request = request->GetNext()) {
        uint32_t length = 0;
        const uint8_t* bytes = request->GetCommand(&length);
        Demand((bytes != nullptr) == (length > 0), "a command has bytes and a length, or neither");
        Demand(request->GetSendDelay() <= 10000, "no delay is longer than ten seconds");
        commands.emplace_back(bytes, bytes + length);
    }
    return commands;
}

void Check(const std::wstring& text)
{
    CPrintMonitorZRT model;
    Demand((model.GetRequestCode(text.c_str()) != UnknownRequest) == IsKnownName(text),
           "a text is known by its name");
    CData* request = model.GetRequestByName(text.c_str());
    if (!request) {
        return;
    }
    Demand(IsKnownName(text), "only known names are served");
    const std::vector<std::string> commands = Commands(request);
    model.GetRequestByName(L"UtilityCommand/9");
    Demand(model.GetRequestByName(text.c_str()) == request, "a name is served by one object");
    Demand(Commands(request) == commands, "a text sends the same every time");
}

bool CreatePrinter()
{
    spooler::CreatePrinter(L"Cards");
    spooler::StoreValue(L"Cards", L"CurrentSettings", REG_BINARY,
                        "Image Darkness=5,-128,127,1;Flipper Home Offset=-2,-5,5,1;");
    return true;
}

} // namespace
} // namespace zrtmon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    [[maybe_unused]] static const bool isThere = zrtmon::fuzz::CreatePrinter();
    zrtmon::fuzz::Check(zrtmon::fuzz::TextOf(data, size));
    return 0;
}
