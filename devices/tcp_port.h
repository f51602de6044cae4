/// A network printer: raw TCP.
#pragma once

#include <functional>

#include "devices/device_port.h"

namespace zrtmon::devices {

/// There is no limit on the time for which the printer takes no data: one that waits for a ribbon closes its
/// window for as long as that takes.
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
