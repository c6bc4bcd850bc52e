#ifndef KEEPSAFE_TESTS_TOOLS_KSRBAC_STRINGSINK_H
#define KEEPSAFE_TESTS_TOOLS_KSRBAC_STRINGSINK_H

#include <string>
#include <string_view>
#include <vector>

#include "application.h"
#include "io/ByteSink.h"
#include "io/Console.h"

namespace keepsafe_test {

/// Keeps what is written.
class StringSink final : public ksrbac::ByteSink {
public:
    void write(std::string_view bytes) override { text += bytes; }
    std::string text;
};

/// What one run of the whole program within this process gave.
struct ProgramRun {
    ksrbac::ExitStatus status;
    std::string results;
    std::string messages;
};

inline ProgramRun runProgram(const std::vector<std::string>& arguments)
{
    StringSink results;
    StringSink messages;
    ksrbac::Console console(results, messages);
    const ksrbac::ExitStatus status = ksrbac::runApplication(arguments, console);
    return {status, results.text, messages.text};
}

} // namespace keepsafe_test

#endif
