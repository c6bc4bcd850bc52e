#ifndef KEEPSAFE_TESTS_SUPPORT_TEMPDIR_H
#define KEEPSAFE_TESTS_SUPPORT_TEMPDIR_H

#include <filesystem>
#include <string>

namespace keepsafe_test {

/// A private folder that is removed with everything in it at the end of the test.
class TempDir {
public:
    TempDir();
    explicit TempDir(const std::filesystem::path& parent);
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] std::string path() const { return path_.string(); }
    [[nodiscard]] std::string path(const std::string& relative) const { return (path_ / relative).string(); }

private:
    std::filesystem::path path_;
};

/// A parent for folders of tests that write much: in memory, where the system has a file system for that.
std::filesystem::path memoryFolder();

/// A private installation root: a `TempDir` that is the process's installation root while it lives.
class TempRoot : public TempDir {
public:
    TempRoot();
    ~TempRoot();

    /// Waits until a change of the configuration would show in its file's times: until then the library reads
    /// it at every call.
    static void settle();

private:
    std::string before_;
};

/// Writes a file, creating the folders above it.
void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);

} // namespace keepsafe_test

#endif
