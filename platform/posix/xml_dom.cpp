#include "platform/xml_dom.h"

#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/utf8.h"

namespace zrtmon {

namespace {

constexpr size_t kMaxDocumentBytes = 1 << 20;

struct XmlDeleter {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
    void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
    void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
    void operator()(xmlChar* text) const { xmlFree(text); }
};
template <typename Type>
using XmlPtr = std::unique_ptr<Type, XmlDeleter>;
using SharedDocument = std::shared_ptr<xmlDoc>; // every node keeps its document alive

class CFileDescriptor {
public:
    explicit CFileDescriptor(const char* path) : m_descriptor(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC))
    {
    }
    ~CFileDescriptor()
    {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }
    CFileDescriptor(const CFileDescriptor&) = delete;
    CFileDescriptor& operator=(const CFileDescriptor&) = delete;
    int Get() const { return m_descriptor; }

private:
    int m_descriptor;
};

/// By the opened file, which cannot be exchanged between the check and the reading.
bool IsRegularUpTo(int descriptor, uint64_t maxBytes)
{
    struct stat status {};
    return descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
           static_cast<uint64_t>(status.st_size) <= maxBytes;
}

std::optional<std::vector<char>> ReadFile(const std::string& path)
{
    const CFileDescriptor file(path.c_str());
    if (!IsRegularUpTo(file.Get(), kMaxDocumentBytes)) {
        return std::nullopt;
    }
    std::vector<char> bytes(kMaxDocumentBytes + 1);
    size_t size = 0;
    while (size < bytes.size()) {
        const ssize_t count = read(file.Get(), bytes.data() + size, bytes.size() - size);
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            bytes.resize(size);
            return bytes;
        }
        size += static_cast<size_t>(count);
    }
    return std::nullopt; // it has grown since
}

/// While it exists, receives the errors that the XML library raises on this thread and would otherwise print.
/// An evaluation that runs out of memory may return an empty set: only the error shows it.
class CLibraryErrors {
public:
    CLibraryErrors() : m_handler(xmlStructuredError), m_context(xmlStructuredErrorContext)
    {
        xmlSetStructuredErrorFunc(this, &CLibraryErrors::OnError);
    }
    ~CLibraryErrors() { xmlSetStructuredErrorFunc(m_context, m_handler); }
    CLibraryErrors(const CLibraryErrors&) = delete;
    CLibraryErrors& operator=(const CLibraryErrors&) = delete;

    bool IsMemoryExhausted() const { return m_isMemoryExhausted; }

private:
    static void OnError(void* self, xmlErrorPtr error)
    {
        if (error->code == XML_ERR_NO_MEMORY) {
            static_cast<CLibraryErrors*>(self)->m_isMemoryExhausted = true;
        }
    }

    xmlStructuredErrorFunc m_handler;
    void* m_context;
    bool m_isMemoryExhausted = false;
};

const xmlChar* AsXml(const std::string& text) { return reinterpret_cast<const xmlChar*>(text.c_str()); }

/// Reference counting and QueryInterface, for an object with one interface besides IUnknown. That of a
/// document can be requested by its id; the others are only returned by operations.
template <typename Interface>
class CCounted : public Interface {
public:
    HRESULT QueryInterface(const IID& iid, void** object) noexcept override
    {
        constexpr bool isDocument = std::is_same_v<Interface, IXMLDOMDocument>;
        *object = nullptr;
        if (iid != IID_IUnknown && !(isDocument && iid == IID_IXMLDOMDocument)) {
            return E_NOINTERFACE;
        }
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    ULONG AddRef() noexcept override { return ++m_count; }
    ULONG Release() noexcept override
    {
        const ULONG left = --m_count;
        if (left == 0) {
            delete this;
        }
        return left;
    }

protected:
    virtual ~CCounted() = default;

private:
    std::atomic<ULONG> m_count{1};
};

/// Creates an object in *slot; S_FALSE and null if exists is false.
template <typename Object, typename Interface, typename... Arguments>
HRESULT MakeObject(Interface** slot, bool exists, Arguments&&... arguments)
{
    *slot = exists ? new (std::nothrow) Object(std::forward<Arguments>(arguments)...) : nullptr;
    return !exists ? S_FALSE : *slot ? S_OK : E_OUTOFMEMORY;
}

class CAttributeMap;

class CNode final : public CCounted<IXMLDOMNode> {
public:
    CNode(SharedDocument document, xmlNode* node) : m_document(std::move(document)), m_node(node) {}
    HRESULT get_attributes(IXMLDOMNamedNodeMap** attributes) noexcept override;
    HRESULT get_nodeValue(VARIANT* value) noexcept override;

private:
    SharedDocument m_document;
    xmlNode* m_node;
};

class CAttributeMap final : public CCounted<IXMLDOMNamedNodeMap> {
public:
    CAttributeMap(SharedDocument document, xmlNode* element)
        : m_document(std::move(document)), m_element(element)
    {
    }
    HRESULT getNamedItem(BSTR name, IXMLDOMNode** item) noexcept override;

private:
    SharedDocument m_document;
    xmlNode* m_element;
};

class CDocumentType final : public CCounted<IXMLDOMDocumentType> {};

class CDocument final : public CCounted<IXMLDOMDocument> {
public:
    HRESULT put_preserveWhiteSpace(VARIANT_BOOL) noexcept override { return S_OK; }
    HRESULT put_async(VARIANT_BOOL async) noexcept override { return Set(m_isAsync, async); }
    HRESULT put_validateOnParse(VARIANT_BOOL validate) noexcept override
    {
        return Set(m_validates, validate);
    }
    HRESULT put_resolveExternals(VARIANT_BOOL resolve) noexcept override { return Set(m_resolves, resolve); }
    HRESULT load(VARIANT path, VARIANT_BOOL* loaded) noexcept override;
    HRESULT get_doctype(IXMLDOMDocumentType** type) noexcept override;
    HRESULT selectSingleNode(BSTR expression, IXMLDOMNode** node) noexcept override;

private:
    static HRESULT Set(bool& property, VARIANT_BOOL value)
    {
        property = value != VARIANT_FALSE;
        return S_OK;
    }

    SharedDocument m_document;
    bool m_isAsync = true; // the platform's defaults
    bool m_validates = true;
    bool m_resolves = true;
};

/// Runs a body that may exhaust memory.
template <typename Body>
HRESULT Guard(Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CNode::get_attributes(IXMLDOMNamedNodeMap** attributes) noexcept
{
    return MakeObject<CAttributeMap>(attributes, m_node->type == XML_ELEMENT_NODE, m_document, m_node);
}

HRESULT CNode::get_nodeValue(VARIANT* value) noexcept
{
    return Guard([&]() -> HRESULT {
        VariantInit(value);
        if (m_node->type != XML_ATTRIBUTE_NODE) {
            return S_FALSE;
        }
        const XmlPtr<xmlChar> text(xmlNodeListGetString(m_document.get(), m_node->children, 1));
        if (!text && m_node->children) {
            return E_OUTOFMEMORY;
        }
        const char* bytes = text ? reinterpret_cast<const char*>(text.get()) : "";
        value->bstrVal = SysAllocString(Utf8ToWide(bytes).c_str());
        value->vt = value->bstrVal ? VT_BSTR : VT_EMPTY;
        return value->bstrVal ? S_OK : E_OUTOFMEMORY;
    });
}

/// The name as it is written in the file: with its prefix.
std::string QualifiedName(const xmlAttr& attribute)
{
    const auto* prefix = attribute.ns ? reinterpret_cast<const char*>(attribute.ns->prefix) : nullptr;
    const auto* name = reinterpret_cast<const char*>(attribute.name);
    return prefix ? std::string(prefix) + ':' + name : name;
}

HRESULT CAttributeMap::getNamedItem(BSTR name, IXMLDOMNode** item) noexcept
{
    return Guard([&]() -> HRESULT {
        *item = nullptr;
        const std::optional<std::string> key = WideToUtf8(name);
        xmlAttr* attribute = key ? m_element->properties : nullptr;
        while (attribute && QualifiedName(*attribute) != *key) {
            attribute = attribute->next;
        }
        return MakeObject<CNode>(item, attribute != nullptr, m_document,
                                 reinterpret_cast<xmlNode*>(attribute));
    });
}

HRESULT CDocument::load(VARIANT path, VARIANT_BOOL* loaded) noexcept
{
    *loaded = VARIANT_FALSE;
    m_document.reset();
    if (m_isAsync || m_validates || m_resolves) {
        return E_NOTIMPL;
    }
    return Guard([&]() -> HRESULT {
        if (path.vt != VT_BSTR || !path.bstrVal) {
            return E_INVALIDARG;
        }
        const std::optional<std::string> file = WideToUtf8(path.bstrVal);
        const std::optional<std::vector<char>> bytes = file ? ReadFile(*file) : std::nullopt;
        if (!bytes || bytes->empty()) {
            return S_FALSE;
        }
        // Without XML_PARSE_HUGE the parser's own limits on depth and expansion hold; without
        // XML_PARSE_DTDLOAD and XML_PARSE_NOENT no external subset or entity is looked at.
        constexpr int kOptions = XML_PARSE_NONET;
        const CLibraryErrors errors;
        XmlPtr<xmlDoc> parsed(
            xmlReadMemory(bytes->data(), static_cast<int>(bytes->size()), nullptr, nullptr, kOptions));
        if (!parsed) {
            return S_FALSE;
        }
        m_document = std::move(parsed);
        *loaded = VARIANT_TRUE;
        return S_OK;
    });
}

HRESULT CDocument::get_doctype(IXMLDOMDocumentType** type) noexcept
{
    return MakeObject<CDocumentType>(type, m_document && m_document->intSubset);
}

HRESULT CDocument::selectSingleNode(BSTR expression, IXMLDOMNode** node) noexcept
{
    return Guard([&]() -> HRESULT {
        *node = nullptr;
        const std::optional<std::string> xpath = expression ? WideToUtf8(expression) : std::nullopt;
        if (!m_document || !xpath) {
            return xpath ? S_FALSE : E_INVALIDARG;
        }
        const CLibraryErrors errors;
        const XmlPtr<xmlXPathContext> context(xmlXPathNewContext(m_document.get()));
        if (!context) {
            return E_OUTOFMEMORY;
        }
        const XmlPtr<xmlXPathObject> found(xmlXPathEvalExpression(AsXml(*xpath), context.get()));
        if (!found || errors.IsMemoryExhausted()) {
            return errors.IsMemoryExhausted() ? E_OUTOFMEMORY : E_INVALIDARG;
        }
        const bool any = !xmlXPathNodeSetIsEmpty(found->nodesetval);
        return MakeObject<CNode>(node, any, m_document, any ? found->nodesetval->nodeTab[0] : nullptr);
    });
}

} // namespace

bool IsRegularFile(const wchar_t* path, uint64_t maxBytes) noexcept
{
    try {
        const std::optional<std::string> file = WideToUtf8(path);
        return file && IsRegularUpTo(CFileDescriptor(file->c_str()).Get(), maxBytes);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace zrtmon

HRESULT CoInitialize(void* /*reserved*/) noexcept { return S_OK; }

void CoUninitialize() noexcept {}

HRESULT CoCreateInstance(const CLSID& classId, IUnknown* outer, DWORD context, const IID& iid,
                         void** object) noexcept
{
    *object = nullptr;
    if (classId != zrtmon::CLSID_DOMDocument || outer || !(context & CLSCTX_INPROC_SERVER)) {
        return REGDB_E_CLASSNOTREG;
    }
    auto* document = new (std::nothrow) zrtmon::CDocument;
    if (!document) {
        return E_OUTOFMEMORY;
    }
    const HRESULT result = document->QueryInterface(iid, object);
    document->Release();
    return result;
}

HRESULT OleRun(IUnknown* /*object*/) noexcept { return S_OK; }

BSTR SysAllocString(const wchar_t* text) noexcept
{
    if (!text) {
        return nullptr;
    }
    const size_t length = std::wcslen(text) + 1;
    auto* copy = new (std::nothrow) wchar_t[length];
    if (copy) {
        std::wmemcpy(copy, text, length);
    }
    return copy;
}

void SysFreeString(BSTR text) noexcept { delete[] text; }

void VariantInit(VARIANT* variant) noexcept { *variant = VARIANT{VT_EMPTY, nullptr}; }

HRESULT VariantClear(VARIANT* variant) noexcept
{
    SysFreeString(variant->bstrVal);
    VariantInit(variant);
    return S_OK;
}

HRESULT VariantChangeType(VARIANT* destination, const VARIANT* source, uint16_t /*flags*/,
                          VARTYPE type) noexcept
{
    if (type != VT_BSTR || source->vt != VT_BSTR) {
        return DISP_E_TYPEMISMATCH;
    }
    if (destination == source) {
        return S_OK;
    }
    BSTR copy = SysAllocString(source->bstrVal);
    if (!copy) {
        return E_OUTOFMEMORY;
    }
    VariantClear(destination);
    *destination = VARIANT{VT_BSTR, copy};
    return S_OK;
}
