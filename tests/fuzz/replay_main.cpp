// Gives a fuzz target the files of the directories named as arguments, one after the other.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "tests/fuzz/fuzz_target.h"

int main(int argc, char** argv)
{
    std::set<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            files.insert(entry.path());
        }
    }
    for (const auto& file : files) {
        std::fprintf(stderr, "%s\n", file.filename().c_str()); // the last one named is the one that fails
        std::ifstream stream(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        zrtmon::fuzz::Demand(bytes.size() == file_size(file), "the file can be read");
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? EXIT_FAILURE : EXIT_SUCCESS;
}
