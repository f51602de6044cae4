/// A printer on a port of our own, which this program opens through the monitor's library as a spooler does.
#pragma once

#include "host/places/printer.h"
#include "host/session/spooler_session.h"

namespace zrtmon::host {

class CPortPrinter final : public IPrinter {
public:
    /// Throws as CSpoolerSession. The environment is borrowed for its life.
    CPortPrinter(const CSessionOptions& options, const CHostEnvironment& environment);

    /// As CSpoolerSession.
    std::optional<std::string> DeviceId() const { return m_session.DeviceId(); }

    bool IsOnNetwork() const { return m_session.Kind() == PortKind::NetworkPrinter; }

    std::string Name() const override;
    std::string Place() const override;
    bool IsShared() const override { return false; }
    bool HasDevice() const override { return m_session.HasDevice(); }
    CQueryResult Query(const std::string& requestText) override { return m_session.Query(requestText); }
    CQueryResult SendPasswords(const std::string& name,
                               std::initializer_list<std::string_view> passwords) override
    {
        return m_session.SendPasswords(name, passwords);
    }
    std::string QueryErrorText(DWORD error) const override { return m_session.QueryErrorText(error); }
    CPublishedValues PublishedValues() override { return m_session.PublishedValues(); }
    /// An empty document makes the monitor poll the printer. Not for a file.
    CPrinterState ReadState() override;
    bool WaitForChange(DWORD milliseconds) override;
    bool HasValue(const std::wstring& valueName) override { return m_session.HasValue(valueName); }
    std::optional<CStoredValue> LoadValue(const std::wstring& valueName) override
    {
        return m_session.LoadValue(valueName);
    }
    CStoreResult StoreValue(const std::wstring& valueName, DWORD type, std::span<const char> bytes) override
    {
        return m_session.StoreValue(valueName, type, bytes);
    }
    CStoreResult RemoveValue(const std::wstring& valueName) override
    {
        return m_session.RemoveValue(valueName);
    }
    std::unique_ptr<IPrintJob> Print(CJobSource& source, uint32_t pieceBytes) override;

private:
    const CHostEnvironment& m_environment;
    std::string m_port;
    CSpoolerSession m_session;
};

} // namespace zrtmon::host
