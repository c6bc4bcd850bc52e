#ifndef KSRBAC_REGISTRATION_EXECOPTIONS_H
#define KSRBAC_REGISTRATION_EXECOPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "process/Program.h"

namespace CLI {
class App;
}

namespace ksrbac {

/// --exec of the commands that register and unregister: a program, whose arguments follow `--`.
class ExecOptions {
public:
    void addTo(CLI::App& command);

    /// Where the arguments after `--` belong, or null if there is no program.
    [[nodiscard]] std::vector<std::string>* tail() noexcept { return name_ ? &arguments_ : nullptr; }

    /// Nothing: no program was given. Throws `InputError` when its name is empty.
    [[nodiscard]] std::optional<Program> program() const;

private:
    std::optional<std::string> name_;
    std::vector<std::string> arguments_;
};

} // namespace ksrbac

#endif
