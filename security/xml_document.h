#pragma once

#include <string>
#include <utility>

#include "platform/xml_dom.h"

namespace zrtmon {

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
    /// Where a call puts the object; for an empty one only.
    Interface** Receive() { return &m_object; }

private:
    Interface* m_object = nullptr;
};

/// A variant and its clearing.
class CVariant {
public:
    CVariant() { VariantInit(&m_variant); }
    ~CVariant() { VariantClear(&m_variant); }
    CVariant(const CVariant&) = delete;
    CVariant& operator=(const CVariant&) = delete;

    VARIANT* Get() { return &m_variant; }
    /// The value as text; false when it has no text form.
    bool IsText(const wchar_t* expected);

private:
    VARIANT m_variant;
};

/// Text of COM and its freeing; empty when memory was exhausted.
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

/// An XML document. COM is initialised on the thread that creates it, and let go of with the object: one
/// thread.
class CXmlDocument {
public:
    CXmlDocument() = default;
    virtual ~CXmlDocument();
    CXmlDocument(const CXmlDocument&) = delete;
    CXmlDocument& operator=(const CXmlDocument&) = delete;

    /// Makes the empty document. FALSE when COM or the document class is not to be had.
    virtual BOOL Create();

    /// The value of a node's attribute. FALSE when the node has none of that name.
    static BOOL ReadAttribute(const wchar_t* name, IXMLDOMNode* node, VARIANT* value);

protected:
    IXMLDOMDocument* m_document = nullptr; ///< one reference, owned; null until Create

private:
    bool m_isComInitialised = false;
};

} // namespace zrtmon
