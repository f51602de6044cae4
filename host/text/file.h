/// Files that the user names.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zrtmon::host {

/// The path that the user wrote, as UTF-8.
std::filesystem::path PathFromUtf8(std::string_view text);
/// A path as it is shown in a message.
std::string DisplayPath(const std::filesystem::path& path);
/// A path as the spooler's functions take it.
std::wstring WidePath(const std::filesystem::path& path);

/// The bytes of a file. Throws CHostError (NoInput) when it cannot be read.
std::string ReadWholeFile(const std::filesystem::path& path);

/// Writes a file so that it holds all the bytes or is as it was before. Throws CHostError (CannotCreate).
void WriteWholeFile(const std::filesystem::path& path, std::string_view bytes);

} // namespace zrtmon::host
