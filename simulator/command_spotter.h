/// Finds host commands anywhere in the stream, whatever the bytes around them mean.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zrtmon::sim {

/// Reads the stream before the parser and stops after each query ("N" and a letter) and each cancel
/// command preceded by a run of zero bytes. The parser then knows whether it took those bytes for the
/// same thing.
class CCommandSpotter {
public:
    static constexpr size_t kPatternBytes = 5;
    static constexpr uint64_t kCancelLead = 512; ///< zero bytes before a cancel command

    /// Reads up to the end of the next pattern, or all; returns the bytes read.
    size_t Advance(const uint8_t* data, size_t size);
    /// Whether the last Advance stopped after a pattern; it began kPatternBytes earlier.
    bool Found() const { return m_found; }
    bool IsCancel() const { return m_letters[0] == 'X'; }
    /// The two letters of the pattern found.
    const std::array<char, 2>& Letters() const { return m_letters; }

private:
    void NoteZeros(const uint8_t* data, size_t size);
    void Match(uint8_t byte);
    bool Fits(uint8_t byte) const;
    bool IsPattern(char second) const;

    uint64_t m_zeros = 0;       ///< zero bytes at the end of what was read
    uint64_t m_zerosBefore = 0; ///< directly before the last ESC
    size_t m_matched = 0;       ///< bytes of a pattern at the end of what was read
    std::array<char, 2> m_letters{};
    bool m_found = false;
};

} // namespace zrtmon::sim
