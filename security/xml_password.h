#pragma once

#include <cstdint>

#include "security/xml_document.h"

namespace zrtmon {

/// The policy file's three settings. The file is named by a printer's stored data and read with the spooler's
/// rights: it must lie on this machine, have at most 1 MiB and no document type declaration; nothing else is
/// opened for it.
class CXmlPassword final : public CXmlDocument {
public:
    virtual BOOL Load(const wchar_t* path);

    /// The first-card rule. FALSE when the element is there and has no readable "Enabled".
    BOOL ReadOnFirstCard(BOOL* enabled);
    /// The delay rule, likewise.
    BOOL ReadAfterDelay(BOOL* enabled);
    /// The delay in milliseconds; 0 when there is none or it is none of the known ones.
    uint32_t ReadDelay();

private:
    BOOL ReadEnabled(const wchar_t* expression, BOOL* enabled);
    BOOL SelectNode(const wchar_t* expression, CComReference<IXMLDOMNode>& node);
    BOOL LoadFile(const wchar_t* path);
};

} // namespace zrtmon
