#pragma once

#include <atomic>
#include <cstdint>

#include "link/packet_zrt.h"
#include "requests/data_print_job.h"

namespace zrtmon {

/// The job data of this printer family: packets with commands in their payload. The commands are followed so
/// that the data is cut between them, cards are counted and the end of the job is noticed.
class CDataPrintJobZRT final : public CDataPrintJob {
public:
    CDataPrintJobZRT();

    BOOL Prepare(const wchar_t* requestText) override;
    BOOL IsJobEnd() override { return m_scanState == ScanState::AfterJobEnd; }
    uint32_t ScanCommands(const uint8_t* data, uint32_t length) override;

    /// Scans of "C" commands since the document's start or the last "j"; a command that had to be scanned
    /// again counts again. Any thread.
    uint32_t GetCardCount() const { return m_cardCount; }

protected:
    bool IsBetweenCards() override { return m_releasedCardCommandCount % 2 == 0; }

private:
    enum class ScanState : uint32_t {
        CommandDue = 0,
        RecordBody = 1,
        RecordMarkerDue = 2,
        AfterJobStart = 3, ///< "J"; scans like CommandDue, and so do the next two
        AfterCardEnd = 4,  ///< "j"
        AfterJobEnd = 5,   ///< "X" "Z"
    };
    /// The bytes of one scan.
    struct Piece {
        const uint8_t* data;
        uint32_t length;     ///< shortened by a command that ends the piece
        uint32_t packetLeft; ///< payload bytes left in the packet when the scan began
    };

    uint32_t RecordRest(const Piece& piece) const;
    // Each returns the position just past the unit that begins at a position, or that position itself if the
    // unit is incomplete.
    uint32_t ScanUnit(Piece& piece, uint32_t position);
    uint32_t ScanCommand(Piece& piece, uint32_t position);
    uint32_t ScanCard(const Piece& piece, uint32_t position);
    uint32_t ScanEndOrOther(const Piece& piece, uint32_t position);
    uint32_t ScanMessage(const Piece& piece, uint32_t position);

    CPacketZRT m_packetParser;
    std::atomic<uint32_t> m_cardCount{0};
    ScanState m_scanState = ScanState::CommandDue;
    /// As m_cardCount, but each "C" is counted once, when it is released: decides whether what has been sent
    /// ends between two cards.
    uint32_t m_releasedCardCommandCount = 0;
    bool m_isFirstRecordDue = false; ///< RecordMarkerDue follows a "C" command, not a record
};

} // namespace zrtmon
