#include "security/xml_password.h"

namespace zrtmon {

namespace {

constexpr uint64_t kMaxFileBytes = 1 << 20;

constexpr const wchar_t* kOnFirstCard =
    L"/Configurations/Configuration[@ModuleName='Password Protection']/PassWordOnfirstCard";
constexpr const wchar_t* kAfterDelay =
    L"/Configurations/Configuration[@ModuleName='Password Protection']/PassWordAfterDelay";
constexpr const wchar_t* kDelayHours =
    L"/Configurations/Configuration[@ModuleName='Password Protection']/PassWordAfterDelay/DelayHours";

struct DelayRow {
    const wchar_t* text;
    uint32_t delayMs;
};
constexpr DelayRow kDelays[] = {
    {L"10 minutes", 600000}, {L"30 minutes", 1800000}, {L"1 hour", 3600000}, {L"4 hours", 14400000}};

} // namespace

BOOL CXmlPassword::Load(const wchar_t* path)
{
    if (!IsRegularFile(path, kMaxFileBytes) || !Create() || !LoadFile(path)) {
        return FALSE;
    }
    // A policy needs no document type, and entities could bring in large or foreign content.
    CComReference<IXMLDOMDocumentType> type;
    return SUCCEEDED(m_document->get_doctype(type.Receive())) && !type;
}

BOOL CXmlPassword::LoadFile(const wchar_t* path)
{
    const CBStr text(path);
    if (!text || FAILED(m_document->put_preserveWhiteSpace(VARIANT_TRUE)) ||
        FAILED(m_document->put_async(VARIANT_FALSE)) ||
        FAILED(m_document->put_validateOnParse(VARIANT_FALSE)) ||
        FAILED(m_document->put_resolveExternals(VARIANT_FALSE))) {
        return FALSE;
    }
    VARIANT source; // borrows the text
    VariantInit(&source);
    source.vt = VT_BSTR;
    source.bstrVal = text.Get();
    VARIANT_BOOL loaded = VARIANT_FALSE;
    return SUCCEEDED(m_document->load(source, &loaded)) && loaded != VARIANT_FALSE;
}

BOOL CXmlPassword::ReadOnFirstCard(BOOL* enabled) { return ReadEnabled(kOnFirstCard, enabled); }

BOOL CXmlPassword::ReadAfterDelay(BOOL* enabled) { return ReadEnabled(kAfterDelay, enabled); }

uint32_t CXmlPassword::ReadDelay()
{
    CComReference<IXMLDOMNode> node;
    CVariant value;
    SelectNode(kDelayHours, node);
    if (!node || !ReadAttribute(L"DelayTime", node.Get(), value.Get())) {
        return 0;
    }
    for (const DelayRow& row : kDelays) {
        if (value.IsText(row.text)) {
            return row.delayMs;
        }
    }
    return 0;
}

BOOL CXmlPassword::ReadEnabled(const wchar_t* expression, BOOL* enabled)
{
    *enabled = FALSE;
    CComReference<IXMLDOMNode> node;
    SelectNode(expression, node);
    if (!node) {
        return TRUE;
    }
    CVariant value;
    if (!ReadAttribute(L"Enabled", node.Get(), value.Get())) {
        return FALSE;
    }
    *enabled = value.IsText(L"True");
    return TRUE;
}

void CXmlPassword::SelectNode(const wchar_t* expression, CComReference<IXMLDOMNode>& node)
{
    const CBStr text(expression);
    RequireXml(text ? m_document->selectSingleNode(text.Get(), node.Receive()) : E_OUTOFMEMORY);
}

} // namespace zrtmon
