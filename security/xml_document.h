#pragma once

#include <exception>

#include "platform/xml_dom.h"

namespace zrtmon {

/// An XML call failed, as opposed to finding nothing. The policy is then unknown, not absent.
class CXmlError final : public std::exception {
public:
    const char* what() const noexcept override { return "a call of the XML services failed"; }
};

/// Throws CXmlError if a call failed.
inline void RequireXml(HRESULT result)
{
    if (FAILED(result)) {
        throw CXmlError();
    }
}

/// Owns one reference to a COM object; may be empty.
template <typename Interface>
class CComReference {
public:
    CComReference() = default;
    ~CComReference()
    {
        if (m_object) {
            m_object->Release();
        }
    }
    CComReference(const CComReference&) = delete;
    CComReference& operator=(const CComReference&) = delete;

    Interface* Get() const { return m_object; }
    Interface* operator->() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    /// Receives the object from a call. Only while empty.
    Interface** Receive() { return &m_object; }

private:
    Interface* m_object = nullptr;
};

/// Owns a variant and its contents.
class CVariant {
public:
    CVariant() { VariantInit(&m_variant); }
    ~CVariant() { VariantClear(&m_variant); }
    CVariant(const CVariant&) = delete;
    CVariant& operator=(const CVariant&) = delete;

    VARIANT* Get() { return &m_variant; }
    /// Whether the value, converted to text, equals the expected text. Throws CXmlError if it cannot be
    /// converted.
    bool IsText(const wchar_t* expected);

private:
    VARIANT m_variant;
};

/// Owns a COM string; empty if memory was exhausted.
class CBStr {
public:
    explicit CBStr(const wchar_t* text) : m_text(SysAllocString(text)) {}
    ~CBStr() { SysFreeString(m_text); }
    CBStr(const CBStr&) = delete;
    CBStr& operator=(const CBStr&) = delete;

    BSTR Get() const { return m_text; }
    explicit operator bool() const { return m_text != nullptr; }

private:
    BSTR m_text;
};

/// An XML document. COM is initialised on the thread that calls Create until the object is destroyed, so one
/// thread creates, uses and destroys it.
class CXmlDocument {
public:
    CXmlDocument() = default;
    virtual ~CXmlDocument();
    CXmlDocument(const CXmlDocument&) = delete;
    CXmlDocument& operator=(const CXmlDocument&) = delete;

    /// Makes the empty document. FALSE if COM or the document class is not available.
    virtual BOOL Create();

    /// Reads an attribute of a node by its qualified name. FALSE if the node has no such attribute. Throws
    /// CXmlError.
    static BOOL ReadAttribute(const wchar_t* name, IXMLDOMNode* node, VARIANT* value);

protected:
    IXMLDOMDocument* m_document = nullptr; ///< one reference, owned; null until Create

private:
    bool m_isComInitialised = false; ///< to be balanced: the thread is the spooler's
};

} // namespace zrtmon
