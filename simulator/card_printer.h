/// A card printer in software: it takes the bytes that the host writes to the port, prints cards, and has
/// replies ready. It reads the wire by its own rules and keeps a list of what the host did wrong.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/printer_options.h"
#include "simulator/printer_view.h"

namespace zrtmon::sim {

/// The printer. Its time is GetTickCount: it makes no thread and never sleeps, and catches up with the time
/// passed whenever it is called. Every operation may be called from any thread; std::bad_alloc may leave
/// them.
///
/// Input. Outside job data it carries out host commands; job data is packets (ESC '_', two bytes, a
/// big-endian 32-bit length, the payload) or, when it does not begin like that, raw data up to the end of the
/// job or of the document. Bytes may arrive cut anywhere; only a host command inside a packet must arrive
/// in a transfer of host commands only, between two commands, and PrinterOptions::interleave limits which
/// ones are accepted.
///
/// Cards. Each "j" in the job data is a card to print; it takes card-ms. With password protection on, cards
/// wait until a password validates the job, and are dropped if the job ends before; the validation ends with
/// the job.
class CCardPrinter {
public:
    explicit CCardPrinter(const PrinterOptions& options = {});
    ~CCardPrinter();
    CCardPrinter(const CCardPrinter&) = delete;
    CCardPrinter& operator=(const CCardPrinter&) = delete;

    /// The host's bytes, in order; one transfer a call (see Interleave).
    void Receive(const uint8_t* data, size_t size);
    /// Copies at most size bytes of the oldest reply that is ready, and returns how many; 0 if none is.
    /// Never copies from two replies at once.
    size_t TakeReply(uint8_t* buffer, size_t size);
    /// Whether replies are on their way, ready or not.
    bool HasReplies();
    /// Drops them: nobody reads them any more.
    void DropReplies();
    /// The host has ended a document: raw data ends, and a packet that is not complete is a violation and
    /// is dropped.
    void EndDocument();
    /// The IEEE 1284 device-ID text, without a length in front.
    std::string DeviceId() const;

    /// The printer as it is now.
    PrinterView View();
    /// The host commands carried out, in order, the first 4096.
    std::vector<CommandSeen> Commands();
    /// From now on keeps the job data that it receives (packets with their headers, raw data), for JobBytes.
    void KeepJob(bool keep = true);
    /// The job data kept so far.
    std::vector<uint8_t> JobBytes();

    /// Reports this error code from now on (0: none); cards wait meanwhile. It clears automatically after
    /// clearMs, or stays when that is 0.
    void SetError(int32_t code, uint32_t clearMs = 0);
    void ClearError();
    /// Reports the error when that card (1 is the first since the printer was made) is due. One plan at a
    /// time; card 0 takes it back.
    void FailAtCard(uint32_t card, int32_t code, uint32_t clearMs = 0);
    /// Reports this print state whatever it does; std::nullopt: its own again.
    void SetPrintState(std::optional<int32_t> state);
    /// Reports busy or not whatever it does; std::nullopt: its own again.
    void SetBusy(std::optional<bool> busy);
    void SetTracks(const std::string& track1, const std::string& track2, const std::string& track3);
    void SetRibbon(uint32_t percent);
    void SetModules(bool mag, bool flipper);
    /// bay is 1 or 2.
    void SetBay(uint32_t bay, uint32_t station, uint32_t state);
    /// Replaces the whole device-ID text.
    void SetDeviceId(const std::string& text);

    void SetProtection(bool on);
    void SetValidated(bool validated);
    void SetOemSupplies(bool enabled);
    void SetPasswords(const std::string& admin, const std::string& user);

    /// While set, commands are carried out and not replied to.
    void NeverAnswer(bool never = true);
    /// Bytes that precede every reply from now on; may be empty.
    void ReplyNoise(const std::string& text);
    /// Replies come in pieces of at most pieceBytes, each gapMs after the one before; 0: whole.
    void CutReplies(uint32_t pieceBytes, uint32_t gapMs = 0);
    /// From a command to its reply, milliseconds.
    void SetReplyDelay(uint32_t replyMs);
    /// Replies to a host command with exactly these bytes (empty: with nothing), also to one that has no
    /// reply of its own. Noise, delay and cutting apply.
    void SetReply(const std::string& mnemonic, const std::string& bytes);
    /// Its own reply again.
    void ClearReply(const std::string& mnemonic);

private:
    struct State;
    class CAccess;

    std::unique_ptr<State> m_state;
};

} // namespace zrtmon::sim
