/// How a secret line comes out of standard input, whatever kind of input it is.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/terminal.h"

namespace zrtmon::terminal {

/// Standard input as bytes, one thread at a time.
class IInputBytes {
public:
    virtual ~IInputBytes() = default;

    /// Whether a byte, or the end of the input, is there. Waits for it, at most 100 ms.
    virtual bool Wait() = 0;
    /// The next byte, nothing at the end. Only after Wait has answered true.
    virtual std::optional<char> Read() = 0;
};

/// What ReadLine does with it.
std::optional<std::string> ReadPlainLine(IInputBytes& input, const std::function<bool()>& stop);

/// What ReadSecret does with it.
SecretEnd ReadSecretLine(IInputBytes& input, CSecret& line, const std::function<bool()>& stop);

} // namespace zrtmon::terminal
