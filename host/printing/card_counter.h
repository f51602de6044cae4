/// Counts the cards of a job.
#pragma once

#include <cstdint>
#include <string_view>

#include "simulator/input_parser.h"

namespace zrtmon::host {

/// One job's bytes in order, however they are cut.
class CCardCounter final : private sim::IInputEvents {
public:
    void Add(std::string_view bytes)
    {
        m_parser.Feed(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    /// Orders to print a card so far.
    int Cards() const { return m_cards; }

private:
    void OnHostCommand(std::string_view, std::string_view, uint64_t) override {}
    void OnCancel(uint64_t) override {}
    void OnCancelLead(uint64_t) override {}
    void OnJobCommand(char letter) override { m_cards += letter == 'j' ? 1 : 0; }
    void OnPacket() override {}
    void OnRecord() override {}
    void OnJobData(const uint8_t*, size_t, bool) override {}
    void OnViolation(uint64_t, const std::string&) override {}

    sim::CInputParser m_parser{*this};
    int m_cards = 0;
};

} // namespace zrtmon::host
