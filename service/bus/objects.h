/// The service's objects as the bus calls them. Main thread.
#pragma once

#include <map>
#include <memory>
#include <sdbus-c++/sdbus-c++.h>
#include <string>
#include <tuple>
#include <vector>

#include "service/service.h"
#include "service_adaptor.h" // made from org.zrtmon.xml

namespace zrtmon::service {

/// Who the bus says is calling.
class CCallers {
public:
    explicit CCallers(sdbus::IConnection& connection);

    /// The sender of the message that the object is handling.
    CCaller Current(const sdbus::IObject& object);
    void Forget(const std::string& client) { m_uids.erase(client); }

private:
    std::unique_ptr<sdbus::IProxy> m_daemon;
    std::map<std::string, uid_t> m_uids; ///< by connection; the bus gives no name twice
};

class CManagerObject final : public sdbus::AdaptorInterfaces<org::zrtmon::Manager_adaptor> {
public:
    CManagerObject(sdbus::IConnection& connection, CService& service, CCallers& callers);
    ~CManagerObject() { unregisterAdaptor(); }

private:
    std::vector<sdbus::Struct<std::string, sdbus::ObjectPath>> GetPrinters() override;
    void GetJobs(sdbus::Result<std::vector<std::map<std::string, sdbus::Variant>>>&& result,
                 int64_t since) override;
    std::string Version() override;

    CService& m_service;
    CCallers& m_callers;
};

class CPrinterObject final : public sdbus::AdaptorInterfaces<org::zrtmon::Printer_adaptor> {
public:
    CPrinterObject(sdbus::IConnection& connection, CService& service, CCallers& callers,
                   const CPrinter& printer);
    ~CPrinterObject() { unregisterAdaptor(); }

    /// Signals the properties that are no longer as last signalled.
    void EmitChanges();

private:
    void Query(sdbus::Result<std::string>&& result, std::string name) override;
    void Perform(sdbus::Result<std::string>&& result, std::string name) override;
    void Print(sdbus::Result<sdbus::ObjectPath>&& result, sdbus::UnixFd data, std::string title,
               std::map<std::string, sdbus::Variant> options) override;
    std::tuple<uint32_t, std::vector<uint8_t>> ReadStored(const std::string& valueName) override;
    void WriteStored(sdbus::Result<>&& result, std::string valueName, uint32_t type,
                     std::vector<uint8_t> bytes) override;
    void RemoveStored(sdbus::Result<>&& result, std::string valueName) override;

    std::string Name() override { return m_printer.Name(); }
    std::string Port() override;
    std::string State() override { return StateText(m_printer.Status().state); }
    std::string StateMessage() override { return m_printer.Status().message; }
    int32_t PrinterStatus() override { return m_printer.Status().printerStatus; }
    int32_t PrinterError() override { return m_printer.Status().printerError; }
    int32_t DeviceError() override { return m_printer.Status().deviceError; }
    int32_t CardCount() override { return m_printer.Status().cardCount; }
    sdbus::ObjectPath CurrentJob() override;

    void Request(RequestKind kind, sdbus::Result<std::string>&& result, std::string text);

    CService& m_service;
    CCallers& m_callers;
    const CPrinter& m_printer;
    CPrinterStatus m_signalled;
    std::string m_signalledPort;
    std::string m_signalledJob;
};

class CJobObject final : public sdbus::AdaptorInterfaces<org::zrtmon::Job_adaptor> {
public:
    CJobObject(sdbus::IConnection& connection, CService& service, CCallers& callers, const CJob& job);
    ~CJobObject() { unregisterAdaptor(); }

    /// Signals the properties that are no longer as last signalled.
    void EmitChanges();

private:
    void Cancel() override;
    void Acknowledge(sdbus::Result<>&& result) override;
    void SupplyPassword(sdbus::Result<>&& result, std::vector<uint8_t> password) override;

    uint64_t Id() override { return m_job.id; }
    sdbus::ObjectPath Printer() override;
    std::string Title() override { return m_job.job.title; }
    std::string Owner() override { return m_job.job.owner; }
    std::string State() override { return StateText(m_job.status.state); }
    std::string Reason() override { return m_job.status.reason; }
    int32_t Category() override { return m_job.status.category; }
    bool WantsPassword() override { return m_job.status.wantsPassword; }
    uint64_t Bytes() override { return m_job.status.bytes; }
    uint64_t Total() override { return m_job.job.totalBytes; }
    int32_t Cards() override { return m_job.status.cards; }

    CService& m_service;
    CCallers& m_callers;
    const CJob& m_job;
    CJobStatus m_signalled;
};

} // namespace zrtmon::service
