#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> filesOf(const char* folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::ios_base::failure("cannot read " + file.string());
    }
    const std::string input{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    // A copy of the exact size on the heap, so that AddressSanitizer detects a read beyond its end.
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

} // namespace

/// Runs a fuzz target once for each file of a folder.
int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argc > 0 ? argv[0] : "replay");
        return 2;
    }
    try {
        const std::vector<std::filesystem::path> files = filesOf(argv[1]);
        for (const std::filesystem::path& file : files) {
            // Printed first: it names the input if the target ends the process.
            std::printf("%s\n", file.c_str());
            std::fflush(stdout);
            replay(file);
        }
        if (files.empty()) {
            std::fprintf(stderr, "no inputs in %s\n", argv[1]);
            return 1;
        }
        std::printf("%zu inputs\n", files.size());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
