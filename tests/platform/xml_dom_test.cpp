// The document object model, whichever system serves it: what the policy file's three reads rely on.
#include <cstdio>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/xml_dom.h"

namespace {

using namespace zrtmon;

/// One reference, given back at the end.
template <typename Interface>
struct Reference {
    Interface* object = nullptr;
    Reference() = default;
    ~Reference()
    {
        if (object) {
            object->Release();
        }
    }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;
};

struct Text {
    BSTR text;
    explicit Text(const std::wstring& source) : text(SysAllocString(source.c_str())) {}
    ~Text() { SysFreeString(text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
};

class XmlDom : public testing::Test {
protected:
    XmlDom()
    {
        EXPECT_TRUE(SUCCEEDED(CoInitialize(nullptr)));
        EXPECT_EQ(S_OK, CoCreateInstance(kXmlDocumentClass, nullptr, CLSCTX_ALL, kXmlDocumentInterface,
                                         reinterpret_cast<void**>(&m_document.object)));
    }
    ~XmlDom() override
    {
        if (m_document.object) {
            m_document.object->Release();
            m_document.object = nullptr;
        }
        std::remove(m_path.c_str());
        CoUninitialize();
    }

    /// Whether a file of these bytes is well-formed.
    bool Loads(const std::string& bytes)
    {
        std::ofstream(m_path, std::ios::binary) << bytes;
        const Text path(std::wstring(m_path.begin(), m_path.end()));
        VARIANT source;
        VariantInit(&source);
        source.vt = VT_BSTR;
        source.bstrVal = path.text;
        VARIANT_BOOL loaded = VARIANT_FALSE;
        EXPECT_TRUE(SUCCEEDED(m_document.object->put_async(VARIANT_FALSE)));
        const HRESULT result = m_document.object->load(source, &loaded);
        EXPECT_EQ(loaded != VARIANT_FALSE, result == S_OK);
        return loaded != VARIANT_FALSE;
    }

    bool HasDocumentType()
    {
        Reference<IXMLDOMDocumentType> type;
        EXPECT_TRUE(SUCCEEDED(m_document.object->get_doctype(&type.object)));
        return type.object != nullptr;
    }

    /// The attribute of the first node that the expression selects: "-" without the node, "?" without it.
    std::wstring Read(const wchar_t* expression, const wchar_t* attribute)
    {
        Reference<IXMLDOMNode> node;
        const HRESULT selected = m_document.object->selectSingleNode(Text(expression).text, &node.object);
        EXPECT_EQ(node.object ? S_OK : S_FALSE, selected);
        if (!node.object) {
            return L"-";
        }
        Reference<IXMLDOMNamedNodeMap> attributes;
        Reference<IXMLDOMNode> item;
        EXPECT_EQ(S_OK, node.object->get_attributes(&attributes.object));
        const HRESULT found = attributes.object->getNamedItem(Text(attribute).text, &item.object);
        EXPECT_EQ(item.object ? S_OK : S_FALSE, found);
        return item.object ? ValueOf(item.object) : L"?";
    }

private:
    static std::wstring ValueOf(IXMLDOMNode* attribute)
    {
        VARIANT value;
        VariantInit(&value);
        EXPECT_EQ(S_OK, attribute->get_nodeValue(&value));
        EXPECT_EQ(S_OK, VariantChangeType(&value, &value, 0, VT_BSTR));
        std::wstring text(value.bstrVal ? value.bstrVal : L"");
        VariantClear(&value);
        return text;
    }

    Reference<IXMLDOMDocument> m_document;
    std::string m_path = testing::TempDir() + "zrtmon_xml_dom_test.xml";
};

TEST_F(XmlDom, SelectsByAttributeAndReadsAttributes)
{
    ASSERT_TRUE(Loads("<a><b k='1' v='one'/><b k='2 &lt;' v=''><c v='deep'/></b><b k='1' v='second'/></a>"));
    EXPECT_EQ(L"one", Read(L"/a/b[@k='1']", L"v"));
    EXPECT_EQ(L"2 <", Read(L"/a/b[@v='']", L"k"));
    EXPECT_EQ(L"deep", Read(L"/a/b[@k='2 <']/c", L"v"));
    EXPECT_EQ(L"?", Read(L"/a/b", L"V"));
    EXPECT_EQ(L"-", Read(L"/a/b[@k='3']", L"v"));
    EXPECT_EQ(L"-", Read(L"/b", L"v"));
    EXPECT_FALSE(HasDocumentType());
}

TEST_F(XmlDom, TellsWhatIsNotWellFormedAndServesTheNextDocument)
{
    for (const char* broken : {"", "<a>", "<a v=1/>", "<a/><a/>", "<a>&e;</a>", "text"}) {
        EXPECT_FALSE(Loads(broken)) << broken;
        EXPECT_EQ(L"-", Read(L"/a", L"v")) << broken;
    }
    ASSERT_TRUE(Loads("<!DOCTYPE a><a v='&#65;'/>"));
    EXPECT_TRUE(HasDocumentType());
    EXPECT_EQ(L"A", Read(L"/a", L"v"));
}

} // namespace
