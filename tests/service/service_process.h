/// A bus and a service of a test's own, as processes, and clients of them.
#pragma once

#include <csignal>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sdbus-c++/sdbus-c++.h>
#include <string>
#include <sys/types.h>
#include <vector>

#include "service/descriptor.h"
#include "tests/service/temporary_folder.h"

namespace zrtmon::service {

/// Killed and waited for with the object.
class CProcess {
public:
    /// The program with its arguments; both standard streams go to the file.
    CProcess(const std::vector<std::string>& command, const std::filesystem::path& output);
    ~CProcess();
    CProcess(const CProcess&) = delete;
    CProcess& operator=(const CProcess&) = delete;

    pid_t Id() const { return m_id; }
    void Signal(int number) const { kill(m_id, number); }
    /// The exit status, or 128 and the signal, once it has ended; it is given some seconds.
    int Status();
    bool HasEnded();

private:
    pid_t m_id = -1;
    std::optional<int> m_status;
};

/// Polls until the condition holds; false after some seconds.
bool Await(const std::function<bool()>& condition);

/// Lets every user in.
class CPrivateBus {
public:
    /// wrapper: a command that runs the rest of its line.
    explicit CPrivateBus(const std::vector<std::string>& wrapper);

    const std::string& Address() const { return m_address; }
    CProcess& Process() { return *m_process; }

private:
    CTemporaryFolder m_folder;
    std::string m_address;
    std::unique_ptr<CProcess> m_process;
};

/// What a call gave: its answer as text, or the error's name without "org.zrtmon.Error.".
struct CCallResult {
    std::string answer;
    std::string error;
    std::string message; ///< of the error
};

using COptionMap = std::map<std::string, sdbus::Variant>;

/// A connection to the service. Calls block.
class CClient {
public:
    explicit CClient(const std::string& address)
        : m_connection(sdbus::createSessionBusConnectionWithAddress(address))
    {
    }

    CCallResult Query(const std::string& printer, const std::string& name);
    CCallResult Perform(const std::string& printer, const std::string& name);
    /// Sends a query and does not wait for its answer.
    void SendQuery(const std::string& printer, const std::string& name);
    /// The answer is the job's path.
    CCallResult Print(const std::string& printer, const CDescriptor& data, const COptionMap& options = {});
    /// The answer is "TYPE:BYTES".
    CCallResult ReadStored(const std::string& printer, const std::string& value);
    CCallResult WriteStored(const std::string& printer, const std::string& value, uint32_t type,
                            const std::string& bytes);
    CCallResult RemoveStored(const std::string& printer, const std::string& value);
    CCallResult SupplyPassword(const std::string& job, const std::string& password);
    CCallResult Cancel(const std::string& job) { return CallJob(job, "Cancel"); }
    CCallResult Acknowledge(const std::string& job) { return CallJob(job, "Acknowledge"); }
    std::vector<std::map<std::string, sdbus::Variant>> Jobs();
    std::vector<std::string> Printers();
    bool IsServed();

    template <class Value>
    Value Property(const std::string& path, const char* interface, const char* name)
    {
        return Proxy(path)->getProperty(name).onInterface(interface).get<Value>();
    }
    std::string JobState(const std::string& job) { return Property<std::string>(job, kJob, "State"); }
    std::string PrinterState(const std::string& printer)
    {
        return Property<std::string>(PathOf(printer), kPrinter, "State");
    }
    bool AwaitJobState(const std::string& job, const std::string& state)
    {
        return Await([&] { return JobState(job) == state; });
    }

    sdbus::IConnection& Connection() { return *m_connection; }
    std::unique_ptr<sdbus::IProxy> Proxy(const std::string& path);
    static std::string PathOf(const std::string& printer) { return "/org/zrtmon/printers/" + printer; }

    static constexpr char kPrinter[] = "org.zrtmon.Printer";
    static constexpr char kJob[] = "org.zrtmon.Job";

private:
    CCallResult Request(const std::string& printer, const char* method, const std::string& name);
    CCallResult CallJob(const std::string& job, const char* method);

    std::unique_ptr<sdbus::IConnection> m_connection;
};

/// The shipped service on a bus of its own, with the printers of a table. Names of printers are of
/// [A-Za-z0-9].
class CServiceProcess {
public:
    /// By name: the lines of the printer's file after its name.
    explicit CServiceProcess(const std::map<std::string, std::string>& printers);

    /// Starts it, with its bus the first time, and waits until it is there. wrapper: a command that runs the
    /// rest of its line.
    void Start(const std::vector<std::string>& wrapper = {});
    void Configure(const std::string& printer, const std::string& lines) const;
    void RemoveFile(const std::string& printer) const;

    CProcess& Process() { return *m_process; }
    CPrivateBus& Bus() { return *m_bus; }
    CClient& Client() { return *m_client; }
    const CTemporaryFolder& Folder() const { return m_folder; }
    std::filesystem::path Database() const { return m_folder.Path() / "state/zrtmond.db"; }
    std::string Log() const { return ReadFile(m_folder.Path() / "log"); }

    /// A job as a file that is open for reading; a shape gives the same bytes.
    CDescriptor JobFile(unsigned cards) const;
    static std::string JobBytes(unsigned cards);

private:
    CTemporaryFolder m_folder;
    std::unique_ptr<CPrivateBus> m_bus;
    std::unique_ptr<CClient> m_client;
    std::unique_ptr<CProcess> m_process;
};

} // namespace zrtmon::service
