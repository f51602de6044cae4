#include "tests/host/support/host_fixture.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <random>
#include <set>
#include <sstream>

#include "host/places/spooler_printers.h"
#include "host/program.h"
#include "platform/spooler_admin.h"
#include "simulator/job_builder.h"

namespace zrtmon::test {
namespace {

class CClockThread final : public host::IRunningThread {
public:
    explicit CClockThread(std::function<void()> body) : m_thread(std::move(body)) {}

private:
    CVirtualClock::CClockThread m_thread;
};

} // namespace

CHostFixture::CHostFixture()
    : programFolder(std::filesystem::path(ZRTMON_LIBRARY).parent_path()),
      m_folder(std::filesystem::temp_directory_path() /
               ("zrtctl-test-" + std::to_string(std::random_device()())))
{
    std::filesystem::create_directories(m_folder);
}

CHostFixture::~CHostFixture() { std::filesystem::remove_all(m_folder); }

std::vector<std::string> CHostFixture::WordsOf(const std::string& commandLine) const
{
    std::vector<std::string> words{"zrtctl"};
    std::istringstream stream(commandLine);
    for (std::string word; stream >> std::quoted(word, '\'');) {
        const size_t at = word.find('@');
        words.push_back(at == std::string::npos ? word : word.replace(at, 1, (m_folder / "").string()));
    }
    const std::set<std::string> users = {"print", "get", "status", "settings", "password"};
    const bool isChosen = std::ranges::any_of(
        words, [](const std::string& word) { return word == "--port" || word == "--printer"; });
    if (!port.empty() && !isChosen && words.size() > 1 && users.contains(words[1]) &&
        (words.size() > 2 || words[1] == "status")) {
        words.insert(words.end(), {"--port", port});
    }
    return words;
}

CCommandResult CHostFixture::Run(const std::string& commandLine)
{
    std::ostringstream out;
    std::ostringstream err;
    host::CHostEnvironment environment{
        .out = out,
        .err = err,
        .rewritesLine = terminal,
        .colors = colors,
        .columns = [this] { return columns; },
        .wasInterrupted = [this] { return interruptAtMs && clock.Elapsed() >= *interruptAtMs; },
        .inputIsTyped = typed,
        .readSecret = [this](CSecret& line,
                             const std::function<bool()>& stop) { return ReadSecret(line, stop); },
        .readLine = [](const std::function<bool()>&) { return std::optional<std::string>(); },
        .startThread = [](std::function<void()> body) -> std::unique_ptr<host::IRunningThread> {
            return std::make_unique<CClockThread>(std::move(body));
        },
        .programFolder = programFolder,
        .systemFolder = systemFolder,
        .libraryFile = std::filesystem::path(ZRTMON_LIBRARY).filename().string(),
        .initialize = monitor,
        .printSystem = printSystem,
        .spoolerSetup = spoolerSetup,
        .examineDevices = examineDevices,
    };
    const std::unique_ptr<host::ISystemPrinters> printers =
        systemPrinters ? systemPrinters(environment)
                       : std::make_unique<host::CSpoolerPrinters>(
                             systemSpooler ? *systemSpooler : MachineSpooler(), environment);
    environment.systemPrinters = printers.get();
    const std::vector<std::string> words = WordsOf(commandLine);
    std::vector<const char*> pointers;
    std::ranges::transform(words, std::back_inserter(pointers), &std::string::c_str);
    const int status = host::Main(static_cast<int>(pointers.size()), pointers.data(), environment);
    if (!systemSpooler) {
        EXPECT_EQ(0u, spooler::OpenPrinterCount()) << "a printer handle is left open";
        EXPECT_EQ(0u, spooler::SubmitJob(L"Card Printer", L"job"))
            << "the session's printer is left in the spooler";
    }
    return {status, out.str(), err.str()};
}

terminal::SecretEnd CHostFixture::ReadSecret(CSecret& line, const std::function<bool()>& stop)
{
    constexpr DWORD kTypingMs = 1000;
    constexpr DWORD kStepMs = 50;
    line.Clear();
    for (DWORD waited = 0; typed && (waited < kTypingMs || input.empty()); waited += kStepMs) {
        if (stop()) {
            return terminal::SecretEnd::Stopped;
        }
        Sleep(kStepMs);
    }
    if (input.empty()) {
        return terminal::SecretEnd::EndOfInput;
    }
    const std::string next = input.front();
    input.erase(input.begin());
    for (const char byte : next) {
        line.Append(byte);
    }
    return terminal::SecretEnd::Line;
}

void CHostFixture::WriteFile(const std::string& name, const std::string& bytes) const
{
    std::ofstream(m_folder / name, std::ios::binary) << bytes;
}

std::string CHostFixture::ReadFile(const std::string& name) const
{
    std::ifstream file(m_folder / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string JobBytes(uint32_t cards)
{
    const std::vector<uint8_t> bytes = sim::BuildJob({.cards = cards}).bytes;
    return {bytes.begin(), bytes.end()};
}

size_t CountOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

testing::AssertionResult Shows(const std::string& text, std::string_view parts)
{
    constexpr std::string_view kGap = "...";
    for (size_t at = 0; !parts.empty();) {
        const std::string_view part = parts.substr(0, parts.find(kGap));
        at = text.find(part, at);
        if (at == std::string::npos) {
            return testing::AssertionFailure() << "'" << part << "' is missing or too early in\n" << text;
        }
        parts.remove_prefix(std::min(parts.size(), part.size() + kGap.size()));
    }
    return testing::AssertionSuccess();
}

} // namespace zrtmon::test
