#include <dlfcn.h>

#include <map>
#include <new>
#include <optional>
#include <string>

#include "platform/never_destroyed.h"
#include "platform/posix/utf8.h"
#include "platform/spooler_admin.h"
#include "platform/sync.h"

namespace {

using DllMainFunction = BOOL(WINAPI*)(HINSTANCE, DWORD, LPVOID);

/// How often each module is loaded. The lock is held while a DllMain runs, as the platform's loader does it;
/// it is recursive, so that a DllMain may load modules.
struct LoadedModules {
    zrtmon::CCriticalSection section;
    std::map<HMODULE, unsigned> uses;
};

LoadedModules& Modules() { return zrtmon::NeverDestroyed<LoadedModules>(); }

BOOL CallDllMain(HMODULE module, DWORD reason)
{
    const auto dllMain = reinterpret_cast<DllMainFunction>(dlsym(module, "DllMain"));
    return dllMain ? dllMain(module, reason, nullptr) : TRUE;
}

/// One more use of a module that dlopen has just given; its DllMain runs with the first.
HMODULE Attach(HMODULE module)
{
    unsigned& uses = Modules().uses[module];
    if (++uses == 1 && !CallDllMain(module, DLL_PROCESS_ATTACH)) {
        Modules().uses.erase(module);
        dlclose(module);
        SetLastError(ERROR_DLL_INIT_FAILED);
        return nullptr;
    }
    return module;
}

HMODULE Load(LPCWSTR path)
{
    const std::optional<std::string> file = path ? zrtmon::WideToUtf8(path) : std::nullopt;
    HMODULE const module = file ? dlopen(file->c_str(), RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (!module) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    try {
        return Attach(module);
    } catch (const std::bad_alloc&) {
        dlclose(module);
        throw;
    }
}

} // namespace

HMODULE WINAPI LoadLibraryW(LPCWSTR path) noexcept
{
    const zrtmon::CSectionHold hold(Modules().section);
    try {
        return Load(path);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

BOOL WINAPI FreeLibrary(HMODULE module) noexcept
{
    const zrtmon::CSectionHold hold(Modules().section);
    const auto loaded = Modules().uses.find(module);
    if (loaded == Modules().uses.end()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (--loaded->second == 0) {
        Modules().uses.erase(loaded);
        CallDllMain(module, DLL_PROCESS_DETACH);
    }
    dlclose(module);
    return TRUE;
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) noexcept
{
    const zrtmon::CSectionHold hold(Modules().section);
    if (!Modules().uses.contains(module)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    const auto function = reinterpret_cast<FARPROC>(dlsym(module, name));
    if (!function) {
        SetLastError(ERROR_PROC_NOT_FOUND);
    }
    return function;
}

BOOL WINAPI DisableThreadLibraryCalls(HMODULE) noexcept { return TRUE; }

bool zrtmon::spooler::RedirectSpoolerImports(HMODULE) { return true; }
