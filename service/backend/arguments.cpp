#include "service/backend/arguments.h"

#include <charconv>
#include <cstring>

#include "platform/wipe.h"

namespace zrtmon::backend {
namespace {

constexpr size_t kOwner = 1;
constexpr size_t kTitle = 2;
constexpr size_t kCopies = 3;
constexpr size_t kOptions = 4;
constexpr size_t kFile = 5;
constexpr std::string_view kUuidPrefix = "urn:uuid:";
constexpr std::string_view kPassword = "AUTH_PASSWORD=";
constexpr int kMostCopies = 10000;

int Copies(std::string_view text)
{
    int copies = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), copies);
    if (error != std::errc{} || end != text.data() + text.size() || copies < 1 || copies > kMostCopies) {
        throw CBadArgument("'" + std::string(text) + "' is not a number of copies; give 1 to " +
                           std::to_string(kMostCopies));
    }
    return copies;
}

/// Takes the first word off the options, without its quotes and escapes.
std::string TakeWord(std::string_view& options)
{
    std::string word;
    char quote = 0;
    size_t at = 0;
    for (; at < options.size(); ++at) {
        const char c = options[at];
        if (c == '\\' && at + 1 < options.size()) {
            word += options[++at];
        } else if (quote != 0 ? c == quote : c == '\'' || c == '"') {
            quote = quote != 0 ? '\0' : c;
        } else if (quote == 0 && (c == ' ' || c == '\t')) {
            break;
        } else {
            word += c;
        }
    }
    options.remove_prefix(std::min(at + 1, options.size()));
    return word;
}

} // namespace

std::string OptionValue(std::string_view options, std::string_view name)
{
    while (!options.empty()) {
        const std::string word = TakeWord(options);
        if (word.size() > name.size() && word.starts_with(name) && word[name.size()] == '=') {
            return word.substr(name.size() + 1);
        }
    }
    return {};
}

CPrintRequest ReadArguments(std::span<const char* const> arguments, const char* deviceUri)
{
    if (arguments.size() != kFile && arguments.size() != kFile + 1) {
        throw CBadArgument("CUPS starts this program, as: zrt job user title copies options [file]");
    }
    if (deviceUri == nullptr) {
        throw CBadArgument("DEVICE_URI is not set; CUPS sets it to the printer's device URI, zrt:/NAME");
    }
    CPrintRequest request;
    request.device = ReadDeviceUri(deviceUri);
    request.owner = arguments[kOwner];
    request.title = arguments[kTitle];
    request.uuid = OptionValue(arguments[kOptions], "job-uuid");
    if (request.uuid.starts_with(kUuidPrefix)) {
        request.uuid.erase(0, kUuidPrefix.size());
    }
    if (arguments.size() > kFile) {
        request.copies = Copies(arguments[kCopies]);
        request.fileName = arguments[kFile];
    }
    return request;
}

void TakePassword(char** environment, CSecret& password)
{
    for (char** entry = environment; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, kPassword.data(), kPassword.size()) != 0) {
            continue;
        }
        char* const text = *entry + kPassword.size();
        password.Clear();
        for (const char* at = text; *at != '\0' && password.Append(*at); ++at) {
        }
        Wipe(text, std::strlen(text));
    }
}

} // namespace zrtmon::backend
