/// What the monitor publishes in the printer's data.
#pragma once

#include <optional>

namespace zrtmon::host {

/// Each is std::nullopt if it has not been published.
struct CPublishedValues {
    std::optional<int> printerStatus;
    std::optional<int> printerError; ///< a category
    std::optional<int> deviceError;
    std::optional<int> cardCount; ///< of the printer's life

    bool operator==(const CPublishedValues&) const = default;
};

} // namespace zrtmon::host
