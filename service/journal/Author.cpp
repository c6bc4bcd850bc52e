#include "journal/Author.h"

#include <array>

#include <pwd.h>
#include <unistd.h>

namespace keepsafe_service {

Author localAuthor()
{
    const uid_t user = ::getuid();
    passwd entry = {};
    passwd* found = nullptr;
    std::array<char, 4096> texts;
    if (::getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr) {
        return {std::string("local ") + found->pw_name};
    }
    return {"local " + std::to_string(user)};
}

} // namespace keepsafe_service
