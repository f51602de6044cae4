// The document object model, whichever system serves it: what the policy file's three reads rely on.
#include <cstdio>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "security/xml_document.h"

namespace {

using namespace zrtmon;
using CDocument = CComReference<IXMLDOMDocument>;

/// Whether a file of these bytes is well-formed.
bool Loads(const CDocument& document, const std::string& bytes)
{
    const std::string path = testing::TempDir() + "zrtmon_xml_dom_test.xml";
    std::ofstream(path, std::ios::binary) << bytes;
    const CBStr text(std::wstring(path.begin(), path.end()).c_str());
    VARIANT source; // borrows the text
    VariantInit(&source);
    source.vt = VT_BSTR;
    source.bstrVal = text.Get();
    VARIANT_BOOL loaded = VARIANT_FALSE;
    EXPECT_TRUE(SUCCEEDED(document->put_async(VARIANT_FALSE)));
    const HRESULT result = document->load(source, &loaded);
    EXPECT_EQ(loaded != VARIANT_FALSE, result == S_OK);
    std::remove(path.c_str());
    return loaded != VARIANT_FALSE;
}

bool HasDocumentType(const CDocument& document)
{
    CComReference<IXMLDOMDocumentType> type;
    EXPECT_TRUE(SUCCEEDED(document->get_doctype(type.Receive())));
    return bool{type};
}

/// The attribute of the first node that the expression selects: "-" without the node, "?" without it.
std::wstring Read(const CDocument& document, const wchar_t* expression, const wchar_t* attribute)
{
    CComReference<IXMLDOMNode> node;
    const HRESULT selected = document->selectSingleNode(CBStr(expression).Get(), node.Receive());
    EXPECT_EQ(node ? S_OK : S_FALSE, selected);
    if (!node) {
        return L"-";
    }
    CComReference<IXMLDOMNamedNodeMap> attributes;
    CComReference<IXMLDOMNode> item;
    EXPECT_EQ(S_OK, node->get_attributes(attributes.Receive()));
    const HRESULT found = attributes->getNamedItem(CBStr(attribute).Get(), item.Receive());
    EXPECT_EQ(item ? S_OK : S_FALSE, found);
    if (!item) {
        return L"?";
    }
    CVariant value;
    EXPECT_EQ(S_OK, item->get_nodeValue(value.Get()));
    EXPECT_EQ(S_OK, VariantChangeType(value.Get(), value.Get(), 0, VT_BSTR));
    return value.Get()->bstrVal ? value.Get()->bstrVal : L"";
}

void ReadDocuments()
{
    CDocument document;
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                                     reinterpret_cast<void**>(document.Receive())));
    for (const char* broken : {"", "<a>", "<a v=1/>", "<a/><a/>", "<a>&e;</a>", "text"}) {
        EXPECT_FALSE(Loads(document, broken)) << broken;
        EXPECT_EQ(L"-", Read(document, L"/a", L"v")) << broken;
    }
    EXPECT_TRUE(Loads(document, "<!DOCTYPE a><a v='&#65;'/>"));
    EXPECT_TRUE(HasDocumentType(document));
    EXPECT_EQ(L"A", Read(document, L"/a", L"v"));

    EXPECT_TRUE(
        Loads(document, "<a><b k='1' v='one'/><b k='2 &lt;' v=''><c v='deep'/></b><b k='1' v='2'/></a>"));
    EXPECT_FALSE(HasDocumentType(document));
    EXPECT_EQ(L"one", Read(document, L"/a/b[@k='1']", L"v"));
    EXPECT_EQ(L"2 <", Read(document, L"/a/b[@v='']", L"k"));
    EXPECT_EQ(L"deep", Read(document, L"/a/b[@k='2 <']/c", L"v"));
    EXPECT_EQ(L"?", Read(document, L"/a/b", L"V"));
    EXPECT_EQ(L"-", Read(document, L"/a/b[@k='3']", L"v"));
    EXPECT_EQ(L"-", Read(document, L"/b", L"v"));
}

TEST(XmlDom, ReadsAttributesOfOneDocumentAfterTheOther)
{
    ASSERT_TRUE(SUCCEEDED(CoInitialize(nullptr)));
    ReadDocuments();
    CoUninitialize();
}

} // namespace
