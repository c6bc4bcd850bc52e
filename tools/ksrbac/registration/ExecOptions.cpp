#include "registration/ExecOptions.h"

#include "cli/options.h"
#include "exit_status.h"

namespace ksrbac {

void ExecOptions::addTo(CLI::App& command)
{
    addOptional(command, "--exec", name_, value_name::PROGRAM,
                "Program to run between the phases; its\narguments go at the end, after --");
}

std::optional<Program> ExecOptions::program() const
{
    if (!name_) {
        return std::nullopt;
    }
    if (name_->empty()) {
        throw UsageError("--exec: a program is needed");
    }
    std::vector<std::string> command{*name_};
    command.insert(command.end(), arguments_.begin(), arguments_.end());
    return Program(command);
}

} // namespace ksrbac
