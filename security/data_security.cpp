#include "security/data_security.h"

#include "link/command_prefix.h"

namespace zrtmon {

namespace {

constexpr std::string_view kMarker = "Plinth:";
constexpr const char* kFieldNames[] = {"Validation", "OemSupplies", "Password"};

struct Replacement {
    std::string_view word;
    std::string_view digits;
};
// In this order: "INVALID" is replaced before "VALID" is searched for.
constexpr Replacement kReplacements[] = {{"PASSWORD=", ""}, {"PLINTH=", ""}, {"CORBEL=", ""},
                                         {"INVALID", "0"},  {"VALID", "1"},  {"ENABLED", "1"},
                                         {"DISABLED", "0"}};

/// Replaces every occurrence, including those that a replacement creates. Ends, because every replacement is
/// shorter than its word. A new occurrence begins less than a word's length before the place, so searching
/// from there is enough and keeps the time linear.
void ReplaceAll(std::string& text, const Replacement& row)
{
    for (size_t found = text.find(row.word); found != std::string::npos;) {
        text.replace(found, row.word.size(), row.digits);
        found = text.find(row.word, found < row.word.size() ? 0 : found - row.word.size());
    }
}

} // namespace

const std::array<uint8_t, 5> CDataSecurity::kCommand = MakeCommand("NP");

const uint8_t* CDataSecurity::GetCommand(uint32_t* length) { return CommandBytes(kCommand, length); }

BOOL CDataSecurity::Parse()
{
    const size_t marker = m_text.find(kMarker);
    if (marker == std::string::npos) {
        return FALSE;
    }
    m_text.erase(marker, kMarker.size());
    for (const Replacement& row : kReplacements) {
        ReplaceAll(m_text, row);
    }
    return TRUE;
}

const char* CDataSecurity::GetFieldName(uint32_t index) { return NameAt(kFieldNames, index); }

} // namespace zrtmon
