#include "service/configuration.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string_view>

#include "host/exit_status.h"
#include "host/session/spooler_session.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "simulator/nearest_name.h"

namespace zrtmon::service {
namespace {

namespace fs = std::filesystem;

constexpr uintmax_t kLargestFile = uintmax_t{64} * 1024;
constexpr unsigned kMostKeepDays = 36500;
constexpr char kMainFile[] = "zrtmond.conf";
constexpr char kPrinterFolder[] = "printers.d";

/// Reads one file of "key = value" lines, and notes what is wrong.
class CSettingsFile {
public:
    struct CEntry {
        std::string value;
        unsigned line;
    };

    CSettingsFile(fs::path path, std::span<const std::string_view> keys, std::vector<std::string>& problems)
        : m_path(std::move(path)), m_keys(keys), m_problems(problems)
    {
        Read();
    }

    /// Null if the file does not have it.
    const CEntry* Find(std::string_view key) const
    {
        const auto found = m_entries.find(key);
        return found == m_entries.end() ? nullptr : &found->second;
    }

    /// line 0: the file as a whole.
    void Refuse(unsigned line, const std::string& problem)
    {
        m_isSound = false;
        const std::string place = host::DisplayPath(m_path) + (line == 0 ? "" : ':' + std::to_string(line));
        m_problems.push_back(place + ": " + problem);
    }

    bool IsReadable() const { return m_isReadable; }
    bool IsSound() const { return m_isSound; }

private:
    void Read()
    {
        std::error_code error;
        if (!fs::is_regular_file(m_path, error) || fs::file_size(m_path, error) > kLargestFile) {
            Refuse(0, "not a file of at most 64 KiB; write lines \"key = value\" into it");
            m_isReadable = false;
            return;
        }
        std::ifstream input(m_path, std::ios::binary);
        std::string line;
        for (unsigned number = 1; std::getline(input, line); ++number) {
            ReadLine(host::Trimmed(line), number);
        }
        if (!input.eof()) {
            Refuse(0, "cannot be read; make it readable for the service's user");
            m_isReadable = false;
        }
    }

    void ReadLine(std::string_view line, unsigned number)
    {
        if (line.empty() || line.front() == '#') {
            return;
        }
        const size_t sign = line.find('=');
        if (sign == std::string_view::npos) {
            Refuse(number, "no '='; write \"key = value\", or begin a comment with '#'");
            return;
        }
        const std::string key(host::Trimmed(line.substr(0, sign)));
        if (std::find(m_keys.begin(), m_keys.end(), key) == m_keys.end()) {
            const std::vector<std::string_view> known(m_keys.begin(), m_keys.end());
            Refuse(number, "no key \"" + host::PrintableUtf8(key) + "\"; the keys are " + KeyList() +
                               sim::DidYouMean(sim::Nearest(key, known)));
            return;
        }
        const auto [entry, isNew] =
            m_entries.try_emplace(key, CEntry{std::string(host::Trimmed(line.substr(sign + 1))), number});
        if (!isNew) {
            Refuse(number, "\"" + key + "\" for the second time, after line " +
                               std::to_string(entry->second.line) + "; remove one of them");
        }
    }

    std::string KeyList() const
    {
        std::string list;
        for (const std::string_view key : m_keys) {
            list += (list.empty() ? "" : ", ") + std::string(key);
        }
        return list;
    }

    fs::path m_path;
    std::span<const std::string_view> m_keys;
    std::vector<std::string>& m_problems;
    std::map<std::string, CEntry, std::less<>> m_entries;
    bool m_isReadable = true;
    bool m_isSound = true;
};

constexpr std::string_view kMainKeys[] = {"keep-days", "metrics"};
constexpr std::string_view kPrinterKeys[] = {"name", "port", "policy"};

void LoadMain(const fs::path& folder, CConfiguration& configuration)
{
    const fs::path path = folder / kMainFile;
    std::error_code error;
    if (!fs::exists(path, error)) {
        return;
    }
    CSettingsFile file(path, kMainKeys, configuration.problems);
    if (const CSettingsFile::CEntry* const entry = file.Find("keep-days")) {
        unsigned days = 0;
        const char* const end = entry->value.data() + entry->value.size();
        const auto [rest, problem] = std::from_chars(entry->value.data(), end, days);
        if (problem != std::errc() || rest != end || days == 0 || days > kMostKeepDays) {
            file.Refuse(entry->line, "keep-days: give a number of days from 1 to 36500");
        } else {
            configuration.keepDays = days;
        }
    }
    if (const CSettingsFile::CEntry* const entry = file.Find("metrics")) {
        const fs::path metrics = host::PathFromUtf8(entry->value);
        if (!metrics.is_absolute() || !metrics.has_filename()) {
            file.Refuse(entry->line, "metrics: give the absolute path of a file, as in "
                                     "/var/lib/prometheus/node-exporter/zrtmon.prom");
        } else {
            configuration.metricsFile = metrics;
        }
    }
}

/// What is wrong with a printer's name; empty if nothing is.
std::string NameProblem(const std::string& name)
{
    if (name.empty()) {
        return "name: it is empty; give one, such as \"name = Cards\"";
    }
    const std::wstring wide = host::WideFromUtf8(name);
    if (host::Utf8FromWide(wide) != name) {
        return "name: not UTF-8; save the file as UTF-8";
    }
    if (wide.size() > kLongestPrinterName) {
        return "name: longer than 127 characters; give a shorter one";
    }
    const bool hasControl = std::any_of(wide.begin(), wide.end(), [](wchar_t character) {
        return character < L' ' || (character >= 0x7F && character < 0xA0);
    });
    if (hasControl || name.find('/') != std::string::npos) {
        return "name: '/' and control characters are not allowed; use '-' or a space instead";
    }
    return {};
}

std::string PortProblem(const std::string& port)
{
    try {
        host::PortKindOf(port);
        return {};
    } catch (const host::CHostError& error) {
        return std::string("port: ") + error.what();
    }
}

/// Reads the printer files of one folder.
class CPrinterFiles {
public:
    CPrinterFiles(const fs::path& folder, const CConfiguration& before, CConfiguration& configuration)
        : m_folder(folder), m_before(before), m_configuration(configuration)
    {
    }

    void Load()
    {
        std::vector<fs::path> files;
        std::error_code error;
        for (fs::directory_iterator entry(m_folder / kPrinterFolder, error), end; !error && entry != end;
             entry.increment(error)) {
            if (entry->path().extension() == ".conf") {
                files.push_back(entry->path());
            }
        }
        if (error && error != std::errc::no_such_file_or_directory) {
            m_configuration.problems.push_back(host::DisplayPath(m_folder / kPrinterFolder) + ": " +
                                               error.message() + "; make it readable for the service's user");
            for (const auto& [name, file] : m_before.files) {
                Doubt(name, file);
            }
        }
        std::sort(files.begin(), files.end());
        for (const fs::path& file : files) {
            LoadPrinter(file);
        }
    }

private:
    void LoadPrinter(const fs::path& path)
    {
        CSettingsFile file(path, kPrinterKeys, m_configuration.problems);
        if (!file.IsReadable()) {
            DoubtFile(path);
            return;
        }
        CPrinterConfiguration printer;
        printer.name = Checked(file, "name", NameProblem);
        printer.port = Checked(file, "port", PortProblem);
        if (const CSettingsFile::CEntry* const entry = file.Find("policy")) {
            std::string problem;
            printer.policy = PolicyPath(m_folder, entry->value, &problem);
            if (!problem.empty()) {
                file.Refuse(entry->line, problem);
            }
        }
        CheckUnique(file, "name", printer.name, m_names);
        CheckUnique(file, "port", printer.port, m_ports);
        if (!file.IsSound()) {
            DoubtFile(path);
            Doubt(printer.name, path);
            return;
        }
        m_configuration.files[printer.name] = path;
        m_configuration.printers.push_back(std::move(printer));
    }

    void Doubt(const std::string& name, const fs::path& file)
    {
        if (!name.empty()) {
            m_configuration.doubtfulPrinters.insert(name);
            m_configuration.files.try_emplace(name, file);
        }
    }

    /// The printers that the file had before.
    void DoubtFile(const fs::path& path)
    {
        for (const auto& [name, file] : m_before.files) {
            if (file == path) {
                Doubt(name, path);
            }
        }
    }

    /// The value of a key that a printer must have, with its problem noted.
    template <class Problem>
    static std::string Checked(CSettingsFile& file, const char* key, Problem problemOf)
    {
        const CSettingsFile::CEntry* const entry = file.Find(key);
        if (!entry) {
            file.Refuse(0, std::string("no \"") + key + "\"; add a line \"" + key + " = ...\"");
            return {};
        }
        const std::string problem = problemOf(entry->value);
        if (!problem.empty()) {
            file.Refuse(entry->line, problem);
        }
        return entry->value;
    }

    void CheckUnique(CSettingsFile& file, const char* key, const std::string& value,
                     std::map<std::string, std::string>& seen)
    {
        const CSettingsFile::CEntry* const entry = file.Find(key);
        if (!entry) {
            return;
        }
        const auto [other, isNew] = seen.try_emplace(host::LowerCase(value), value);
        if (!isNew) {
            file.Refuse(entry->line, std::string(key) + ": another printer has the same; give each its own");
        }
    }

    const fs::path& m_folder;
    const CConfiguration& m_before;
    CConfiguration& m_configuration;
    std::map<std::string, std::string> m_names;
    std::map<std::string, std::string> m_ports;
};

} // namespace

std::string PolicyPath(const fs::path& folder, const std::string& value, std::string* problem)
{
    std::error_code error;
    const fs::path whole = fs::weakly_canonical(folder / host::PathFromUtf8(value), error);
    const fs::path base = fs::weakly_canonical(folder, error);
    const fs::path relative = whole.lexically_relative(base);
    if (relative.empty() || *relative.begin() == "..") {
        *problem = "policy: not below " + host::DisplayPath(folder) + "; move the file there";
    } else if (!fs::is_regular_file(whole, error)) {
        *problem = "policy: no file " + host::DisplayPath(whole) + "; create it, or name none";
    }
    return host::DisplayPath(whole);
}

CConfiguration LoadConfiguration(const fs::path& folder, const CConfiguration& before)
{
    CConfiguration configuration;
    LoadMain(folder, configuration);
    CPrinterFiles(folder, before, configuration).Load();
    return configuration;
}

} // namespace zrtmon::service
