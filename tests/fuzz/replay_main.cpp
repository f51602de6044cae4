// Gives a fuzz target the files of the directories named as arguments, one after the other.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/fuzz_target.h"

namespace {

std::vector<std::filesystem::path> FilesOf(const char* directory)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void Replay(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    if (stream.bad() || bytes.size() != std::filesystem::file_size(file)) {
        throw std::filesystem::filesystem_error("cannot be read", file, {});
    }
    std::fprintf(stderr, "%s\n", file.filename().c_str()); // the last one named is the one that fails
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv)
{
    size_t count = 0;
    try {
        for (int i = 1; i < argc; ++i) {
            for (const auto& file : FilesOf(argv[i])) {
                Replay(file);
                ++count;
            }
        }
    } catch (const std::filesystem::filesystem_error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    std::printf("%zu inputs\n", count);
    return count > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
