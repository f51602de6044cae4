/// The files that say which printers the service keeps.
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zrtmon::service {

/// One printer.
struct CPrinterConfiguration {
    std::string name;   ///< UTF-8, unique without regard to case
    std::string port;   ///< as zrtctl's --port
    std::string policy; ///< path of the password policy; empty: that of the stored value "ConfigurationFile"

    bool operator==(const CPrinterConfiguration&) const = default;
};

struct CConfiguration {
    unsigned keepDays = 90;            ///< the journal forgets jobs that ended earlier
    std::filesystem::path metricsFile; ///< empty: none is written
    std::vector<CPrinterConfiguration> printers;
    /// The printers of files with a problem, as far as they are known: a reload leaves those alone.
    std::set<std::string> doubtfulPrinters;
    /// Where each printer, of either kind, is from.
    std::map<std::string, std::filesystem::path> files;
    /// One line each: "FILE:LINE: what is wrong; what would do".
    std::vector<std::string> problems;
};

/// Characters of a printer's name.
inline constexpr size_t kLongestPrinterName = 127;

/// Reads FOLDER/zrtmond.conf, which may be missing, and FOLDER/printers.d/*.conf in the order of their names,
/// one printer each. Lines are "key = value"; empty ones and those that begin with '#' are skipped. A setting
/// with a problem keeps its default, and a printer with one is left out. Opens no port. before: as it was
/// read last; it knows the printers of files that cannot be read any more.
CConfiguration LoadConfiguration(const std::filesystem::path& folder, const CConfiguration& before = {});

/// The whole path of a policy file, and what is wrong with it, if something is. It has to be a file below the
/// folder, links followed: others could be read with the service's rights.
std::string PolicyPath(const std::filesystem::path& folder, const std::string& value, std::string* problem);

} // namespace zrtmon::service
