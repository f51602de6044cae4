// The only source of the tests that includes the JSON library: its headers take seconds to compile.
#include "tests/host/support/flat_json.h"

#include <nlohmann/json.hpp>

namespace zrtmon::test {

std::map<std::string, std::string> FlatJson(const std::string& text)
{
    std::map<std::string, std::string> values;
    const nlohmann::json flat = nlohmann::json::parse(text).flatten();
    for (const auto& [path, value] : flat.items()) {
        values[path] = value.is_string() ? value.get<std::string>() : value.dump();
    }
    return values;
}

} // namespace zrtmon::test
