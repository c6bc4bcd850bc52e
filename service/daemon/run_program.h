#ifndef KEEPSAFE_SERVICE_DAEMON_RUN_PROGRAM_H
#define KEEPSAFE_SERVICE_DAEMON_RUN_PROGRAM_H

#include <functional>
#include <string>

namespace keepsafe_service {

/// Exit statuses of the programs.
constexpr int EXIT_DONE = 0;
constexpr int EXIT_REFUSED = 1;   ///< the system, the database or the library refused a step
constexpr int EXIT_BAD_INPUT = 2; ///< usage, or a document or a configuration that cannot be used
constexpr int EXIT_NO_OUTPUT = 4; ///< standard output could not be written

/// Runs a program: the exit status is what `run` returns, or that of the exception that it throws, whose
/// message goes to standard error after the program's name. What has been printed counts only when it was
/// written: otherwise a program that has done its work ends as with `OutputError`.
int runProgram(const std::string& name, const std::function<int()>& run);

/// Writes out what was printed. Throws `OutputError`.
void flushOutput();

} // namespace keepsafe_service

#endif
