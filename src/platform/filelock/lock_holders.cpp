#include "lock_holders.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <system_error>

#include <sys/stat.h>

#include "LockFile.h"
#include "decimal.h"

namespace Tessara::Keepsafe::Platform::filelock {

namespace {

namespace fs = std::filesystem;

/// The number that is the whole text; `otherwise` when it is none.
template <typename Number>
Number numberIn(const std::string& text, Number otherwise) noexcept
{
    Number number = otherwise;
    (void)Text::parseDecimal(text, number);
    return number;
}

bool holdsExclusively(const fs::path& descriptorInfo)
{
    std::ifstream lines(descriptorInfo);
    std::string line;
    while (std::getline(lines, line)) {
        if (isExclusiveDataLock(line)) {
            return true;
        }
    }
    return false;
}

bool isFile(const fs::path& path, const FileIdentity& file) noexcept
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && FileIdentity(status) == file;
}

/// A process, or a descriptor, may end while it is looked at: then it holds nothing.
bool isHolder(const fs::path& process, const FileIdentity& lockFile)
{
    std::error_code hidden;
    for (fs::directory_iterator entry(process / "fd", hidden), end; !hidden && entry != end;
         entry.increment(hidden)) {
        if (isFile(entry->path(), lockFile) &&
            holdsExclusively(process / "fdinfo" / entry->path().filename())) {
            return true;
        }
    }
    return false;
}

} // namespace

bool isExclusiveDataLock(const std::string& line)
{
    std::istringstream words(line);
    std::string label;
    std::string number;
    std::string kind;
    std::string strictness;
    std::string type;
    std::string owner;
    std::string inode;
    std::string first;
    std::string last;
    words >> label >> number >> kind >> strictness >> type >> owner >> inode >> first >> last;
    constexpr off_t NONE = -1;
    const off_t to = last == "EOF" ? std::numeric_limits<off_t>::max() : numberIn(last, NONE);
    return label == "lock:" && kind == "OFDLCK" && type == "WRITE" && numberIn(first, NONE) >= 0 &&
           numberIn(first, NONE) <= LockFile::DATA && to >= LockFile::DATA;
}

std::vector<std::int32_t> exclusiveHolders(const FileIdentity& lockFile)
{
    std::vector<std::int32_t> holders;
    std::error_code noProcesses;
    for (fs::directory_iterator entry("/proc", noProcesses), end; !noProcesses && entry != end;
         entry.increment(noProcesses)) {
        const std::int32_t process = numberIn(entry->path().filename().string(), std::int32_t{0});
        if (process > 0 && isHolder(entry->path(), lockFile)) {
            holders.push_back(process);
        }
    }
    std::sort(holders.begin(), holders.end());
    return holders;
}

} // namespace Tessara::Keepsafe::Platform::filelock
