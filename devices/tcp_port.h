/// A network printer: raw TCP.
#pragma once

#include <functional>

#include "devices/device_port.h"

namespace zrtmon::devices {

/// The printer may refuse data for any length of time: one that is waiting for a ribbon keeps its window
/// closed until it has one.
class CTcpPort final : public CDevicePort {
public:
    /// The end of a document waits so long for the printer to close the connection, milliseconds.
    static constexpr DWORD kCloseMs = 2000;

    using FileMaker = std::function<std::unique_ptr<CDeviceFile>(std::string host, uint16_t port)>;

    explicit CTcpPort(CDeviceName name, FileMaker makeFile = MakeTcpFile);

private:
    std::unique_ptr<CDeviceFile> MakeFile() override { return m_makeFile(m_name.host, m_name.port); }
    std::string Place() const override { return m_name.host + " port " + std::to_string(m_name.port); }
    std::string Advice(int error) const override;
    /// A connection that is closed with a byte unread is reset, and what is on its way is lost. So everything
    /// has to be acknowledged, the end announced, and what still comes read.
    void Finish(bool wasChannel) override;
    DWORD QueryDeviceId(std::string* id) override;

    bool AwaitAcknowledgement();
    void ReadToTheEnd();

    const FileMaker m_makeFile;
};

} // namespace zrtmon::devices
