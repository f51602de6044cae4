/// The bytes of a job.
#pragma once

#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>
#include <span>
#include <string>

namespace zrtmon::host {

/// A file that is read as it is printed, so that its size does not matter.
class CJobSource {
public:
    /// Throws CHostError: NoInput for a file that cannot be read, BadData for one that is empty.
    explicit CJobSource(std::filesystem::path path);

    const std::filesystem::path& Path() const { return m_path; }
    uint64_t TotalBytes() const { return m_totalBytes; }

    /// The next bytes, at most so many; empty at the end. They stay where they are until they have been
    /// taken. Throws CHostError (NoInput) if they cannot be read.
    std::span<char> Piece(uint32_t mostBytes);
    /// Moves past the first of those bytes.
    void Take(size_t bytes) { m_taken += bytes; }

private:
    std::filesystem::path m_path;
    std::unique_ptr<std::istream> m_input;
    uint64_t m_totalBytes = 0;
    uint64_t m_readBytes = 0;
    std::string m_piece;
    size_t m_taken = 0; ///< of m_piece
};

} // namespace zrtmon::host
