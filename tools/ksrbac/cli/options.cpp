#include "cli/options.h"

#include <CLI/CLI.hpp>

#include "output/escape.h"

namespace ksrbac {

namespace {

/// The parser would turn -1, and numbers that do not fit, into the largest number.
std::string requireDigits(const std::string& text)
{
    constexpr std::size_t mostDigits = 18; // fit 64 bits whatever they are
    const bool isNumber = !text.empty() && text.size() <= mostDigits &&
                          text.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? "" : "not a number: " + escapeForMessage(text);
}

} // namespace

void describe(CLI::App& command, const std::string& description, const std::string& example)
{
    command.description(description);
    command.footer(example);
}

void addRequired(CLI::App& command, const char* name, std::string& value, const char* valueName,
                 const std::string& description)
{
    command.add_option(name, value, description)->type_name(valueName)->required();
}

void addOptional(CLI::App& command, const char* name, std::string& value, const char* valueName,
                 const std::string& description)
{
    command.add_option(name, value, description)->type_name(valueName);
}

void addOptional(CLI::App& command, const char* name, std::optional<std::string>& value,
                 const char* valueName, const std::string& description)
{
    command.add_option(name, value, description)->type_name(valueName);
}

void addOptional(CLI::App& command, const char* name, std::size_t& value, const char* valueName,
                 const std::string& description)
{
    command.add_option(name, value, description)->type_name(valueName)->check(requireDigits);
}

void addOptional(CLI::App& command, const char* name, std::optional<std::size_t>& value,
                 const char* valueName, const std::string& description)
{
    command.add_option(name, value, description)->type_name(valueName)->check(requireDigits);
}

void addFlag(CLI::App& command, const char* name, bool& value, const std::string& description)
{
    command.add_flag(name, value, description);
}

void addRest(CLI::App& command, const char* name, std::vector<std::string>& values, const char* valueName,
             const std::string& description)
{
    command.add_option(name, values, description)->type_name(valueName);
}

void addRepeated(CLI::App& command, const char* name, std::vector<std::string>& values, const char* valueName,
                 const std::string& description)
{
    command.add_option(name, values, description)->type_name(valueName)->allow_extra_args(false);
}

void requireUnless(CLI::App& command, const char* name, const char* other)
{
    // Values are looked at before the parser asks for what is missing.
    CLI::Option* const option = command.get_option(name)->required();
    command.get_option(other)->each([option](const std::string& /*value*/) { option->required(false); });
}

void addCache(CLI::App& command, std::string& cache)
{
    addRequired(command, "CACHE", cache, value_name::CACHE, "A directory if it has a slash, else an id");
}

void addTokenFile(CLI::App& command, std::string& tokenFile)
{
    addRequired(command, "FILE", tokenFile, value_name::FILE_OR_STDIN,
                "File that holds the token; - is standard input");
}

void addObject(CLI::App& command, std::string& object)
{
    addRequired(command, "NS", object, "NS", "Namespace of the object");
}

void addRole(CLI::App& command, std::string& role)
{
    addRequired(command, "ROLE", role, value_name::ROLE, "Id or name of the role");
}

void addRoleNames(CLI::App& command, bool& roleNames)
{
    addFlag(command, "--role-names", roleNames,
            "Ask the service for the names of roles and print\nthem beside the ids");
}

void addFilter(CLI::App& command, const std::string& what, std::optional<std::string>& filter)
{
    addOptional(command, "--filter", filter, "EXPR", "Only " + what + " that the expression is true of");
}

} // namespace ksrbac
