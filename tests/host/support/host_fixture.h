/// The command line as a test runs it: in this process, on a virtual clock, with its streams in strings.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "host/environment.h"
#include "host/places/system_printers.h"
#include "platform/system_spooler.h"
#include "platform/virtual_clock.h"

namespace zrtmon::test {

struct CCommandResult {
    int status = -1;
    std::string out;
    std::string err;
};

class CHostFixture {
public:
    CHostFixture();
    ~CHostFixture();

    /// Runs zrtctl with these words, which blanks part; in single quotes a word may hold blanks. "@NAME" in a
    /// word is replaced by the path of that file in Folder.
    CCommandResult Run(const std::string& commandLine);

    const std::filesystem::path& Folder() const { return m_folder; }
    void WriteFile(const std::string& name, const std::string& bytes) const;
    std::string ReadFile(const std::string& name) const;

    CVirtualClock clock;
    bool terminal = false;
    bool colors = false;
    std::vector<std::string> input; ///< lines of standard input that have not been read yet
    bool typed = false;             ///< by a person, who takes a second for each and is away without any
    unsigned columns = 80;
    std::string port = "sim:"; ///< for a command that needs a printer and names none; empty: the system's
    ISystemSpooler* systemSpooler = nullptr; ///< in place of the machine's
    /// Made for each command in place of the spooler's printers; empty: those.
    std::function<std::unique_ptr<host::ISystemPrinters>(const host::CHostEnvironment&)> systemPrinters;
    std::optional<uint64_t> interruptAtMs;     ///< on the clock
    host::InitializeMonitor monitor = nullptr; ///< in place of the real library
    IPrintSystem* printSystem = nullptr;       ///< of the machine
    ISpoolerSetup* spoolerSetup = nullptr;     ///< likewise
    std::function<std::vector<CDiagnostic>(const std::string&)> examineDevices; ///< likewise
    std::filesystem::path programFolder; ///< where the real library is looked for; set to its place
    std::filesystem::path systemFolder;  ///< likewise; not set

private:
    std::vector<std::string> WordsOf(const std::string& commandLine) const;
    terminal::SecretEnd ReadSecret(CSecret& line, const std::function<bool()>& stop);

    std::filesystem::path m_folder;
};

/// Lines of a text, without their ends.
std::vector<std::string> Lines(const std::string& text);

/// A job of so many plain cards.
std::string JobBytes(uint32_t cards);

size_t CountOf(const std::string& text, const std::string& part);

/// Whether the text contains these parts, separated by "...", in this order.
testing::AssertionResult Shows(const std::string& text, std::string_view parts);

} // namespace zrtmon::test
