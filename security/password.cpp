#include "security/password.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <new>
#include <string_view>

#include "platform/wipe.h"

namespace zrtmon {

namespace {

constexpr wchar_t kSeparator = L'/';
constexpr char kFiller = '0';

bool HasByte(wchar_t character) { return character > 0 && character <= 0xFF; }

} // namespace

CPassword::~CPassword()
{
    Wipe(m_parameters);
    Wipe(m_field, std::size(m_field));
}

BOOL CPassword::SetText(const wchar_t* requestText)
{
    const wchar_t* separator = std::wcschr(requestText, kSeparator);
    if (!separator) {
        return FALSE;
    }
    std::wstring parameters;
    try {
        parameters = separator + 1;
    } catch (const std::bad_alloc&) {
        return FALSE;
    }
    const bool fits = std::all_of(parameters.begin(), parameters.end(), HasByte);
    if (fits) {
        m_parameters.swap(parameters);
    }
    Wipe(parameters);
    return fits;
}

const char* CPassword::GetField(uint32_t index)
{
    std::wstring_view rest = m_parameters;
    for (; index > 0; --index) {
        const size_t separator = rest.find(kSeparator);
        if (separator == std::wstring_view::npos) {
            return nullptr;
        }
        rest.remove_prefix(separator + 1);
    }
    rest = rest.substr(0, rest.find(kSeparator)).substr(0, kFieldSize - 1);
    char* end =
        std::transform(rest.begin(), rest.end(), m_field, [](wchar_t c) { return static_cast<char>(c); });
    *end = '\0';
    Pad();
    return m_field;
}

void CPassword::Pad()
{
    const size_t length = std::strlen(m_field);
    if (length < kPaddedLength) {
        std::fill(m_field + length, m_field + kPaddedLength, kFiller);
        m_field[kPaddedLength] = '\0';
    }
}

} // namespace zrtmon
