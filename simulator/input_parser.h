/// Distinguishes host commands, packets and job commands in the bytes that reach the printer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/command_spotter.h"
#include "simulator/host_commands.h"
#include "simulator/printer_options.h"

namespace zrtmon::sim {

/// What the parser finds, reported in the order of the bytes.
class IInputEvents {
public:
    virtual ~IInputEvents() = default;
    /// A host command, complete; parameters are borrowed for the call.
    virtual void OnHostCommand(std::string_view mnemonic, std::string_view parameters, uint64_t offset) = 0;
    /// A cancel command, wherever it was.
    virtual void OnCancel(uint64_t offset) = 0;
    /// The bytes from that offset on were the zero bytes before a cancel command: what was reported of them
    /// is void.
    virtual void OnCancelLead(uint64_t offset) = 0;
    /// "C", "J", "j", "m", 'Z' for the end of the job, or another letter of the job data.
    virtual void OnJobCommand(char letter) = 0;
    virtual void OnPacket() = 0;
    virtual void OnRecord() = 0;
    /// Bytes of job data; framed says whether they belong to a packet (its header included).
    virtual void OnJobData(const uint8_t* data, size_t size, bool framed) = 0;
    virtual void OnViolation(uint64_t offset, const std::string& text) = 0;
};

/// The parser. It does not matter how the stream is cut into transfers, except for a host command inside a
/// packet, which must come in a transfer of host commands only.
class CInputParser {
public:
    /// events is borrowed for the parser's life.
    explicit CInputParser(IInputEvents& events, Interleave interleave = Interleave::Packets)
        : m_events(events), m_interleave(interleave)
    {
    }

    /// The bytes of one transfer.
    void Feed(const uint8_t* data, size_t size);
    /// No more bytes of this document come: what is incomplete is given up.
    void EndDocument();

    uint64_t Offset() const { return m_offset; }
    /// Payload bytes, or the rest of a header, are still to come.
    bool IsInsidePacket() const { return m_payloadLeft > 0 || IsHeader(); }

private:
    enum class Mode { Idle, Framed, Raw };                       ///< kind of the job data of this job
    enum class Expect { Command, Marker, CardParameters, Body }; ///< next in a payload

    bool IsHeader() const { return m_held.size() >= 2 && m_held[1] == '_'; }
    bool IsInterleavedCommand(std::string_view transfer) const;
    void Parse(const uint8_t* data, size_t size);
    void CheckPattern();
    void Cancel(uint64_t offset);
    void Reset();

    size_t TakeOutside(const uint8_t* data, size_t size);
    void TakeByte(uint8_t byte);
    void TakeHeader();
    void TakeMnemonic(uint8_t byte);
    void TakeParameter();
    void CarryOut();
    void CarryOutJobCommand(const std::string& bytes, uint64_t start);
    void GiveUp(uint8_t lastByte);
    void TakeRaw(const uint8_t* data, size_t size, uint64_t start);
    void SettleFiller(bool isRaw, uint64_t start);

    size_t TakePayload(const uint8_t* data, size_t size);
    size_t TakeBody(size_t size);
    void TakeUnit(uint8_t byte);
    size_t UnitBytes() const;
    void FinishUnit();
    void RefuseUnit(uint8_t byte);

    IInputEvents& m_events;
    const Interleave m_interleave;
    CCommandSpotter m_watch;
    uint64_t m_offset = 0; ///< of the byte being read
    Mode m_mode = Mode::Idle;

    // Outside packets.
    std::string m_held; ///< bytes from the ESC of a command or packet header that is not complete
    const HostCommand* m_command = nullptr; ///< set while its parameters come
    uint64_t m_lastCommand = UINT64_MAX;    ///< offset of the last host command carried out
    uint64_t m_filler = 0;                  ///< zero bytes that may precede a cancel
    bool m_strayRaw = false;                ///< inside a run of stray bytes, reported at its start

    // In a packet's payload.
    uint32_t m_payloadLeft = 0;
    bool m_isInterleaved = false; ///< the bytes of this transfer are a host command instead
    Expect m_expect = Expect::Command;
    std::string m_unit; ///< bytes of a job command that is not complete
    size_t m_bodyLeft = 0;
    bool m_strayUnit = false; ///< as m_strayRaw
};

} // namespace zrtmon::sim
