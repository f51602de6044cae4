// The policy file, as whoever may write printer data and files could leave it. Input: the file's bytes.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/virtual_clock.h"
#include "security/config_password.h"
#include "security/xml_password.h"
#include "tests/fuzz/fuzz_target.h"

namespace zrtmon::fuzz {
namespace {

/// One file for all inputs of this process, gone at its end.
class CPolicyFile {
public:
    CPolicyFile()
        : m_path(std::filesystem::temp_directory_path() / ("fuzz_policy." + std::to_string(getpid())))
    {
    }
    ~CPolicyFile()
    {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
    std::wstring Write(const uint8_t* data, size_t size) const
    {
        std::ofstream(m_path, std::ios::binary)
            .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        return m_path.wstring();
    }

private:
    std::filesystem::path m_path;
};

constexpr uint32_t kKnownDelays[] = {0, 600000, 1800000, 3600000, 14400000}; // milliseconds

void Check(const std::wstring& path)
{
    const CVirtualClock clock;
    CXmlPassword document;
    BOOL onFirstCard = FALSE;
    BOOL afterDelay = FALSE;
    if (document.Load(path.c_str())) {
        document.ReadOnFirstCard(&onFirstCard);
        document.ReadAfterDelay(&afterDelay);
        Demand(std::ranges::count(kKnownDelays, document.ReadDelay()) == 1,
               "a delay is one of the known ones");
    }
    CConfigPassword config;
    if (!config.Load(path.c_str())) {
        return;
    }
    Demand(!afterDelay || document.ReadDelay() > 0, "a delay rule without a delay spoils the policy");
    Demand(config.IsPasswordRequired(), "without an entry a password is due");
    config.MarkEntered();
    Demand(!config.IsPasswordRequired(), "no second one is due at once");
    Demand(config.Load(path.c_str()), "what has loaded loads again");
    Demand((config.IsPasswordRequired() == FALSE) == (onFirstCard || afterDelay),
           "a policy with a rule keeps the entry over a load");
}

} // namespace
} // namespace zrtmon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const zrtmon::fuzz::CPolicyFile file;
    zrtmon::fuzz::Check(file.Write(data, size));
    return 0;
}
