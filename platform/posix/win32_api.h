/// The subset of the Win32 interface that the system uses, for systems that lack it.
///
/// Names, argument orders, results and last errors are those of the platform's documentation. Every
/// function is thread-safe unless its comment says otherwise, throws nothing, and may be called
/// from any thread. Waits and tick counts are the installed clock's (see
/// `platform/virtual_clock.h`). Functions that only some callers need (loading a module, the spooler's own
/// side) have separate headers.
#pragma once

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------------------------------------
// Types

#define WINAPI
#define APIENTRY WINAPI
#define ZRT_PLATFORM_API __attribute__((visibility("default")))

using BOOL = int32_t;
using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using ULONGLONG = uint64_t;
using DWORDLONG = uint64_t;
using SIZE_T = size_t;
using UINT = unsigned int;
using WCHAR = wchar_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using PBYTE = BYTE*;
using LPBYTE = BYTE*;
using PDWORD = DWORD*;
using LPDWORD = DWORD*;
using LPVOID = void*;
using HANDLE = void*;
using PHANDLE = HANDLE*;
using LPHANDLE = HANDLE*;
using HGLOBAL = HANDLE;
using HINSTANCE = HANDLE;
using HMODULE = HANDLE;
using HWND = HANDLE;
using ACCESS_MASK = DWORD;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;
inline constexpr DWORD INFINITE = 0xFFFFFFFF;

struct SECURITY_ATTRIBUTES;
struct COMMTIMEOUTS;

// ---------------------------------------------------------------------------------------------
// Last error

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_WRITE_FAULT = 29;
inline constexpr DWORD ERROR_READ_FAULT = 30;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_PRINT_CANCELLED = 63;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_BUSY = 170;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_EXE_MACHINE_TYPE_MISMATCH = 216;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_TOO_MANY_POSTS = 298;
inline constexpr DWORD ERROR_DLL_INIT_FAILED = 1114;
inline constexpr DWORD ERROR_OLD_WIN_VERSION = 1150;
inline constexpr DWORD RPC_S_SERVER_UNAVAILABLE = 1722;
inline constexpr DWORD ERROR_UNKNOWN_PORT = 1796;
inline constexpr DWORD ERROR_INVALID_PRINTER_NAME = 1801;
inline constexpr DWORD ERROR_INVALID_LEVEL = 124;
inline constexpr DWORD ERROR_UNKNOWN_PRINT_MONITOR = 3000;
inline constexpr DWORD ERROR_PRINT_MONITOR_ALREADY_INSTALLED = 3006;
inline constexpr DWORD ERROR_PRINT_MONITOR_IN_USE = 3008;
inline constexpr DWORD ERROR_DEVICE_NOT_AVAILABLE = 4319;

/// The calling thread's last error; 0 in a new thread.
ZRT_PLATFORM_API DWORD WINAPI GetLastError() noexcept;
ZRT_PLATFORM_API void WINAPI SetLastError(DWORD error) noexcept;

// ---------------------------------------------------------------------------------------------
// Time

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;     ///< 1 to 12
    WORD wDayOfWeek; ///< 0 is Sunday
    WORD wDay;       ///< 1 to 31
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

/// 100-nanosecond counts since 1601-01-01, in two halves.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

/// Milliseconds on the installed clock; wraps to 0 after 49.7 days.
ZRT_PLATFORM_API DWORD WINAPI GetTickCount() noexcept;

/// Suspends the calling thread for that many milliseconds of the installed clock; 0 gives up the
/// rest of the time slice.
ZRT_PLATFORM_API void WINAPI Sleep(DWORD milliseconds) noexcept;

/// The local date and time of the installed clock.
ZRT_PLATFORM_API void WINAPI GetLocalTime(SYSTEMTIME* time) noexcept;

/// Converts a calendar time, taken unchanged, to a count. The day of the week is ignored.
/// FALSE with last error 87 for fields that are not a date between 1601 and 30827.
ZRT_PLATFORM_API BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* fileTime) noexcept;

// ---------------------------------------------------------------------------------------------
// Events, mutexes, waits

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

/// A new event, or null with last error 8. Auto-reset events let one waiter through a signal; manual-reset
/// events let all through until reset. Names and security attributes are not served: both must be null
/// (last error 87). The caller closes the handle with CloseHandle.
ZRT_PLATFORM_API HANDLE WINAPI CreateEventW(SECURITY_ATTRIBUTES* attributes, BOOL manualReset,
                                            BOOL initiallySet, LPCWSTR name) noexcept;
/// FALSE with last error 6 for a handle that is not an event.
ZRT_PLATFORM_API BOOL WINAPI SetEvent(HANDLE event) noexcept;
ZRT_PLATFORM_API BOOL WINAPI ResetEvent(HANDLE event) noexcept;

/// A new mutex, or null with last error 8; as CreateEventW.
ZRT_PLATFORM_API HANDLE WINAPI CreateMutexW(SECURITY_ATTRIBUTES* attributes, BOOL initiallyOwned,
                                            LPCWSTR name) noexcept;
/// Releases one level of ownership; waiters get the mutex in FIFO order. FALSE with
/// last error 288 when the calling thread does not own it, 6 for a handle that is not a mutex.
ZRT_PLATFORM_API BOOL WINAPI ReleaseMutex(HANDLE mutex) noexcept;

/// Waits until handle is signalled or that many milliseconds of the installed clock have passed.
/// WAIT_OBJECT_0, WAIT_TIMEOUT, WAIT_ABANDONED (a mutex whose owner thread ended; the caller owns it
/// now), or WAIT_FAILED with last error 6 for a handle that is neither event nor mutex. A mutex may be
/// taken again by its owner, and is to be released as often.
ZRT_PLATFORM_API DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept;

/// Closes an event or a mutex; threads waiting on it keep waiting. FALSE with last error 6 for any other
/// handle.
ZRT_PLATFORM_API BOOL WINAPI CloseHandle(HANDLE handle) noexcept;

/// A recursive lock of one process; not a handle. Threads get it in FIFO order. Leaving one
/// that the calling thread does not own does nothing. Its fields are the layer's own.
struct CRITICAL_SECTION {
    uint64_t owner;   ///< thread number of the owner, 0 when free
    uint32_t depth;   ///< how often the owner has entered
    uint32_t waiting; ///< threads that wait for it
};

ZRT_PLATFORM_API void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section) noexcept;
ZRT_PLATFORM_API void WINAPI EnterCriticalSection(CRITICAL_SECTION* section) noexcept;
ZRT_PLATFORM_API void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section) noexcept;
ZRT_PLATFORM_API void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section) noexcept;

// ---------------------------------------------------------------------------------------------
// Memory

inline constexpr UINT GMEM_FIXED = 0x0000;
inline constexpr UINT GMEM_ZEROINIT = 0x0040;
inline constexpr UINT GPTR = GMEM_FIXED | GMEM_ZEROINIT;

/// A block of fixed memory, aligned for any type; null with last error 8.
ZRT_PLATFORM_API HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T sizeBytes) noexcept;
/// A null block is ignored. Returns null.
ZRT_PLATFORM_API HGLOBAL WINAPI GlobalFree(HGLOBAL block) noexcept;

// ---------------------------------------------------------------------------------------------
// Text

/// Compares case-insensitively, where letters are those of the program's locale; below 0, 0 or
/// above 0. Null sorts before all text.
ZRT_PLATFORM_API int WINAPI lstrcmpiW(LPCWSTR left, LPCWSTR right) noexcept;
/// Copies at most capacity - 1 characters and terminates; returns destination, or null for a null
/// argument or a capacity below 1.
ZRT_PLATFORM_API LPWSTR WINAPI lstrcpynW(LPWSTR destination, LPCWSTR source, int capacity) noexcept;

// ---------------------------------------------------------------------------------------------
// Version

struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    char16_t szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};

inline constexpr DWORD VER_MINORVERSION = 0x1;
inline constexpr DWORD VER_MAJORVERSION = 0x2;
inline constexpr BYTE VER_EQUAL = 1;

/// The mask with one more condition in it.
ZRT_PLATFORM_API ULONGLONG WINAPI VerSetConditionMask(ULONGLONG mask, DWORD typeMask,
                                                      BYTE condition) noexcept;
/// Compares the system's version with the one given, for equality of the major and minor version
/// only. FALSE with last error 1150 when it differs, 87 for other types or conditions.
ZRT_PLATFORM_API BOOL WINAPI VerifyVersionInfoW(OSVERSIONINFOEXW* version, DWORD typeMask,
                                                DWORDLONG conditionMask) noexcept;

// ---------------------------------------------------------------------------------------------
// Library attachment

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;

/// Thread notifications do not exist here: returns TRUE and does nothing.
ZRT_PLATFORM_API BOOL WINAPI DisableThreadLibraryCalls(HMODULE module) noexcept;

using FARPROC = intptr_t(WINAPI*)();

/// Loads a shared library and calls its `DllMain`, where it has one, with DLL_PROCESS_ATTACH. Null with last
/// error 126 when it cannot be loaded, 1114 when its DllMain refuses. Released with FreeLibrary, which
/// calls DllMain with DLL_PROCESS_DETACH. A library loaded twice is attached once, and freed as often. One
/// DllMain runs at a time.
ZRT_PLATFORM_API HMODULE WINAPI LoadLibraryW(LPCWSTR path) noexcept;
/// FALSE with last error 6 for a handle that is not a loaded library.
ZRT_PLATFORM_API BOOL WINAPI FreeLibrary(HMODULE module) noexcept;
/// Null with last error 127 for a name that the library does not export, 6 if module is not one.
ZRT_PLATFORM_API FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) noexcept;

// ---------------------------------------------------------------------------------------------
// Printers: handles, named values, job queue

inline constexpr DWORD PRINTER_ACCESS_ADMINISTER = 0x4;
inline constexpr DWORD PRINTER_ACCESS_USE = 0x8;
inline constexpr DWORD PRINTER_ATTRIBUTE_WORK_OFFLINE = 0x400;
inline constexpr DWORD PRINTER_ATTRIBUTE_ENABLE_BIDI = 0x800;
inline constexpr DWORD PRINTER_STATUS_PAUSED = 0x1;
inline constexpr DWORD PRINTER_STATUS_ERROR = 0x2;
inline constexpr DWORD PRINTER_STATUS_PENDING_DELETION = 0x4;
inline constexpr DWORD PRINTER_STATUS_PAPER_JAM = 0x8;
inline constexpr DWORD PRINTER_STATUS_PAPER_OUT = 0x10;
inline constexpr DWORD PRINTER_STATUS_OFFLINE = 0x80;
inline constexpr DWORD PRINTER_STATUS_BUSY = 0x200;
inline constexpr DWORD PRINTER_STATUS_PRINTING = 0x400;
inline constexpr DWORD PRINTER_STATUS_NOT_AVAILABLE = 0x1000;
inline constexpr DWORD PRINTER_STATUS_USER_INTERVENTION = 0x100000;
inline constexpr DWORD PRINTER_STATUS_DOOR_OPEN = 0x400000;
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;

struct DEVMODEW;

struct PRINTER_DEFAULTSW {
    LPWSTR pDatatype;
    DEVMODEW* pDevMode;
    ACCESS_MASK DesiredAccess;
};

/// Opens a printer. Without defaults, or where they ask for no right of a printer, the access is
/// PRINTER_ACCESS_USE. FALSE with last error 1801
/// (no such printer), 5 (the access is not granted), 8, 87. The caller closes the handle with
/// ClosePrinter.
ZRT_PLATFORM_API BOOL WINAPI OpenPrinterW(LPWSTR printerName, LPHANDLE printer, PRINTER_DEFAULTSW* defaults);
/// FALSE with last error 6 for a handle that is not open.
ZRT_PLATFORM_API BOOL WINAPI ClosePrinter(HANDLE printer);

/// Reads a named value; names compare case-insensitively. Returns a Win32 error code: 0,
/// 2 (no such value), 6, 87 (no name, no place for the size), 234 (the buffer is too small or null). The size
/// of the value goes to *sizeNeeded, and its type to *type where type is not null, with results 0 and 234.
ZRT_PLATFORM_API DWORD WINAPI GetPrinterDataW(HANDLE printer, LPWSTR valueName, LPDWORD type, LPBYTE data,
                                              DWORD size, LPDWORD sizeNeeded);
/// Stores a named value. Returns 0, 5 (the handle has no PRINTER_ACCESS_ADMINISTER), 6, 8, 87.
ZRT_PLATFORM_API DWORD WINAPI SetPrinterDataW(HANDLE printer, LPWSTR valueName, DWORD type, LPBYTE data,
                                              DWORD size);
/// Removes a named value. Returns 0, 2 (no such value), 5, 6, 87.
ZRT_PLATFORM_API DWORD WINAPI DeletePrinterDataW(HANDLE printer, LPWSTR valueName);

inline constexpr DWORD JOB_STATUS_PAUSED = 0x1;
inline constexpr DWORD JOB_STATUS_ERROR = 0x2;
inline constexpr DWORD JOB_STATUS_DELETING = 0x4;
inline constexpr DWORD JOB_STATUS_SPOOLING = 0x8;
inline constexpr DWORD JOB_STATUS_PRINTING = 0x10;
inline constexpr DWORD JOB_STATUS_OFFLINE = 0x20;
inline constexpr DWORD JOB_STATUS_PAPEROUT = 0x40;
inline constexpr DWORD JOB_STATUS_PRINTED = 0x80;
inline constexpr DWORD JOB_STATUS_DELETED = 0x100;
inline constexpr DWORD JOB_STATUS_BLOCKED_DEVQ = 0x200;
inline constexpr DWORD JOB_STATUS_USER_INTERVENTION = 0x400;
inline constexpr DWORD JOB_STATUS_RESTART = 0x800;
inline constexpr DWORD JOB_STATUS_COMPLETE = 0x1000;

inline constexpr DWORD JOB_CONTROL_PAUSE = 1;
inline constexpr DWORD JOB_CONTROL_RESUME = 2;
inline constexpr DWORD JOB_CONTROL_CANCEL = 3;
inline constexpr DWORD JOB_CONTROL_DELETE = 5;
inline constexpr DWORD JOB_CONTROL_SENT_TO_PRINTER = 6;

struct JOB_INFO_1W {
    DWORD JobId;
    LPWSTR pPrinterName;
    LPWSTR pMachineName;
    LPWSTR pUserName;
    LPWSTR pDocument;
    LPWSTR pDatatype;
    LPWSTR pStatus;
    DWORD Status;
    DWORD Priority;
    DWORD Position;
    DWORD TotalPages;
    DWORD PagesPrinted;
    SYSTEMTIME Submitted; ///< local time here
};

/// The queue's jobs from position firstJob (0 is the next to print), at most count, as JOB_INFO_1W
/// records (level 1 only, else last error 124) followed by their texts in the buffer. FALSE with
/// last error 122 and the size in *sizeNeeded when the buffer is too small; 6, 87.
ZRT_PLATFORM_API BOOL WINAPI EnumJobsW(HANDLE printer, DWORD firstJob, DWORD count, DWORD level, LPBYTE jobs,
                                       DWORD size, LPDWORD sizeNeeded, LPDWORD returned);
/// Applies a control to a job: JOB_CONTROL_DELETE and JOB_CONTROL_CANCEL mark it JOB_STATUS_DELETING, PAUSE
/// and RESUME set and clear JOB_STATUS_PAUSED, SENT_TO_PRINTER sets JOB_STATUS_PRINTED; 0 does nothing. Level
/// 0 without a record only. FALSE with last error 6 (no printer), 87 (no such job, level or control).
ZRT_PLATFORM_API BOOL WINAPI SetJobW(HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD control);

// ---------------------------------------------------------------------------------------------
// Print monitors

inline constexpr DWORD DI_CHANNEL = 1;

struct DOC_INFO_1W {
    LPWSTR pDocName;
    LPWSTR pOutputFile;
    LPWSTR pDatatype;
};

struct DOC_INFO_2W {
    LPWSTR pDocName;
    LPWSTR pOutputFile;
    LPWSTR pDatatype;
    DWORD dwMode;
    DWORD JobId;
};

struct BIDI_REQUEST_CONTAINER;
struct BIDI_RESPONSE_CONTAINER;

struct MONITORREG;

/// What the spooler hands to a monitor at load. Only its address is used.
struct MONITORINIT {
    DWORD cbSize;
    HANDLE hSpooler;
    HANDLE hckRegistryRoot;
    MONITORREG* pMonitorReg;
    BOOL bLocal;
    LPCWSTR pszServerName;
};

/// The entry points of a print monitor, up to and including the bidi entry of version 5.1 and later.
struct MONITOR2 {
    DWORD cbSize; ///< bytes of the table, this member included; shows which members exist
    BOOL(WINAPI* pfnEnumPorts)
    (HANDLE monitor, LPWSTR name, DWORD level, LPBYTE ports, DWORD size, LPDWORD sizeNeeded,
     LPDWORD returned);
    BOOL(WINAPI* pfnOpenPort)(HANDLE monitor, LPWSTR name, PHANDLE port);
    BOOL(WINAPI* pfnOpenPortEx)
    (HANDLE monitor, HANDLE lowerMonitor, LPWSTR portName, LPWSTR printerName, PHANDLE port,
     MONITOR2* lowerTable);
    BOOL(WINAPI* pfnStartDocPort)(HANDLE port, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo);
    BOOL(WINAPI* pfnWritePort)(HANDLE port, LPBYTE data, DWORD size, LPDWORD written);
    BOOL(WINAPI* pfnReadPort)(HANDLE port, LPBYTE buffer, DWORD size, LPDWORD read);
    BOOL(WINAPI* pfnEndDocPort)(HANDLE port);
    BOOL(WINAPI* pfnClosePort)(HANDLE port);
    BOOL(WINAPI* pfnAddPort)(HANDLE monitor, LPWSTR name, HWND window, LPWSTR monitorName);
    BOOL(WINAPI* pfnAddPortEx)(HANDLE monitor, LPWSTR name, DWORD level, LPBYTE buffer, LPWSTR monitorName);
    BOOL(WINAPI* pfnConfigurePort)(HANDLE monitor, LPWSTR name, HWND window, LPWSTR portName);
    BOOL(WINAPI* pfnDeletePort)(HANDLE monitor, LPWSTR name, HWND window, LPWSTR portName);
    BOOL(WINAPI* pfnGetPrinterDataFromPort)
    (HANDLE port, DWORD controlId, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
     DWORD outputSize, LPDWORD returned);
    BOOL(WINAPI* pfnSetPortTimeOuts)(HANDLE port, COMMTIMEOUTS* timeouts, DWORD reserved);
    BOOL(WINAPI* pfnXcvOpenPort)(HANDLE monitor, LPCWSTR object, ACCESS_MASK access, PHANDLE xcv);
    DWORD(WINAPI* pfnXcvDataPort)
    (HANDLE xcv, LPCWSTR dataName, PBYTE input, DWORD inputSize, PBYTE output, DWORD outputSize,
     PDWORD outputNeeded);
    BOOL(WINAPI* pfnXcvClosePort)(HANDLE xcv);
    void(WINAPI* pfnShutdown)(HANDLE monitor);
    DWORD(WINAPI* pfnSendRecvBidiDataFromPort)
    (HANDLE port, DWORD accessBit, LPCWSTR action, BIDI_REQUEST_CONTAINER* request,
     BIDI_RESPONSE_CONTAINER** response);
};
