#include "daemon/run_program.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <system_error>

#include <keepsafe/platform/status/EC_exception.h>

#include "errors/InputError.h"
#include "errors/OutputError.h"
#include "printable.h"

namespace keepsafe_service {

int runProgram(const std::string& name, const std::function<int()>& run)
{
    const auto report = [&name](const std::string& message, int status) {
        std::cerr << name << ": " << Tessara::Keepsafe::Process::printable(message) << "\n";
        return status;
    };
    // A file size limit must show as an error of the write that reaches it.
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    try {
        const int status = run();
        flushOutput();
        return status;
    } catch (const OutputError& error) {
        return report(error.what(), EXIT_NO_OUTPUT);
    } catch (const InputError& error) {
        return report(error.what(), EXIT_BAD_INPUT);
    } catch (const EC_exception& error) {
        return report("status " + std::to_string(error.status()) + ": " + error.what(), EXIT_REFUSED);
    } catch (const std::exception& error) {
        return report(error.what(), EXIT_REFUSED);
    }
}

void flushOutput()
{
    // The stream passes everything on to the C library's, which knows the reason.
    errno = 0;
    const bool isTaken = static_cast<bool>(std::cout.flush());
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || !isTaken) {
        const int reason = errno;
        throw OutputError("cannot write standard output" +
                          (reason == 0 ? "" : ": " + std::generic_category().message(reason)));
    }
}

} // namespace keepsafe_service
