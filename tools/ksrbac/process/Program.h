#ifndef KSRBAC_PROCESS_PROGRAM_H
#define KSRBAC_PROCESS_PROGRAM_H

#include <string>
#include <vector>

#include "process/SignalWatch.h"

namespace ksrbac {

/// A program with its arguments, run without a shell. A name without a slash is looked up in PATH. It has
/// this program's standard descriptors and environment, and default signal dispositions.
class Program {
public:
    /// `command` is the program's name and its arguments.
    explicit Program(std::vector<std::string> command) : command_(std::move(command)) {}

    /// Runs it with one more variable in its environment, NAME=VALUE, and waits for its end. Returns nothing
    /// if it exited with status 0, otherwise what happened, for a message. Does not start it if a signal was
    /// caught before.
    [[nodiscard]] std::string run(const std::string& variable, SignalWatch& signals) const;

private:
    std::vector<std::string> command_;
};

} // namespace ksrbac

#endif
