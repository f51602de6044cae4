// The only source of the program that includes the JSON library: its headers take seconds to compile.
#include "host/text/json.h"

#include <nlohmann/json.hpp>

namespace zrtmon::host {
namespace {

using LibraryJson = nlohmann::ordered_json;

LibraryJson Converted(const CJson& value);

struct CConvert {
    LibraryJson operator()(std::nullptr_t) const { return nullptr; }
    LibraryJson operator()(int64_t number) const { return number; }
    LibraryJson operator()(const std::string& text) const { return text; }
    LibraryJson operator()(const CJson::Array& elements) const
    {
        LibraryJson array = LibraryJson::array();
        for (const CJson& element : elements) {
            array.push_back(Converted(element));
        }
        return array;
    }
    LibraryJson operator()(const CJson::Object& members) const
    {
        LibraryJson object = LibraryJson::object();
        for (const auto& [name, value] : members) {
            object[name] = Converted(value);
        }
        return object;
    }
};

LibraryJson Converted(const CJson& value) { return std::visit(CConvert{}, value.Get()); }

} // namespace

std::string JsonLine(const CJson& value) { return Converted(value).dump(); }

std::string JsonLines(const CJson& value) { return Converted(value).dump(2); }

} // namespace zrtmon::host
