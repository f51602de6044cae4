#include "host/session/query.h"

#include "host/text/text.h"

namespace zrtmon::host {

CQueriedNumber NumberOf(const CQueryResult& result)
{
    return result.answered ? CQueriedNumber{LeadingNumber(result.text), ERROR_INVALID_PARAMETER}
                           : CQueriedNumber{std::nullopt, result.error, result.problem};
}

std::wstring PasswordRequestText(const std::string& name, std::initializer_list<std::string_view> passwords)
{
    std::wstring requestText = WideFromUtf8(name);
    size_t size = requestText.size();
    for (const std::string_view password : passwords) {
        size += 1 + password.size();
    }
    requestText.reserve(size); // at once: a text that grows leaves copies in freed memory
    for (const std::string_view password : passwords) {
        requestText += L'/';
        for (const char byte : password) {
            requestText += static_cast<unsigned char>(byte);
        }
    }
    return requestText;
}

} // namespace zrtmon::host
