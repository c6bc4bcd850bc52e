#ifndef KSRBAC_CLI_OPTION_TREE_H
#define KSRBAC_CLI_OPTION_TREE_H

#include <CLI/CLI.hpp>

#include "cli/command_line.h"

namespace ksrbac {

/// The one description of commands and options: the parser, the help, the manual page and the shell
/// completion are all made from it.
class OptionTree {
public:
    OptionTree();
    OptionTree(const OptionTree&) = delete;
    OptionTree& operator=(const OptionTree&) = delete;

    [[nodiscard]] CLI::App& app() noexcept { return app_; }
    /// What was parsed.
    [[nodiscard]] Invocation invocation() const;

private:
    void addGlobalOptions();
    void addCheck();
    void addCache();
    void addOperations();
    void addToken();
    void addRole();
    void addObject();
    void addRegistration(CLI::App& object);
    void addAccess();
    void addOperation();

    CLI::App app_;
    Invocation parsed_;
    CheckOptions check_;
    CacheInfoOptions cacheInfo_;
    CacheVerifyOptions cacheVerify_;
    TokenVerifyOptions tokenVerify_;
    TokenShowOptions tokenShow_;
    TokenRolesOptions tokenRoles_;
    ServiceOptions service_;
};

/// Adds a command to the program or to a command. The first line of a description stands for the command in
/// the list of commands.
CLI::App* addCommand(CLI::App& parent, const char* name, const char* description, const char* footer);

/// Value names that the shell completion knows how to complete.
namespace value_name {
inline constexpr char CACHE[] = "ID_OR_DIR";
inline constexpr char DIRECTORY[] = "DIR";
inline constexpr char FILE_OR_STDIN[] = "FILE|-";
inline constexpr char PROGRAM[] = "CMD";
inline constexpr char PROPAGATION[] = "PROPAGATION";
inline constexpr char SWITCH[] = "on|off";
} // namespace value_name

} // namespace ksrbac

#endif
