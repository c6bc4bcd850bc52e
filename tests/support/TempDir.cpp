#include "support/TempDir.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <keepsafe/platform/config/installation.h>

namespace keepsafe_test {

namespace Platform = Tessara::Keepsafe::Platform;

TempDir::TempDir() : TempDir(std::filesystem::temp_directory_path()) {}

TempDir::TempDir(const std::filesystem::path& parent)
{
    std::string pattern = (parent / "keepsafe-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder like " + pattern);
    }
    path_ = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path memoryFolder()
{
    const std::filesystem::path folder = "/dev/shm";
    return std::filesystem::is_directory(folder) ? folder : std::filesystem::temp_directory_path();
}

TempRoot::TempRoot() : before_(Platform::installationRoot()) { Platform::setInstallationRoot(path()); }

TempRoot::~TempRoot() { Platform::setInstallationRoot(before_); }

void TempRoot::settle() { std::this_thread::sleep_for(std::chrono::milliseconds(60)); }

void writeFile(const std::string& path, const std::string& content)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    // Written over in place: some file systems answer a truncation to nothing with a wait for the disk.
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    const auto size = static_cast<ssize_t>(content.size());
    const bool written =
        file != -1 && pwrite(file, content.data(), content.size(), 0) == size && ftruncate(file, size) == 0;
    if (file != -1) {
        close(file);
    }
    if (!written) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace keepsafe_test
