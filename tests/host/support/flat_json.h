/// JSON as tests read it.
#pragma once

#include <map>
#include <string>

namespace zrtmon::test {

/// Every text, number and null of a JSON value by its path ("/PrinterError/value", "/0/topic"), texts without
/// quotes. Throws std::exception if the text is not JSON.
std::map<std::string, std::string> FlatJson(const std::string& text);

} // namespace zrtmon::test
