#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "Descriptor.h"
#include "doctor/Examination.h"
#include "read_file.h"

namespace ksrbac {

namespace Process = Tessara::Keepsafe::Process;

namespace {

constexpr char WHAT[] = "log destination";
constexpr char FILE_PREFIX[] = "file:";

/// Whether something listens where the C library sends log lines. Sends none.
int connectToSyslog()
{
    const Process::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    constexpr std::string_view path = "/dev/log";
    std::copy(path.begin(), path.end(), std::begin(address.sun_path));
    const bool isThere =
        socket.isOpen() &&
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return isThere ? 0 : errno;
}

void checkSyslog(Examination& examination)
{
    const int failure = connectToSyslog();
    if (failure == 0) {
        examination.ok(WHAT, "syslog");
    } else {
        examination.warn(WHAT, "syslog: /dev/log: " + Process::failureText(failure) + "; messages are lost",
                         "start the system's log service");
    }
}

int mayWrite(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 ? 0 : errno;
}

void checkFile(const std::string& path, Examination& examination)
{
    int failure = mayWrite(path);
    std::string text = path;
    if (failure == ENOENT) {
        failure = mayWrite(path.substr(0, path.rfind('/') + 1));
        text += ", which the first message makes";
    }
    if (failure == 0) {
        examination.ok(WHAT, text);
        return;
    }
    const std::string reason = path + " cannot be written by this user: " + Process::failureText(failure);
    const std::string remedy = "make its folder, and let the users of the product's processes write the file";
    if (failure == EACCES && geteuid() != 0) {
        examination.warn(WHAT, reason, remedy);
    } else {
        examination.fail(WHAT, reason, remedy);
    }
}

} // namespace

void checkLogDestination(Examination& examination)
{
    if (!examination.config) {
        examination.skip(WHAT, "there is no configuration to read");
        return;
    }
    const std::string& destination = examination.config->logDestination;
    if (destination.rfind(FILE_PREFIX, 0) == 0) {
        checkFile(destination.substr(std::strlen(FILE_PREFIX)), examination);
    } else if (destination == "syslog") {
        checkSyslog(examination);
    } else {
        examination.ok(WHAT, "standard error");
    }
}

} // namespace ksrbac
