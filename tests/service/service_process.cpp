#include "tests/service/service_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/job_builder.h"

namespace zrtmon::service {
namespace {

constexpr int kStepMs = 10;
constexpr int kMostMs = 8000; // on a machine that does much else

constexpr char kBusConfiguration[] = R"(<busconfig>
  <type>session</type>
  <listen>unix:path=@/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
</busconfig>
)";

/// Carries out a call.
template <class Call>
CCallResult ResultOf(Call call)
{
    try {
        return {call(), {}, {}};
    } catch (const sdbus::Error& error) {
        const std::string prefix = "org.zrtmon.Error.";
        const std::string name = error.getName();
        return {{}, name.starts_with(prefix) ? name.substr(prefix.size()) : name, error.getMessage()};
    }
}

} // namespace

CProcess::CProcess(const std::vector<std::string>& command, const std::filesystem::path& output)
{
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    m_id = fork();
    if (m_id == 0) {
        const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        dup2(file, STDOUT_FILENO);
        dup2(file, STDERR_FILENO);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
}

CProcess::~CProcess()
{
    if (!HasEnded()) {
        Signal(SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
}

bool CProcess::HasEnded()
{
    int status = 0;
    if (!m_status && waitpid(m_id, &status, WNOHANG) == m_id) {
        m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return m_status.has_value();
}

int CProcess::Status()
{
    Await([this] { return HasEnded(); });
    return m_status.value_or(-1);
}

bool Await(const std::function<bool()>& condition)
{
    for (int waitedMs = 0; waitedMs < kMostMs; waitedMs += kStepMs) {
        if (condition()) {
            return true;
        }
        poll(nullptr, 0, kStepMs);
    }
    return condition();
}

CPrivateBus::CPrivateBus(const std::vector<std::string>& wrapper)
{
    const std::string folder = m_folder.Path();
    chmod(folder.c_str(), 0755); // mkdtemp keeps other users out
    std::string text = kBusConfiguration;
    text.replace(text.find('@'), 1, folder);
    const std::string file = m_folder.Write("bus.conf", text);
    std::vector<std::string> command = wrapper;
    for (const std::string& word : {std::string("dbus-daemon"), "--config-file=" + file,
                                    std::string("--nofork"), std::string("--nopidfile")}) {
        command.push_back(word);
    }
    m_process = std::make_unique<CProcess>(command, m_folder.Path() / "log");
    m_address = "unix:path=" + folder + "/bus";
    EXPECT_TRUE(Await([&] { return access((folder + "/bus").c_str(), F_OK) == 0; }))
        << ReadFile(folder + "/log");
}

std::unique_ptr<sdbus::IProxy> CClient::Proxy(const std::string& path)
{
    return sdbus::createProxy(*m_connection, "org.zrtmon", path);
}

CCallResult CClient::Request(const std::string& printer, const char* method, const std::string& name)
{
    return ResultOf([&] {
        std::string answer;
        Proxy(PathOf(printer))
            ->callMethod(method)
            .onInterface(kPrinter)
            .withArguments(name)
            .storeResultsTo(answer);
        return answer;
    });
}

CCallResult CClient::Query(const std::string& printer, const std::string& name)
{
    return Request(printer, "Query", name);
}

CCallResult CClient::Perform(const std::string& printer, const std::string& name)
{
    return Request(printer, "Perform", name);
}

void CClient::SendQuery(const std::string& printer, const std::string& name)
{
    Proxy(PathOf(printer))->callMethod("Query").onInterface(kPrinter).withArguments(name).dontExpectReply();
}

CCallResult CClient::Print(const std::string& printer, const CDescriptor& data, const COptionMap& options)
{
    return ResultOf([&] {
        sdbus::ObjectPath job;
        Proxy(PathOf(printer))
            ->callMethod("Print")
            .onInterface(kPrinter)
            .withArguments(sdbus::UnixFd(data.Get()), std::string("Title"), options)
            .storeResultsTo(job);
        return std::string(job);
    });
}

CCallResult CClient::ReadStored(const std::string& printer, const std::string& value)
{
    return ResultOf([&] {
        uint32_t type = 0;
        std::vector<uint8_t> bytes;
        Proxy(PathOf(printer))
            ->callMethod("ReadStored")
            .onInterface(kPrinter)
            .withArguments(value)
            .storeResultsTo(type, bytes);
        return std::to_string(type) + ':' + std::string(bytes.begin(), bytes.end());
    });
}

CCallResult CClient::WriteStored(const std::string& printer, const std::string& value, uint32_t type,
                                 const std::string& bytes)
{
    return ResultOf([&] {
        Proxy(PathOf(printer))
            ->callMethod("WriteStored")
            .onInterface(kPrinter)
            .withArguments(value, type, std::vector<uint8_t>(bytes.begin(), bytes.end()))
            .storeResultsTo();
        return std::string();
    });
}

CCallResult CClient::RemoveStored(const std::string& printer, const std::string& value)
{
    return ResultOf([&] {
        Proxy(PathOf(printer))
            ->callMethod("RemoveStored")
            .onInterface(kPrinter)
            .withArguments(value)
            .storeResultsTo();
        return std::string();
    });
}

CCallResult CClient::SupplyPassword(const std::string& job, const std::string& password)
{
    return ResultOf([&] {
        Proxy(job)
            ->callMethod("SupplyPassword")
            .onInterface(kJob)
            .withArguments(std::vector<uint8_t>(password.begin(), password.end()))
            .storeResultsTo();
        return std::string();
    });
}

CCallResult CClient::CallJob(const std::string& job, const char* method)
{
    return ResultOf([&] {
        Proxy(job)->callMethod(method).onInterface(kJob).storeResultsTo();
        return std::string();
    });
}

std::vector<std::map<std::string, sdbus::Variant>> CClient::Jobs()
{
    std::vector<std::map<std::string, sdbus::Variant>> jobs;
    Proxy("/org/zrtmon")
        ->callMethod("GetJobs")
        .onInterface("org.zrtmon.Manager")
        .withArguments(int64_t{0})
        .storeResultsTo(jobs);
    return jobs;
}

std::vector<std::string> CClient::Printers()
{
    std::vector<sdbus::Struct<std::string, sdbus::ObjectPath>> printers;
    Proxy("/org/zrtmon")
        ->callMethod("GetPrinters")
        .onInterface("org.zrtmon.Manager")
        .storeResultsTo(printers);
    std::vector<std::string> names;
    for (const auto& printer : printers) {
        names.push_back(printer.get<0>());
    }
    return names;
}

bool CClient::IsServed()
{
    bool isServed = false;
    sdbus::createProxy(*m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus")
        ->callMethod("NameHasOwner")
        .onInterface("org.freedesktop.DBus")
        .withArguments(std::string("org.zrtmon"))
        .storeResultsTo(isServed);
    return isServed;
}

CServiceProcess::CServiceProcess(const std::map<std::string, std::string>& printers)
{
    std::filesystem::create_directories(m_folder.Path() / "state");
    std::filesystem::create_directories(m_folder.Path() / "etc");
    for (const auto& [name, lines] : printers) {
        Configure(name, lines);
    }
}

void CServiceProcess::Start(const std::vector<std::string>& wrapper)
{
    if (!m_bus) {
        m_bus = std::make_unique<CPrivateBus>(wrapper);
        m_client = std::make_unique<CClient>(m_bus->Address());
    }
    setenv("DBUS_SESSION_BUS_ADDRESS", m_bus->Address().c_str(), 1);
    std::vector<std::string> command = wrapper;
    for (const std::string& word :
         {std::string(ZRTMOND), std::string("--session"), std::string("--config"),
          (m_folder.Path() / "etc").string(), std::string("--state"), (m_folder.Path() / "state").string()}) {
        command.push_back(word);
    }
    m_process = std::make_unique<CProcess>(command, m_folder.Path() / "log");
    ASSERT_TRUE(Await([&] { return m_client->IsServed() || m_process->HasEnded(); }));
    ASSERT_FALSE(m_process->HasEnded()) << Log();
}

void CServiceProcess::Configure(const std::string& printer, const std::string& lines) const
{
    m_folder.Write("etc/printers.d/" + printer + ".conf", "name = " + printer + '\n' + lines + '\n');
}

void CServiceProcess::RemoveFile(const std::string& printer) const
{
    std::filesystem::remove(m_folder.Path() / "etc/printers.d" / (printer + ".conf"));
}

std::string CServiceProcess::JobBytes(unsigned cards)
{
    sim::JobShape shape;
    shape.cards = cards;
    const std::vector<uint8_t> bytes = sim::BuildJob(shape).bytes;
    return {bytes.begin(), bytes.end()};
}

CDescriptor CServiceProcess::JobFile(unsigned cards) const
{
    const std::filesystem::path file = m_folder.Write("jobs/" + std::to_string(cards), JobBytes(cards));
    return CDescriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
}

} // namespace zrtmon::service
