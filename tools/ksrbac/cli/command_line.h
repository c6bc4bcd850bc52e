#ifndef KSRBAC_CLI_COMMAND_LINE_H
#define KSRBAC_CLI_COMMAND_LINE_H

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "cli/service_options.h"

namespace ksrbac {

/// Accepted before and after the command.
struct GlobalOptions {
    std::optional<std::string> root;
    bool json = false;
    std::optional<int> logLevel;
};

struct CheckOptions {
    std::optional<std::string> cache;     ///< nothing: the service is asked
    std::optional<std::string> coveredBy; ///< the namespace that the service is asked about
    std::string operation;
    std::optional<std::string> roles;
    std::optional<std::string> sessionTokenFile;
    std::optional<std::string> objectsFrom;
    std::vector<std::string> objects;
};

struct CacheInfoOptions {
    std::string cache;
};

struct CacheVerifyOptions {
    static constexpr std::size_t DEFAULT_MAX_FAULTS = 100;
    std::string cache;
    std::size_t maxFaults = DEFAULT_MAX_FAULTS;
};

struct OperationsOptions {};

/// A token is named by the file that holds it, never given as an argument, which other users could read.
struct TokenVerifyOptions {
    std::string tokenFile;
};

struct TokenShowOptions {
    std::string tokenFile;
};

struct TokenRolesOptions {
    std::string tokenFile;
};

/// What the user asked to be told about the program itself.
struct ProgramText {
    std::string text;
};

using Command =
    std::variant<ProgramText, CheckOptions, CacheInfoOptions, CacheVerifyOptions, OperationsOptions,
                 TokenVerifyOptions, TokenShowOptions, TokenRolesOptions, ServiceCommand>;

struct Invocation {
    GlobalOptions global;
    Command command;
};

/// Reads the arguments, the program's name not among them. Throws `InputError` for a usage error.
Invocation parseCommandLine(const std::vector<std::string>& arguments);

} // namespace ksrbac

#endif
