#include "platform/win32.h"

namespace {
[[maybe_unused]] HGLOBAL g_block = nullptr;
}

extern "C" {

/// Holds one block for as long as the module is attached, which its loader can count.
ZRT_PLATFORM_API BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
#ifdef ZRT_REFUSE_ATTACH
    return reason != DLL_PROCESS_ATTACH;
#else
    if (reason == DLL_PROCESS_ATTACH) {
        g_block = GlobalAlloc(GPTR, 1);
    } else if (reason == DLL_PROCESS_DETACH) {
        g_block = GlobalFree(g_block);
    }
    return TRUE;
#endif
}
}
