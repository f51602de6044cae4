#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace zrtmon::test {

/// A policy file's text with these rules, after those of another module, which do not apply.
inline std::string PolicyText(const std::string& rules)
{
    return "<Configurations><Configuration ModuleName=\"Other\"><PassWordOnfirstCard Enabled=\"True\"/>"
           "</Configuration><Configuration ModuleName=\"Password Protection\">" +
           rules + "</Configuration></Configurations>";
}

/// A file of the test's own, gone with the object.
class CPolicyFile {
public:
    explicit CPolicyFile(const std::string& bytes)
        : m_path(std::filesystem::temp_directory_path() /
                 ("policy" + std::to_string(std::random_device()()) + ".xml"))
    {
        Write(bytes);
    }
    ~CPolicyFile() { Remove(); }
    CPolicyFile(const CPolicyFile&) = delete;
    CPolicyFile& operator=(const CPolicyFile&) = delete;

    void Write(const std::string& bytes) const { std::ofstream(m_path, std::ios::binary) << bytes; }
    void Remove() const { std::filesystem::remove(m_path); }
    std::wstring Path() const { return m_path.wstring(); }

private:
    std::filesystem::path m_path;
};

} // namespace zrtmon::test
