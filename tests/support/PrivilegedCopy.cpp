#include "support/PrivilegedCopy.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace keepsafe_test {
namespace {

/// A group that a file of the caller may have, and that is not the caller's own.
std::optional<gid_t> otherGroup()
{
    constexpr gid_t NOBODY = 65534;
    if (geteuid() == 0) {
        return NOBODY;
    }
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
    groups.resize(
        static_cast<std::size_t>(std::max(getgroups(static_cast<int>(groups.size()), groups.data()), 0)));
    const auto other =
        std::find_if(groups.begin(), groups.end(), [](gid_t group) { return group != getgid(); });
    return other == groups.end() ? std::nullopt : std::optional<gid_t>(*other);
}

void require(bool done, const std::string& what)
{
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

} // namespace

bool PrivilegedCopy::mayBeMade() { return otherGroup().has_value(); }

PrivilegedCopy::PrivilegedCopy(const std::string& program)
{
    const std::optional<gid_t> group = otherGroup();
    if (!group) {
        throw std::runtime_error(std::string("a copy with more rights ") + NEEDS);
    }
    std::filesystem::copy_file(program, path());
    require(chown(path().c_str(), geteuid(), *group) == 0, "chown " + path());
    require(chmod(path().c_str(), S_ISGID | 0755) == 0, "chmod " + path());
    struct statvfs mount {};
    require(statvfs(path().c_str(), &mount) == 0, "statvfs " + path());
    if ((mount.f_flag & ST_NOSUID) != 0) {
        throw std::runtime_error(path() + " is on a file system that is mounted with nosuid");
    }
}

} // namespace keepsafe_test
