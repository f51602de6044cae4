#include "platform/win32.h"

namespace {
constinit thread_local DWORD t_lastError = ERROR_SUCCESS;
}

DWORD WINAPI GetLastError() noexcept { return t_lastError; }

void WINAPI SetLastError(DWORD error) noexcept { t_lastError = error; }
