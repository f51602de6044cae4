#pragma once

namespace zrtmon {

/// The category that a printer's error code belongs to: what an application shows or does about it. Category
/// 1 means that there is no error, and is also used for codes that are not in the table.
struct ErrorCategory {
    int errorCode;
    int category;
};

/// The table's row for a code, or null.
const ErrorCategory* FindErrorCategory(int errorCode);

} // namespace zrtmon
