#include "platform/spooler_admin.h"

#include <cstdint>
#include <cstring>
#include <iterator>
#include <span>

namespace zrtmon::spooler {

namespace {

constexpr char kSystemSpooler[] = "winspool.drv";

struct Service {
    const char* name;
    uintptr_t address;
};

template <typename Function>
Service MakeService(const char* name, Function* function)
{
    return {name, reinterpret_cast<uintptr_t>(function)};
}

// What this library defines instead of the system's services of the same names.
const Service kServices[] = {
    MakeService("ClosePrinter", ClosePrinter),
    MakeService("DeletePrinterDataW", DeletePrinterDataW),
    MakeService("EnumJobsW", EnumJobsW),
    MakeService("GetPrinterDataW", GetPrinterDataW),
    MakeService("OpenPrinterW", OpenPrinterW),
    MakeService("SetJobW", SetJobW),
    MakeService("SetPrinterDataW", SetPrinterDataW),
};

uintptr_t FindService(const char* name)
{
    for (const Service& service : kServices) {
        if (std::strcmp(service.name, name) == 0) {
            return service.address;
        }
    }
    return 0;
}

bool WriteSlot(uintptr_t* slot, uintptr_t address)
{
    DWORD protection = 0;
    if (!VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection)) {
        return false;
    }
    *slot = address;
    return VirtualProtect(slot, sizeof *slot, protection, &protection) != FALSE;
}

/// A loaded module's headers; places in it are offsets from its start.
class CImage {
public:
    explicit CImage(HMODULE module) : m_base(reinterpret_cast<uintptr_t>(module)) {}

    template <typename Object>
    Object* At(uintptr_t offset) const
    {
        return reinterpret_cast<Object*>(m_base + offset);
    }

    /// The first of the records of what it imports; the last has no name.
    const IMAGE_IMPORT_DESCRIPTOR* Imports() const
    {
        const auto headerOffset = static_cast<uintptr_t>(At<IMAGE_DOS_HEADER>(0)->e_lfanew);
        const auto& header = At<IMAGE_NT_HEADERS>(headerOffset)->OptionalHeader;
        return At<IMAGE_IMPORT_DESCRIPTOR>(header.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    }

    bool Redirect(const IMAGE_IMPORT_DESCRIPTOR& import) const
    {
        const auto* name = At<IMAGE_THUNK_DATA>(import.OriginalFirstThunk);
        auto* slot = At<uintptr_t>(import.FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
                return false;
            }
            const auto* byName = At<IMAGE_IMPORT_BY_NAME>(static_cast<uintptr_t>(name->u1.AddressOfData));
            const uintptr_t service = FindService(reinterpret_cast<const char*>(byName->Name));
            if (service == 0 || !WriteSlot(slot, service)) {
                return false;
            }
        }
        return true;
    }

private:
    uintptr_t m_base;
};

} // namespace

bool RedirectSpoolerImports(HMODULE module)
{
    const CImage image(module);
    for (const IMAGE_IMPORT_DESCRIPTOR* import = image.Imports(); import->Name != 0; ++import) {
        const bool fromSpooler = lstrcmpiA(image.At<const char>(import->Name), kSystemSpooler) == 0;
        if (fromSpooler && !image.Redirect(*import)) {
            return false;
        }
    }
    return true;
}

} // namespace zrtmon::spooler
