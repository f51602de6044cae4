#pragma once

#include <atomic>
#include <cstdint>

#include "link/packet.h"
#include "requests/data.h"

namespace zrtmon {

/// The job data of a document on its way to the printer, as a request whose command bytes are that data.
///
/// It takes over one of the spooler's buffers at a time, decides how much of it may be sent now (complete
/// packet headers and complete commands), points at those bytes without copying them, and holds back an
/// incomplete piece of at most 1024 bytes until the rest arrives. The bytes are never changed.
///
/// Cycle for each buffer: SetReply takes it over; the device link runs the request until nothing is
/// pending; TakeAcceptedCount is the number of the caller's bytes that are done. The caller offers the same
/// bytes again meanwhile, since the pending bytes are the caller's (see Reoffer).
///
/// Driven by the document's thread. Query threads read IsPacketDone and SentDataEndsAtBoundary.
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
    /// Takes over job data; ignored while the previous buffer is not done. Always TRUE. The bytes are
    /// borrowed until TakeAcceptedCount or the next Prepare or Reoffer.
    BOOL SetReply(const char* data, uint32_t length) override;

    /// The scanner is not inside a packet.
    virtual BOOL IsPacketDone() { return m_packet->m_payloadLength == 0; }
    /// The number of bytes of the caller's buffer that are done; 0 while some are still pending. Called once
    /// for each buffer.
    virtual uint32_t TakeAcceptedCount();
    /// Makes the bytes that are held back pending, for the end of a document. A piece that was taken over and
    /// not sent is dropped, in the caller's buffer and in this object's; so are held bytes that follow a
    /// dropped piece.
    virtual void UseBufferedData();
    /// The end-of-job command was the last command scanned.
    virtual BOOL IsJobEnd() { return FALSE; }
    /// How many bytes from the start of data may be sent to the printer now.
    virtual uint32_t FilterData(const uint8_t* data, uint32_t length);
    /// How many bytes from the start of a payload form complete units.
    virtual uint32_t ScanCommands(const uint8_t* data, uint32_t length);

    /// The buffer that the caller offers again now. If it lies at another address than the one taken over,
    /// the pending range moves with it, and shrinks if it is shorter: the old address may be invalid.
    void Reoffer(const uint8_t* data, uint32_t length);

    /// Ends the document's data: forgets a buffer that was not sent completely, which its caller will not
    /// offer again, and what was held back. No byte follows, so SentDataEndsAtBoundary is true from now on.
    /// What has been scanned stays scanned.
    void DropBuffer();

    /// How many of the pending bytes complete a unit whose beginning has been sent: a command there would
    /// become part of it. 0 if what has been sent ends at a unit. Document's thread.
    uint32_t GetUnitRest() const { return m_unitRest; }

    bool HasPending() const { return m_pendingLength > 0; }
    uint32_t GetPendingLength() const { return m_pendingLength; }
    bool HasSentForBuffer() const { return m_sentLength > 0; }
    bool IsCardSeen() const { return m_cardSeen; }

    /// The bytes sent to the printer end where a packet and a card end, or no more of them will follow.
    /// Unlike the scanner's state it is never ahead of the printer. Any thread.
    bool SentDataEndsAtBoundary() const { return m_sentAtBoundary; }

protected:
    /// The scanner is between two cards. Document's thread.
    virtual bool IsBetweenCards() { return true; }
    void MarkCardSeen() { m_cardSeen = true; }
    /// Called by ScanCommands: the first count bytes of what it returns complete a unit.
    void SetUnitRest(uint32_t count) { m_unitRest = count; }

private:
    static constexpr uint32_t kBufferSize = 1024;
    enum class Framing : uint32_t { Unknown = 0, Packets = 1, None = 2 };

    bool IsPendingHeldHere() const;
    void TakeFromCaller(const uint8_t* data, uint32_t length);
    void TakeAfterHeldBytes(const uint8_t* data, uint32_t length);

    CPacket* m_packet;
    const uint8_t* m_pending = nullptr;
    uint32_t m_pendingLength = 0;
    uint8_t m_buffer[kBufferSize] = {};
    uint32_t m_bufferedLength = 0; ///< held bytes: reported written, and not pending
    uint32_t m_accepted = 0;
    bool m_cardSeen = false;
    Framing m_packetState = Framing::Unknown;
    /// Where in m_buffer the held bytes begin: after pending ones, if fewer could be sent than were held;
    /// otherwise 0.
    uint32_t m_heldStart = 0;
    uint32_t m_unitRest = 0; ///< for the password gate, whose query may be sent inside a packet
    /// Read by query threads: the scanner may be ahead of what the printer has received.
    std::atomic<bool> m_sentAtBoundary{true};
};

/// The first bytes of a job's pending data as a separate request.
class CDataJobPart final : public CData {
public:
    /// job is borrowed for the object's life.
    CDataJobPart(CDataPrintJob& job, uint32_t length) : m_job(job), m_length(length) {}

    const uint8_t* GetCommand(uint32_t* length) override;
    uint32_t GetSendDelay() override { return 0; }
    void SetSentLength(uint32_t count) override { m_job.SetSentLength(count); }
    uint32_t GetReceiveMethod() override { return kReceiveNothing; }

private:
    CDataPrintJob& m_job;
    const uint32_t m_length;
};

} // namespace zrtmon
