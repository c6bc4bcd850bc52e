#include "io/token_file.h"

#include "exit_status.h"
#include "io/input.h"

namespace ksrbac {

std::string readToken(const std::string& path)
{
    const std::string name = inputName(path);
    std::string token = readUpToLimit(path, MOST_TOKEN_BYTES);
    if (token.size() > MOST_TOKEN_BYTES) {
        throw InputError(name + ": more than " + std::to_string(MOST_TOKEN_BYTES) +
                         " bytes, which is not a token");
    }
    token.erase(token.find_last_not_of(" \t\r\n") + 1);
    if (token.empty()) {
        throw InputError(name + ": there is no token in it");
    }
    return token;
}

} // namespace ksrbac
