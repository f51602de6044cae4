#pragma once

#include <atomic>
#include <cstdint>

#include "link/packet.h"
#include "requests/data.h"

namespace zrtmon {

/// The job data of a document on its way to the printer, as a request whose command bytes are that data.
///
/// It takes over one buffer of the spooler at a time, decides how much of it may go now (whole packets
/// headers and whole commands), points at those bytes without copying them, and keeps an incomplete piece of
/// at most 1024 bytes until the rest has come. The bytes are never changed.
///
/// Cycle for each buffer: SetReply takes it over; the device link runs the request until nothing is
/// pending; TakeAcceptedCount tells how many of the caller's bytes are done. The caller offers the same
/// bytes again meanwhile, since the pending bytes are its own (see Reoffer).
///
/// Driven by the document's thread. Query threads read IsPacketDone and SentDataEndsAtBorder.
class CDataPrintJob : public CData {
public:
    /// packet is borrowed for the object's life.
    explicit CDataPrintJob(CPacket* packet) : m_packet(packet) {}

    const uint8_t* GetCommand(uint32_t* length) override;
    /// Starts a new document.
    BOOL Prepare(const wchar_t* requestText) override;
    uint32_t GetSendDelay() override { return 0; }
    void SetSentLength(uint32_t count) override;
    uint32_t GetReceiveMethod() override { return kReceiveNothing; }
    /// Takes over job data; ignored while the buffer before is not done. Always TRUE. The bytes are
    /// borrowed until TakeAcceptedCount or the next Prepare or Reoffer.
    BOOL SetReply(const char* data, uint32_t length) override;
    bool MaySendInParts() const override { return true; }

    /// No packet is half-way through the scanner.
    virtual BOOL IsPacketDone() { return m_packet->m_payloadLength == 0; }
    /// Bytes of the caller's buffer that are done; 0 while some are still pending. Asked once for each
    /// buffer.
    virtual uint32_t TakeAcceptedCount();
    /// Makes the bytes held back pending, for the end of a document. Bytes that point into the caller's
    /// buffer, which it no longer offers, are dropped: they were never reported as written.
    virtual void UseBufferedData();
    /// The end-of-job command was the last command scanned.
    virtual BOOL IsJobEnd() { return FALSE; }
    /// How many bytes from the start of data may go to the printer now.
    virtual uint32_t FilterData(const uint8_t* data, uint32_t length);
    /// How many bytes from the start of a payload form whole units.
    virtual uint32_t ScanCommands(const uint8_t* data, uint32_t length);

    /// The buffer that the caller offers again now. When it lies elsewhere than the one taken over, the
    /// pending range moves with it, and shrinks to it when it is shorter: the old address may be gone.
    void Reoffer(const uint8_t* data, uint32_t length);

    /// Forgets a buffer of which not all has gone: its caller will not offer it again. What has been scanned
    /// stays scanned, and a piece that is half sent leaves the printer inside it.
    void DropBuffer();

    bool HasPending() const { return m_pendingLength > 0; }
    uint32_t GetPendingLength() const { return m_pendingLength; }
    bool HasSentForBuffer() const { return m_sentLength > 0; }
    bool IsCardSeen() const { return m_cardSeen; }

    /// The bytes that have left for the printer end where a packet and a card end. Unlike the scanner's own
    /// state it is never ahead of the printer. Any thread.
    bool SentDataEndsAtBorder() const { return m_sentAtBorder; }

protected:
    /// The scanner stands between two cards. Document's thread.
    virtual bool IsBetweenCards() { return true; }

    CPacket* m_packet;
    bool m_cardSeen = false;

private:
    static constexpr uint32_t kBufferSize = 1024;
    enum class Framing { Unknown, Packets, None };

    bool IsPendingHeldHere() const;
    void TakeFromCaller(const uint8_t* data, uint32_t length);
    void TakeBehindHeldBytes(const uint8_t* data, uint32_t length);

    const uint8_t* m_pending = nullptr;
    uint32_t m_pendingLength = 0;
    uint8_t m_buffer[kBufferSize] = {};
    uint32_t m_heldStart = 0;      ///< where in m_buffer the held bytes begin; behind pending ones, else 0
    uint32_t m_bufferedLength = 0; ///< held bytes: reported written, and not pending
    uint32_t m_accepted = 0;
    Framing m_packetState = Framing::Unknown;
    bool m_endsInsideUnit = false; ///< what was held at the document's end has been made pending
    std::atomic<bool> m_sentAtBorder{true};
};

} // namespace zrtmon
