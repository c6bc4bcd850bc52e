#include "peers/PrivateFolder.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace keepsafe_bench {

PrivateFolder::PrivateFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "keepsafe-peers-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make a folder like " + pattern);
    }
    path_ = pattern;
}

PrivateFolder::~PrivateFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace keepsafe_bench
