// Reply bytes for every request class. Input: a byte that chooses the request, then the replies, one chunk of
// the transport each, separated by the byte 0xFE; the first is read by the head of a chain, the last chunks
// by its end.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "link/print_monitor_zrt.h"
#include "requests/data.h"
#include "tests/fuzz/fuzz_target.h"

namespace zrtmon::fuzz {
namespace {

/// A request and the text that prepares it, or null for one that is not prepared.
struct RequestRow {
    RequestCode code;
    const wchar_t* text = nullptr;
};

/// The first input byte, modulo their number, chooses one. New ones are appended, because the corpus refers
/// to the numbers.
constexpr RequestRow kRequests[] = {
    {Status},
    {CardCount},
    {PrinterError},
    {ConfigInfo},
    {VersionInfo},
    {SerialNumber},
    {RibbonInfo},
    {MagData},
    {LCDInfo},
    {CurrentSettings, L"CurrentSettings"},
    {DefaultSettings, L"DefaultSettings"},
    {InitializeSettings},
    {StationStatus, L"StationStatus/2"},
    {StationStatus, L"StationStatus/5"},
    {StationStatus, L"StationStatus/6"},
    {UtilityCommand, L"UtilityCommand/9"},
    {SimulateButtonPress, L"SimulateButtonPress/0"},
    {MoveTo, L"MoveTo/3"},
    {CancelPrint},
    {SecurityInfo},
    {EnableOemSupplies},
    {Password, L"Password/abc"},
    {DisablePassword, L"DisablePassword/abc"},
    {EnablePassword, L"EnablePassword/abc"},
    {SetAdminPassword, L"SetAdminPassword/abc/xyz"},
    {SetUserPassword, L"SetUserPassword/abc"},
};

std::unique_ptr<CData> Make(const RequestRow& row)
{
    std::unique_ptr<CData> request = CPrintMonitorZRT().CreateRequest(row.code);
    Demand(!row.text || request->Prepare(row.text), "a request takes its own text");
    return request;
}

constexpr uint8_t kChunkEnd = 0xFE;
constexpr size_t kLongestChunk = 2048;

std::vector<std::string_view> Chunks(std::string_view input)
{
    std::vector<std::string_view> chunks;
    while (!input.empty()) {
        const size_t end = input.find(static_cast<char>(kChunkEnd));
        chunks.push_back(input.substr(0, std::min(end, kLongestChunk)));
        input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    }
    return chunks;
}

void CheckCommand(CData& request)
{
    uint32_t length = 0;
    const uint8_t* command = request.GetCommand(&length);
    Demand((command != nullptr) == (length > 0), "a command has bytes and a length, or neither");
    const std::vector<uint8_t> copy(command, command + length); // reads all of it
    Demand(copy.size() == length, "a command is as long as it says");
}

/// Asks for every field that the request names, and for some that it does not.
void CheckFields(CData& request)
{
    std::vector<std::string> keys = {"", "=", ";", "Busy", "PASSWORD"};
    for (uint32_t index = 0; const char* name = request.GetFieldName(index); ++index) {
        keys.emplace_back(name);
        Demand(index < 100, "the names of the fields end");
    }
    for (const std::string& key : keys) {
        std::string value = "untouched";
        int number = 4711;
        const bool found = request.FindField(key.c_str(), value);
        Demand(found == (request.GetIntField(key.c_str(), number) != FALSE), "both ways find the field");
        Demand(found || (value == "untouched" && number == 4711), "what is not found leaves the value");
        Demand(!found || value.find_first_of(",;") == std::string::npos, "a value has no separator in it");
    }
}

/// In a separate block that ends with the NUL, so that a read past it is detected.
BOOL Take(CData& request, std::string_view reply)
{
    const auto block = std::make_unique<char[]>(reply.size() + 1);
    std::memcpy(block.get(), reply.data(), reply.size());
    return request.ProcessReply(block.get(), static_cast<uint32_t>(reply.size()));
}

/// Whether every element of the chain accepts its reply; if so, with the answer of the chain.
std::pair<bool, std::string> AnswerTo(CData& head, std::string_view reply, std::string_view next)
{
    bool ok = true;
    std::string text;
    for (CData* request = &head; request && ok; request = request->GetNext()) {
        ok = Take(*request, request == &head ? reply : next) != FALSE;
        Demand(std::strlen(request->GetText()) == request->GetTextLength(), "the text ends at its NUL");
    }
    for (CData* request = &head; ok && request; request = request->GetNext()) {
        text += request->GetText();
    }
    return {ok, ok ? text : std::string()};
}

void Run(const RequestRow& row, const std::vector<std::string_view>& chunks)
{
    const std::unique_ptr<CData> used = Make(row);
    for (size_t i = 0; i < chunks.size(); ++i) {
        const std::string_view next = i + 1 < chunks.size() ? chunks[i + 1] : chunks[i];
        const auto answer = AnswerTo(*used, chunks[i], next);
        Demand(answer == AnswerTo(*Make(row), chunks[i], next),
               "an answer does not depend on replies before");
        for (CData* request = used.get(); request; request = request->GetNext()) {
            CheckFields(*request);
            CheckCommand(*request);
        }
    }
}

} // namespace
} // namespace zrtmon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace zrtmon::fuzz;
    if (size > 0) {
        Run(kRequests[data[0] % std::size(kRequests)],
            Chunks(std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1)));
    }
    return 0;
}
