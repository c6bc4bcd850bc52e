#include "io/token_file.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include "exit_status.h"
#include "io/open_input.h"

namespace ksrbac {

namespace {

/// Reads on to the end, or until there is more than a token can have.
std::string readUpToLimit(const FileDescriptor& file, const std::string& name)
{
    std::string content(MOST_TOKEN_BYTES + 1, '\0');
    std::size_t size = 0;
    while (size < content.size()) {
        const ssize_t got = read(file.get(), content.data() + size, content.size() - size);
        if (got == 0) {
            break;
        }
        if (got > 0) {
            size += static_cast<std::size_t>(got);
        } else if (errno == EAGAIN) {
            pollfd request{file.get(), POLLIN, 0};
            (void)poll(&request, 1, -1);
        } else if (errno != EINTR) {
            throwUnreadable(name, errno);
        }
    }
    content.resize(size);
    return content;
}

} // namespace

std::string readToken(const std::string& path)
{
    const std::string name = inputName(path);
    std::string token = readUpToLimit(openInput(path), name);
    if (token.size() > MOST_TOKEN_BYTES) {
        throw InputError(name + ": more than " + std::to_string(MOST_TOKEN_BYTES) +
                         " bytes, which is no token");
    }
    token.erase(token.find_last_not_of(" \t\r\n") + 1);
    if (token.empty()) {
        throw InputError(name + ": there is no token in it");
    }
    return token;
}

} // namespace ksrbac
