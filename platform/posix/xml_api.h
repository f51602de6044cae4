/// The subset of COM and of the MSXML document object model that the policy file needs, for systems without
/// them.
///
/// Names, argument orders and results are those of the platform's documentation. Objects are counted by
/// AddRef and Release and used by one thread at a time; nothing throws.
#pragma once

#include "platform/posix/win32_api.h"

using HRESULT = int32_t;
using BSTR = wchar_t*; ///< made by SysAllocString, freed by SysFreeString
using VARIANT_BOOL = int16_t;
using VARTYPE = uint16_t;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005);

constexpr bool SUCCEEDED(HRESULT result) { return result >= 0; }
constexpr bool FAILED(HRESULT result) { return result < 0; }

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;
inline constexpr VARTYPE VT_EMPTY = 0;
inline constexpr VARTYPE VT_BSTR = 8;

/// A value of one of several types; only empty and text occur here.
struct VARIANT {
    VARTYPE vt;
    BSTR bstrVal;
};

struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
    friend bool operator==(const GUID&, const GUID&) = default;
};
using CLSID = GUID;
using IID = GUID;

// Where an object's server may run. The document class runs in the process.
inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;
inline constexpr DWORD CLSCTX_INPROC_HANDLER = 2;
inline constexpr DWORD CLSCTX_LOCAL_SERVER = 4;
inline constexpr IID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

class IUnknown {
public:
    virtual HRESULT QueryInterface(const IID& iid, void** object) noexcept = 0;
    virtual ULONG AddRef() noexcept = 0;
    /// Returns the remaining count; at 0 the object has been destroyed.
    virtual ULONG Release() noexcept = 0;

protected:
    ~IUnknown() = default;
};

class IXMLDOMNamedNodeMap;
class IXMLDOMDocumentType;

class IXMLDOMNode : public IUnknown {
public:
    /// The attributes of an element; S_FALSE and null for other nodes.
    virtual HRESULT get_attributes(IXMLDOMNamedNodeMap** attributes) noexcept = 0;
    /// The text of an attribute; S_FALSE and an empty variant for other nodes.
    virtual HRESULT get_nodeValue(VARIANT* value) noexcept = 0;

protected:
    ~IXMLDOMNode() = default;
};

class IXMLDOMNamedNodeMap : public IUnknown {
public:
    /// The attribute of that qualified name; S_FALSE and null if there is none.
    virtual HRESULT getNamedItem(BSTR name, IXMLDOMNode** item) noexcept = 0;

protected:
    ~IXMLDOMNamedNodeMap() = default;
};

class IXMLDOMDocument : public IUnknown {
public:
    virtual HRESULT put_preserveWhiteSpace(VARIANT_BOOL preserve) noexcept = 0;
    // The next three are on from the start, and load fails with E_NOTIMPL until all are switched off.
    virtual HRESULT put_async(VARIANT_BOOL async) noexcept = 0;
    virtual HRESULT put_validateOnParse(VARIANT_BOOL validate) noexcept = 0;
    virtual HRESULT put_resolveExternals(VARIANT_BOOL resolve) noexcept = 0;
    /// Loads a file. *loaded is whether it is well-formed; S_FALSE if it is not. Nothing else is fetched,
    /// whatever the file refers to.
    virtual HRESULT load(VARIANT path, VARIANT_BOOL* loaded) noexcept = 0;
    /// The document type declaration; S_FALSE and null if there is none.
    virtual HRESULT get_doctype(IXMLDOMDocumentType** type) noexcept = 0;
    /// The first node that an XPath expression selects; S_FALSE and null if there is none.
    virtual HRESULT selectSingleNode(BSTR expression, IXMLDOMNode** node) noexcept = 0;

protected:
    ~IXMLDOMDocument() = default;
};

class IXMLDOMDocumentType : public IUnknown {
protected:
    ~IXMLDOMDocumentType() = default;
};

/// Nothing to do here: S_OK.
ZRT_PLATFORM_API HRESULT CoInitialize(void* reserved) noexcept;
ZRT_PLATFORM_API void CoUninitialize() noexcept;
/// Makes an object. The only class is the document class.
ZRT_PLATFORM_API HRESULT CoCreateInstance(const CLSID& classId, IUnknown* outer, DWORD context,
                                          const IID& iid, void** object) noexcept;
/// Objects run from the start: S_OK.
ZRT_PLATFORM_API HRESULT OleRun(IUnknown* object) noexcept;

/// Null if memory is exhausted or text is null.
ZRT_PLATFORM_API BSTR SysAllocString(const wchar_t* text) noexcept;
ZRT_PLATFORM_API void SysFreeString(BSTR text) noexcept;
ZRT_PLATFORM_API void VariantInit(VARIANT* variant) noexcept;
ZRT_PLATFORM_API HRESULT VariantClear(VARIANT* variant) noexcept;
/// Text stays text; DISP_E_TYPEMISMATCH for anything else.
ZRT_PLATFORM_API HRESULT VariantChangeType(VARIANT* destination, const VARIANT* source, uint16_t flags,
                                           VARTYPE type) noexcept;
