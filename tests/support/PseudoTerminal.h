#ifndef KEEPSAFE_TESTS_SUPPORT_PSEUDOTERMINAL_H
#define KEEPSAFE_TESTS_SUPPORT_PSEUDOTERMINAL_H

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "support/Descriptor.h"
#include "support/Process.h"

namespace keepsafe_test {

/// A terminal with the test in the place of the person.
class PseudoTerminal {
public:
    /// By default wide enough that no line of a test is wrapped.
    explicit PseudoTerminal(unsigned short columns = 500)
        : person_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        const winsize size{50, columns, 0, 0};
        if (person_.get() == -1 || grantpt(person_.get()) != 0 || unlockpt(person_.get()) != 0 ||
            ioctl(person_.get(), TIOCSWINSZ, &size) != 0) {
            throw std::system_error(errno, std::generic_category(), "pseudo-terminal");
        }
    }

    /// The end for programs, in place of a standard descriptor.
    [[nodiscard]] Descriptor open() const
    {
        return openFile(ptsname(person_.get()), O_RDWR | O_NOCTTY); // NOLINT(concurrency-mt-unsafe)
    }

    /// Starts a program with this as its controlling terminal.
    [[nodiscard]] Process start(std::vector<std::string> arguments) const
    {
        const Descriptor end = open();
        arguments.insert(arguments.begin(), {"setsid", "--ctty", "--wait"});
        return Process::start({arguments, end.get(), end.get(), end.get()});
    }

    void type(const std::string& keys) const
    {
        if (write(person_.get(), keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
            throw std::system_error(errno, std::generic_category(), "write");
        }
    }

    /// What was shown up to now, and what follows until the text is there, or until nothing comes for a long
    /// time.
    const std::string& shownUntil(const std::string& text)
    {
        while (shown_.find(text) == std::string::npos && readSome(std::chrono::seconds(20))) {
        }
        return shown_;
    }

    /// All that is shown until the last program has closed the terminal.
    const std::string& shownAtEnd()
    {
        while (readSome(std::chrono::seconds(20))) {
        }
        return shown_;
    }

    /// What is there already.
    const std::string& shownNow()
    {
        while (readSome(std::chrono::seconds(0))) {
        }
        return shown_;
    }

private:
    bool readSome(std::chrono::milliseconds patience)
    {
        pollfd request{person_.get(), POLLIN, 0};
        if (poll(&request, 1, static_cast<int>(patience.count())) <= 0) {
            return false;
        }
        char buffer[4096];
        const ssize_t got = read(person_.get(), buffer, sizeof buffer);
        if (got <= 0) {
            return false; // EIO: nobody has the other end any more
        }
        shown_.append(buffer, static_cast<std::size_t>(got));
        return true;
    }

    Descriptor person_;
    std::string shown_;
};

} // namespace keepsafe_test

#endif
