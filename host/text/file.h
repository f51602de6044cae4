/// Files named by the user.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zrtmon::host {

/// The path that the user wrote, as UTF-8.
std::filesystem::path PathFromUtf8(std::string_view text);
/// The path for a message.
std::string DisplayPath(const std::filesystem::path& path);
/// The path for the spooler's functions.
std::wstring WidePath(const std::filesystem::path& path);

/// The bytes of a file. Throws CHostError (NoInput) if it cannot be read.
std::string ReadWholeFile(const std::filesystem::path& path);

/// Throws CHostError (NoInput) if a file cannot be opened for reading.
void RequireReadable(const std::filesystem::path& path);

/// Writes a file atomically: after a failure it is as it was before. Throws CHostError (CannotCreate).
void WriteWholeFile(const std::filesystem::path& path, std::string_view bytes);

} // namespace zrtmon::host
