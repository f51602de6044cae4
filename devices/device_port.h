/// A real device at the end of a port: what USB and network printers have in common.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "devices/device_name.h"
#include "platform/device_file.h"
#include "platform/sync.h"
#include "simulator/port_device.h"

namespace zrtmon::devices {

/// Opens its device for each document or channel, and closes it at the end, so that it is free for others in
/// between. A device that has failed stays failed until the end of the document or channel: calls fail at
/// once, and nothing reconnects, since a job that went on somewhere else would spoil cards.
///
/// Results: 0; 4319 the device cannot be opened; 5 not by this user; 29, 30 it fails when written or read; 31
/// outside a document, or after Abandon; 50 a control that it does not serve; 122 no room for the device ID.
/// The end of a document succeeds always: the port has to be free for the next one, and what failed is in
/// Failure.
class CDevicePort : public sim::IPortDevice {
public:
    /// Opening waits at most so long, milliseconds.
    static constexpr DWORD kOpenMs = 5000;
    /// A write that the device does not take returns after so long; the caller offers the rest again.
    static constexpr DWORD kWriteMs = 100;

    /// Opens nothing: the caller holds the lock on the list of ports.
    DWORD Open() override { return ERROR_SUCCESS; }
    void Close() override {}
    DWORD Start() override;
    DWORD End(bool wasChannel) override;
    DWORD Write(const BYTE* data, DWORD size, DWORD* count) override;
    DWORD Read(BYTE* buffer, DWORD size, DWORD* count) override;
    DWORD Control(DWORD code, const BYTE* input, DWORD inputSize, BYTE* output, DWORD outputSize,
                  DWORD* count) override;
    sim::CCardPrinter* Printer() override { return nullptr; }
    std::optional<sim::PortFailure> Failure() override;
    bool HasReplied() override { return m_hasReplied; }
    void Abandon() override { m_isAbandoned = true; }

protected:
    /// Everything that derived classes set up: what a port name says, and the most bytes of one write.
    CDevicePort(CDeviceName name, size_t mostWriteBytes);

    /// A file for the device, not yet opened. Null if there is no such device; Fail was then called.
    virtual std::unique_ptr<CDeviceFile> MakeFile() = 0;
    /// The device, for messages: "/dev/usb/lp0", "192.0.2.7 port 9100".
    virtual std::string Place() const = 0;
    /// What would help against the error; one clause.
    virtual std::string Advice(int error) const = 0;
    /// Waits until what was written has left. The device has not failed; it may fail here.
    virtual void Finish(bool wasChannel) = 0;
    /// The device-ID text, or an error code.
    virtual DWORD QueryDeviceId(std::string* id) = 0;

    /// Notes what failed first, and fails all calls to the end of the document. Returns the port's error
    /// code.
    DWORD Fail(int error, const std::string& tried, DWORD code);
    bool IsNetwork() const { return m_name.kind == CDeviceName::Kind::Tcp; }
    /// Whether the document goes on: it has neither failed nor been given up.
    bool IsSound() const { return m_error == ERROR_SUCCESS && !m_isAbandoned; }
    /// Waits for the event in steps, as long as the document goes on; whether it is there.
    bool AwaitEvent(DescriptorEvent event, DWORD timeoutMs);
    /// Reads once, without waiting. Returns the number of bytes, 0 if there were none or the stream has
    /// ended. Any other result marks the device as failed.
    size_t ReadSome(uint8_t* buffer, size_t size);

    const CDeviceName m_name;
    std::unique_ptr<CDeviceFile> m_file; ///< null outside documents
    bool m_isAtEnd = false;              ///< the other side sends no more

private:
    DWORD Result() const;

    const size_t m_mostWriteBytes;
    DWORD m_error = ERROR_SUCCESS; ///< what calls fail with
    uint64_t m_takenBytes = 0;
    std::atomic<bool> m_hasReplied{false};
    std::atomic<bool> m_isAbandoned{false};
    CCriticalSection m_lock; ///< guards m_failure
    std::optional<sim::PortFailure> m_failure;
};

} // namespace zrtmon::devices
