#include "simulator/command_spotter.h"

#include <cstring>
#include <string_view>

#include "simulator/host_commands.h"

namespace zrtmon::sim {

size_t CCommandSpotter::Advance(const uint8_t* data, size_t size)
{
    m_found = false;
    size_t done = 0;
    while (done < size && !m_found) {
        if (m_matched > 0) {
            Match(data[done++]);
            continue;
        }
        const void* esc = std::memchr(data + done, kEsc, size - done);
        const size_t plain =
            esc ? static_cast<size_t>(static_cast<const uint8_t*>(esc) - (data + done)) : size - done;
        NoteZeros(data + done, plain);
        done += plain;
        if (esc) {
            Match(data[done++]);
        }
    }
    return done;
}

void CCommandSpotter::NoteZeros(const uint8_t* data, size_t size)
{
    size_t trailing = 0;
    while (trailing < size && data[size - 1 - trailing] == 0) {
        ++trailing;
    }
    m_zeros = trailing == size ? m_zeros + size : trailing;
}

void CCommandSpotter::Match(uint8_t byte)
{
    if (!Fits(byte)) {
        m_matched = 0;
    }
    if (m_matched == 0 && byte == kEsc) {
        m_zerosBefore = m_zeros;
        m_matched = 1;
    } else if (m_matched > 0) {
        ++m_matched;
    }
    m_zeros = byte == 0 ? m_zeros + 1 : 0;
    if (m_matched == kPatternBytes - 1) {
        m_letters[0] = static_cast<char>(byte);
    } else if (m_matched == kPatternBytes) {
        m_letters[1] = static_cast<char>(byte);
        m_found = true;
        m_matched = 0;
    }
}

bool CCommandSpotter::Fits(uint8_t byte) const
{
    if (m_matched < std::size(kPrefix)) {
        return m_matched > 0 && byte == kPrefix[m_matched];
    }
    if (m_matched == std::size(kPrefix)) {
        return byte == 'N' || byte == 'X';
    }
    return IsPattern(static_cast<char>(byte));
}

bool CCommandSpotter::IsPattern(char second) const
{
    if (m_letters[0] == 'X') {
        return second == 'C' && m_zerosBefore >= kCancelLead;
    }
    const char mnemonic[] = {m_letters[0], second};
    bool possible = false;
    return FindHostCommand(std::string_view(mnemonic, std::size(mnemonic)), &possible) != nullptr;
}

} // namespace zrtmon::sim
