#include "daemon/run_program.h"

#include <csignal>
#include <exception>
#include <iostream>

#include <keepsafe/platform/status/EC_exception.h>

#include "errors/InputError.h"
#include "printable.h"

namespace keepsafe_sandbox {

int runProgram(const std::string& name, const std::function<int()>& run)
{
    const auto report = [&name](const std::string& message, int status) {
        std::cerr << name << ": " << Tessara::Keepsafe::Process::printable(message) << "\n";
        return status;
    };
    // A file size limit must show as an error of the write that reaches it.
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    try {
        return run();
    } catch (const InputError& error) {
        return report(error.what(), EXIT_BAD_INPUT);
    } catch (const EC_exception& error) {
        return report("status " + std::to_string(error.status()) + ": " + error.what(), EXIT_REFUSED);
    } catch (const std::exception& error) {
        return report(error.what(), EXIT_REFUSED);
    }
}

} // namespace keepsafe_sandbox
