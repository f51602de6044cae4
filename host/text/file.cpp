#include "host/text/file.h"

#include <fstream>
#include <iterator>

#include "host/exit_status.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

[[noreturn]] void RefuseInput(const std::filesystem::path& path, const std::string& why)
{
    throw CHostError(ExitStatus::NoInput, DisplayPath(path) + ": " + why);
}

[[noreturn]] void RefuseOutput(const std::filesystem::path& path, const std::error_code& error)
{
    const std::string why = error ? error.message() : "cannot be written to";
    throw CHostError(ExitStatus::CannotCreate, DisplayPath(path) + ": " + why);
}

std::ifstream OpenInput(const std::filesystem::path& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        RefuseInput(path, error ? error.message() : "no such file");
    }
    if (std::filesystem::is_directory(status)) {
        RefuseInput(path, "is a folder, not a file");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        RefuseInput(path, "cannot be opened for reading");
    }
    return file;
}

} // namespace

std::filesystem::path PathFromUtf8(std::string_view text) { return std::u8string(text.begin(), text.end()); }

std::string DisplayPath(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return PrintableInput(std::string(text.begin(), text.end()));
}

std::wstring WidePath(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return WideFromUtf8(std::string(text.begin(), text.end()));
}

std::string ReadWholeFile(const std::filesystem::path& path)
{
    std::ifstream file = OpenInput(path);
    std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (file.bad()) {
        RefuseInput(path, "a read error occurred");
    }
    return bytes;
}

void RequireReadable(const std::filesystem::path& path) { OpenInput(path); }

void WriteWholeFile(const std::filesystem::path& path, std::string_view bytes)
{
    std::error_code error;
    if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
        // A device or a pipe cannot be replaced, only written to.
        std::ofstream device(path, std::ios::binary);
        if (!device.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush()) {
            RefuseOutput(path, {});
        }
        return;
    }
    std::filesystem::path partial = path;
    partial += ".part";
    {
        std::ofstream file(partial, std::ios::binary);
        if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush()) {
            std::filesystem::remove(partial, error);
            RefuseOutput(path, {});
        }
    }
    std::filesystem::rename(partial, path, error);
    if (error) {
        const std::error_code reason = error;
        std::filesystem::remove(partial, error);
        RefuseOutput(path, reason);
    }
}

} // namespace zrtmon::host
