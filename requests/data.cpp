#include "requests/data.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "requests/decimal.h"

namespace zrtmon {

namespace {
constexpr char kFieldSeparator = ';';
constexpr std::string_view kValueEnd = ",;";
} // namespace

BOOL CData::Prepare(const wchar_t* /*requestText*/)
{
    m_sentLength = 0;
    return TRUE;
}

BOOL CData::SetReply(const char* data, uint32_t length)
{
    const void* end = std::memchr(data, '\0', length);
    const size_t textLength = end ? static_cast<size_t>(static_cast<const char*>(end) - data) : length;
    try {
        m_text.assign(data, textLength);
    } catch (const std::bad_alloc&) {
        return FALSE;
    }
    return TRUE;
}

BOOL CData::NameFields()
{
    std::replace(m_text.begin(), m_text.end(), ',', kFieldSeparator);
    for (uint32_t index = 0;; ++index) {
        const char* name = GetFieldName(index);
        if (!name) {
            return TRUE;
        }
        if (!NameField(index, name)) {
            return FALSE;
        }
    }
}

const char* CData::GetFieldName(uint32_t /*index*/) { return nullptr; }

BOOL CData::NameField(uint32_t index, const std::string& name)
{
    size_t start = 0;
    for (uint32_t field = 0; field < index; ++field) {
        const size_t separator = m_text.find(kFieldSeparator, start);
        if (separator == std::string::npos || separator + 1 == m_text.size()) {
            return FALSE;
        }
        start = separator + 1;
    }
    m_text.insert(start, name + "=");
    return TRUE;
}

BOOL CData::ProcessReply(const char* data, uint32_t length)
{
    return SetReply(data, length) && Parse() && NameFields();
}

std::optional<std::string_view> CData::FindValue(std::string_view key) const
{
    const std::string_view text = m_text;
    const size_t match = text.find(key);
    if (match == std::string_view::npos) {
        return std::nullopt;
    }
    const size_t start = match + key.size() + 1;
    if (start >= text.size()) {
        return std::nullopt;
    }
    const size_t end = text.find_first_of(kValueEnd, start);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return text.substr(start, end - start);
}

BOOL CData::FindField(const char* key, std::string& value) const
{
    const auto found = FindValue(key);
    if (found) {
        value = *found;
    }
    return found.has_value();
}

BOOL CData::GetIntField(const char* key, int& value) const
{
    const auto found = FindValue(key);
    if (found) {
        value = DecimalValue(*found);
    }
    return found.has_value();
}

BOOL CData::KeepTextAfter(std::string_view marker)
{
    const size_t match = m_text.find(marker);
    if (match == std::string::npos) {
        return FALSE;
    }
    m_text.erase(0, match + marker.size());
    return TRUE;
}

void CData::CutTextAt(char separator)
{
    const size_t match = m_text.find(separator);
    if (match != std::string::npos) {
        m_text.erase(match);
    }
}

} // namespace zrtmon
