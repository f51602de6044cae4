#include "service/requests.h"

#include "host/printer/value_names.h"
#include "host/session/query.h"
#include "host/text/text.h"
#include "platform/wipe.h"
#include "simulator/nearest_name.h"

namespace zrtmon::service {
namespace {

constexpr size_t kLongestRequest = 4096; // bytes

ErrorName NameOf(DWORD error)
{
    switch (error) {
    case ERROR_BUSY:
    case host::kNotServedError:
        return ErrorName::Busy;
    case ERROR_NOT_SUPPORTED:
        return ErrorName::NotServed;
    case ERROR_DEVICE_NOT_AVAILABLE:
        return ErrorName::NoDevice;
    default:
        return ErrorName::PrinterError;
    }
}

/// The words for an error, which may name it in their own way, with the error at the end.
std::string WithError(std::string words, DWORD error)
{
    const std::string own = " (system error " + std::to_string(error) + ')';
    if (words.ends_with(own)) {
        words.resize(words.size() - own.size());
    }
    return words + " (error " + std::to_string(error) + ')';
}

/// Passwords as the printer's 8-bit text, wiped with the object.
class CPasswords {
public:
    /// Throws CServiceError (BadData) for a character that passwords cannot have.
    explicit CPasswords(std::string_view utf8)
    {
        std::wstring wide = host::WideFromUtf8(utf8);
        bool isText = true;
        m_bytes.reserve(wide.size());
        for (const wchar_t character : wide) {
            isText = isText && character > 0 && character <= 0xFF;
            m_bytes.push_back(static_cast<char>(character));
        }
        Wipe(wide);
        if (!isText) {
            Wipe(m_bytes);
            throw CServiceError(ErrorName::BadData,
                                "a password contains a character that passwords of this printer cannot have");
        }
    }
    ~CPasswords() { Wipe(m_bytes); }
    CPasswords(const CPasswords&) = delete;
    CPasswords& operator=(const CPasswords&) = delete;

    std::string_view Text() const { return m_bytes; }

private:
    std::string m_bytes;
};

host::CQueryResult SendPasswords(const host::CSpoolerSession& session, const std::string& name,
                                 std::string_view parameters)
{
    const CPasswords passwords(parameters);
    const std::string_view text = passwords.Text();
    const size_t slash = text.find('/');
    if (slash == std::string_view::npos) {
        return session.SendPasswords(name, {text});
    }
    return session.SendPasswords(name, {text.substr(0, slash), text.substr(slash + 1)});
}

} // namespace

void CheckRequest(RequestKind kind, std::string_view text)
{
    const std::string_view typedName = text.substr(0, text.find('/'));
    const std::string name = host::PrintableUtf8(typedName.substr(0, 64));
    const host::CValueName* const row = host::FindValueName(text);
    if (!row) {
        const std::string_view nearest = host::NearestValueName(name);
        throw CServiceError(ErrorName::NoSuchName, name + ": no such value name" + sim::DidYouMean(nearest));
    }
    if (row->kind == host::ValueKind::Unserved) {
        throw CServiceError(ErrorName::NotServed, name + ": not supported by this printer family");
    }
    if ((row->kind == host::ValueKind::Query) != (kind == RequestKind::Query)) {
        throw CServiceError(ErrorName::WrongKind, row->kind == host::ValueKind::Query
                                                      ? name + ": reads; give it to Query"
                                                      : name + ": is an action; give it to Perform");
    }
    if (!row->parameters.empty() && text.find('/') == std::string_view::npos) {
        throw CServiceError(ErrorName::BadData, name + ": parameters required (" +
                                                    std::string(row->parameters) + "), as in " + name +
                                                    "/...");
    }
    if (text.size() > kLongestRequest) {
        throw CServiceError(ErrorName::BadData, name + ": longer than 4096 bytes");
    }
    if (text.find('\0') != std::string_view::npos) {
        throw CServiceError(ErrorName::BadData, name + ": contains a NUL");
    }
}

std::string CarryOut(const host::CSpoolerSession& session, const std::string& text)
{
    const host::CValueName& row = *host::FindValueName(text);
    const std::string name(row.name);
    if (!session.HasDevice()) { // the monitor would wait for a reply
        throw CServiceError(
            ErrorName::NotServed,
            WithError(name + ": " + session.QueryErrorText(ERROR_NOT_SUPPORTED), ERROR_NOT_SUPPORTED));
    }
    const host::CQueryResult result =
        row.kind == host::ValueKind::Password
            ? SendPasswords(session, name, std::string_view(text).substr(name.size() + 1))
            : session.Query(text);
    if (!result.answered) {
        const std::string words = name + ": " + session.QueryErrorText(result.error);
        throw CServiceError(NameOf(result.error), WithError(words, result.error));
    }
    return result.text;
}

} // namespace zrtmon::service
