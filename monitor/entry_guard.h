#pragma once

#include <new>

#include "platform/win32.h"

namespace zrtmon {

/// Runs the body of an entry point and catches what it throws, because an exception that leaves the library
/// ends the spooler. The result is then `failure`, with last error 8 if memory was exhausted, else 31.
template <typename Result, typename Body>
Result GuardEntry(Result failure, Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    } catch (...) {
        SetLastError(ERROR_GEN_FAILURE);
    }
    return failure;
}

} // namespace zrtmon
