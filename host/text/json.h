/// Values to be written as JSON.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace zrtmon::host {

/// A JSON value. Text is UTF-8; an object keeps the order of its members.
class CJson {
public:
    using Array = std::vector<CJson>;
    using Object = std::vector<std::pair<std::string, CJson>>;
    using Value = std::variant<std::nullptr_t, int64_t, std::string, Array, Object>;

    CJson() = default; ///< null
    template <std::integral Number>
    CJson(Number number) : m_value(static_cast<int64_t>(number))
    {
    }
    CJson(const char* text) : m_value(std::string(text)) {}
    CJson(std::string text) : m_value(std::move(text)) {}
    CJson(Array elements) : m_value(std::move(elements)) {}
    CJson(Object members) : m_value(std::move(members)) {}

    const Value& Get() const { return m_value; }

private:
    Value m_value;
};

/// The value on one line.
std::string JsonLine(const CJson& value);
/// The value with one member or element per line, indented by two spaces.
std::string JsonLines(const CJson& value);

} // namespace zrtmon::host
