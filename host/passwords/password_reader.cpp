#include "host/passwords/password_reader.h"

#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr wchar_t kSeparator = L'/';
constexpr wchar_t kLastCharacter = 0xFF;

CPasswordEntry Unfit(CSecret& password, const std::string& label, const std::string& problem)
{
    password.Clear();
    return {PasswordEnd::Unfit, label + ": " + problem};
}

CPasswordEntry TooLong(CSecret& password, const std::string& label, size_t longest)
{
    return Unfit(password, label, "longer than " + std::to_string(longest) + " characters");
}

/// Turns the line, UTF-8, into the printer's text.
CPasswordEntry Convert(CSecret& line, const std::string& label, size_t longest, CSecret& password)
{
    password.Clear();
    std::wstring characters = WideFromUtf8(line.Text());
    const bool fits = characters.size() <= longest;
    bool isText = true;
    for (const wchar_t character : characters) {
        isText = isText && character > 0 && character <= kLastCharacter && character != kSeparator;
        if (fits && isText) {
            password.Append(static_cast<char>(character));
        }
    }
    Wipe(characters);
    if (!fits) {
        return TooLong(password, label, longest);
    }
    return isText ? CPasswordEntry{PasswordEnd::Given, {}}
                  : Unfit(password, label, "contains a character that passwords of this printer cannot have");
}

} // namespace

CPasswordEntry CPasswordReader::Read(const std::string& label, size_t longest, CSecret& password,
                                     const std::function<bool()>& stop)
{
    if (IsTyped()) {
        m_console.Prompt(label + ": ");
    }
    CSecret line;
    const terminal::SecretEnd end = m_environment.readSecret(line, stop);
    m_console.ClearProgress();
    switch (end) {
    case terminal::SecretEnd::Line:
        return Convert(line, label, longest, password);
    case terminal::SecretEnd::TooLong:
        return TooLong(password, label, longest);
    case terminal::SecretEnd::EndOfInput:
        return {PasswordEnd::EndOfInput, {}};
    case terminal::SecretEnd::Stopped:
        break;
    }
    return {PasswordEnd::Stopped, {}};
}

} // namespace zrtmon::host
