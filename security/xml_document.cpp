#include "security/xml_document.h"

#include <cwchar>

namespace zrtmon {

namespace {
// CLSCTX_ALL in newer headers also allows servers on other machines.
constexpr DWORD kAnyServerContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER;
static_assert(kAnyServerContext == 7);
} // namespace

bool CVariant::IsText(const wchar_t* expected)
{
    if (m_variant.vt != VT_BSTR) {
        RequireXml(VariantChangeType(&m_variant, &m_variant, 0, VT_BSTR));
    }
    return m_variant.bstrVal && std::wcscmp(m_variant.bstrVal, expected) == 0;
}

CXmlDocument::~CXmlDocument()
{
    if (m_document) {
        m_document->Release();
    }
    if (m_isComInitialised) {
        CoUninitialize();
    }
}

BOOL CXmlDocument::Create()
{
    if (!m_isComInitialised) {
        if (FAILED(CoInitialize(nullptr))) {
            return FALSE;
        }
        m_isComInitialised = true;
    }
    if (m_document) {
        return TRUE;
    }
    CComReference<IUnknown> object;
    return SUCCEEDED(CoCreateInstance(CLSID_DOMDocument, nullptr, kAnyServerContext, IID_IUnknown,
                                      reinterpret_cast<void**>(object.Receive()))) &&
           SUCCEEDED(OleRun(object.Get())) &&
           SUCCEEDED(object->QueryInterface(IID_IXMLDOMDocument, reinterpret_cast<void**>(&m_document)));
}

BOOL CXmlDocument::ReadAttribute(const wchar_t* name, IXMLDOMNode* node, VARIANT* value)
{
    const CBStr key(name);
    RequireXml(key ? S_OK : E_OUTOFMEMORY);
    CComReference<IXMLDOMNamedNodeMap> attributes;
    RequireXml(node->get_attributes(attributes.Receive()));
    if (!attributes) {
        return FALSE;
    }
    CComReference<IXMLDOMNode> attribute;
    RequireXml(attributes->getNamedItem(key.Get(), attribute.Receive()));
    if (!attribute) {
        return FALSE;
    }
    RequireXml(attribute->get_nodeValue(value));
    return TRUE;
}

} // namespace zrtmon
