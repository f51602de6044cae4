/// A simulated printer connected to a port.
#pragma once

#include "simulator/card_printer.h"
#include "simulator/port_device.h"

namespace zrtmon::sim {

/// Serves the device-ID control and the two vendor controls as the USB driver would: a set command carries
/// three bytes before the printer's command, a get command takes a reply, or fails with 31 when none is
/// ready.
class CPrinterPortDevice final : public IPortDevice {
public:
    explicit CPrinterPortDevice(const PrinterOptions& options)
        : m_printer(options), m_writeLimit(options.writeLimit)
    {
    }

    DWORD Open() override { return ERROR_SUCCESS; }
    void Close() override {}
    DWORD Start() override { return ERROR_SUCCESS; }
    DWORD End(bool wasChannel) override;
    DWORD Write(const BYTE* data, DWORD size, DWORD* count) override;
    DWORD Read(BYTE* buffer, DWORD size, DWORD* count) override;
    DWORD Control(DWORD code, const BYTE* input, DWORD inputSize, BYTE* output, DWORD outputSize,
                  DWORD* count) override;
    CCardPrinter* Printer() override { return &m_printer; }

private:
    DWORD SetCommand(const BYTE* input, DWORD inputSize);
    DWORD GetCommand(DWORD inputSize, BYTE* output, DWORD outputSize, DWORD* count);
    DWORD QueryId(BYTE* output, DWORD outputSize, DWORD* count) const;

    CCardPrinter m_printer;
    DWORD m_writeLimit; ///< bytes; 0: none
};

} // namespace zrtmon::sim
