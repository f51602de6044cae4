/// The only interface to the operating system. Every other file includes this header and no system header.
///
/// On Windows it is the SDK's headers; elsewhere `platform/posix/win32_api.h` declares exactly the
/// subset that is used, under the same names and with the same results and last errors, so that
/// the code above compiles unchanged on both.
#pragma once

#ifdef _WIN32

#ifndef UNICODE
#define UNICODE
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif

#include <windows.h>
#include <winspool.h>
// winspool.h first: winsplp.h uses its types without including it.
#include <winsplp.h>

// The code always calls the W functions by name and uses these words for its own operations.
#undef GetPrinterData
#undef StartDoc

// What the library exports is listed in its module definition file; the platform layer is linked into it.
#define ZRT_LIBRARY_EXPORT
#define ZRT_PLATFORM_API

#else

#define ZRT_LIBRARY_EXPORT __attribute__((visibility("default")))

#include "platform/posix/win32_api.h"

#endif

#include "platform/usb_print.h"
