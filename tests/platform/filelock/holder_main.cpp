// A second process for the tests: takes a lock as its arguments say, prints the outcome as one line, and
// holds the lock until its standard input ends.
//
// filelock_holder PATH shared|exclusive TIMEOUT_MS [--create] [--unprivileged]

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <grp.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/platform/log/log_sink.h>

namespace {

/// The system's own user without rights. A process that is not root's has no rights to give up.
bool giveUpRights()
{
    constexpr unsigned NOBODY = 65534;
    return geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(NOBODY) == 0 && setuid(NOBODY) == 0);
}

bool has(const std::vector<std::string>& options, const char* option)
{
    return std::find(options.begin(), options.end(), option) != options.end();
}

void say(const char* outcome) { std::cout << outcome << std::endl; }

void holdUntilInputEnds(const FileLock& lock, int type, int timeoutMs)
{
    const FileLockGuard guard(lock, type, timeoutMs, FileLock::DEFAULT_INTERVAL);
    say("held");
    std::string ignored;
    while (std::getline(std::cin, ignored)) {
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::cerr << "usage: filelock_holder PATH shared|exclusive TIMEOUT_MS [--create] [--unprivileged]\n";
        return 2;
    }
    const std::vector<std::string> options(argv + 4, argv + argc);
    if (has(options, "--unprivileged") && !giveUpRights()) {
        say("cannot give up rights");
        return EXIT_FAILURE;
    }
    Tessara::Keepsafe::Platform::setLogThreshold(1000);
    const auto missing =
        has(options, "--create") ? FileLock::MissingFile::IsCreated : FileLock::MissingFile::IsAnError;
    const int type = argv[2] == std::string("shared") ? FileLock::SHARED : FileLock::EXCLUSIVE;
    try {
        holdUntilInputEnds(FileLockManager::instance().getLock(argv[1], missing), type, std::stoi(argv[3]));
    } catch (const FileLockTimeout&) {
        say("timeout");
    } catch (const FileLockUnavailable&) {
        say("unavailable");
    }
    return EXIT_SUCCESS;
}
