/// Moments of the local time zone, as seconds since 1970.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zrtmon::host {

/// The present moment.
int64_t Now();

/// "2026-11-23", "2026-11-23T14:05" (or with a blank, or with seconds), or a span before now: "90m", "12h",
/// "7d". std::nullopt for any other text. One thread at a time.
std::optional<int64_t> MomentFromText(const std::string& text);

/// "2026-11-23 14:05:11". One thread at a time.
std::string MomentText(int64_t moment);

} // namespace zrtmon::host
