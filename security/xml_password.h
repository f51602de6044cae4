#pragma once

#include <cstdint>

#include "security/xml_document.h"

namespace zrtmon {

/// The policy file's three settings. Printer data names the file and the spooler reads it with its own
/// rights, so it must be a regular file of at most 1 MiB without a document type declaration. Nothing else is
/// opened for it.
class CXmlPassword final : public CXmlDocument {
public:
    /// FALSE if the file is not acceptable or not well-formed.
    virtual BOOL Load(const wchar_t* path);

    // These need a loaded file, and throw CXmlError if the file cannot be queried.

    /// The first-card rule. FALSE if the element is present without an "Enabled".
    BOOL ReadOnFirstCard(BOOL* enabled);
    /// The delay rule, likewise.
    BOOL ReadAfterDelay(BOOL* enabled);
    /// The delay in milliseconds; 0 if it is absent or not one of the known delays.
    uint32_t ReadDelay();

private:
    BOOL ReadEnabled(const wchar_t* expression, BOOL* enabled);
    /// Finds the first node that an XPath expression selects; node stays empty if there is none.
    void SelectNode(const wchar_t* expression, CComReference<IXMLDOMNode>& node);
    BOOL LoadFile(const wchar_t* path);
};

} // namespace zrtmon
