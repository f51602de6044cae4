#pragma once

namespace zrtmon {

/// The category of a printer's error code, from which an application decides what to show and do. Category 1
/// means "no error" and also stands for codes that the table does not list.
struct ErrorCategory {
    int errorCode;
    int category;
};

/// The table's row for a code, or null.
const ErrorCategory* FindErrorCategory(int errorCode);

} // namespace zrtmon
