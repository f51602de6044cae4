#include "platform/secret_line.h"

namespace zrtmon::terminal {
namespace {

SecretEnd Dropped(CSecret& line, SecretEnd end)
{
    line.Clear();
    return end;
}

} // namespace

std::optional<std::string> ReadPlainLine(IInputBytes& input, const std::function<bool()>& stop)
{
    constexpr size_t kLongest = 4096;
    std::string line;
    while (!stop()) {
        if (!input.Wait()) {
            continue;
        }
        const std::optional<char> byte = input.Read();
        if (!byte && line.empty()) {
            return std::nullopt;
        }
        if (!byte || *byte == '\n') {
            return line;
        }
        if (line.size() < kLongest) {
            line += *byte;
        }
    }
    return std::nullopt;
}

SecretEnd ReadSecretLine(IInputBytes& input, CSecret& line, const std::function<bool()>& stop)
{
    line.Clear();
    bool fits = true;
    for (bool isEmpty = true; !stop();) {
        if (!input.Wait()) {
            continue;
        }
        const std::optional<char> byte = input.Read();
        if (!byte && isEmpty) {
            return SecretEnd::EndOfInput;
        }
        if (!byte || *byte == '\n') {
            line.DropLast('\r');
            return fits ? SecretEnd::Line : Dropped(line, SecretEnd::TooLong);
        }
        isEmpty = false;
        fits = fits && line.Append(*byte);
    }
    return Dropped(line, SecretEnd::Stopped);
}

} // namespace zrtmon::terminal
