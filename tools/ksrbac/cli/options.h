#ifndef KSRBAC_CLI_OPTIONS_H
#define KSRBAC_CLI_OPTIONS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

/// \file
/// The description of a command and its options. A name without dashes is that of a positional
/// argument. `valueName` is the value's name in the help. Values must live until the command line has been
/// parsed.

namespace ksrbac {

/// Value names that the shell completion knows how to complete. Any other one with bars in it is a choice of
/// words.
namespace value_name {
inline constexpr char CACHE[] = "ID_OR_DIR";
inline constexpr char COLOUR[] = "auto|always|never";
inline constexpr char DIRECTORY[] = "DIR";
inline constexpr char FILE_OR_STDIN[] = "FILE|-";
inline constexpr char GRANT[] = "GRANT";
inline constexpr char INHERITANCE[] = "NS=on|off";
inline constexpr char OBJECT[] = "NS";
inline constexpr char OPERATION[] = "OPERATION";
inline constexpr char OPERATIONS[] = "OPERATION,...";
inline constexpr char PROGRAM[] = "CMD";
inline constexpr char PROPAGATION[] = "PROPAGATION";
inline constexpr char ROLE[] = "ROLE";
inline constexpr char ROLES[] = "ROLES";
inline constexpr char SWITCH[] = "on|off";
} // namespace value_name

/// The first line of the description represents the command in lists of commands.
void describe(CLI::App& command, const std::string& description, const std::string& example);

void addRequired(CLI::App& command, const char* name, std::string& value, const char* valueName,
                 const std::string& description);
void addOptional(CLI::App& command, const char* name, std::string& value, const char* valueName,
                 const std::string& description);
void addOptional(CLI::App& command, const char* name, std::optional<std::string>& value,
                 const char* valueName, const std::string& description);
/// A decimal number without a sign.
void addOptional(CLI::App& command, const char* name, std::size_t& value, const char* valueName,
                 const std::string& description);
void addOptional(CLI::App& command, const char* name, std::optional<std::size_t>& value,
                 const char* valueName, const std::string& description);
void addFlag(CLI::App& command, const char* name, bool& value, const std::string& description);
/// An argument that takes all remaining ones.
void addRest(CLI::App& command, const char* name, std::vector<std::string>& values, const char* valueName,
             const std::string& description);
/// An option that may be given several times, with one value each.
void addRepeated(CLI::App& command, const char* name, std::vector<std::string>& values, const char* valueName,
                 const std::string& description);

/// Makes the option required on command lines that do not have the other one.
void requireUnless(CLI::App& command, const char* name, const char* other);

// Options that several commands share.

/// CACHE, a directory or an id.
void addCache(CLI::App& command, std::string& cache);
/// FILE, which holds a session token: never an argument itself, which other users could read.
void addTokenFile(CLI::App& command, std::string& tokenFile);
/// NS, a managed object.
void addObject(CLI::App& command, std::string& object);
/// ROLE, by its id or its name.
void addRole(CLI::App& command, std::string& role);
/// --role-names.
void addRoleNames(CLI::App& command, bool& roleNames);
/// --filter EXPR. `what` is what the service lists.
void addFilter(CLI::App& command, const std::string& what, std::optional<std::string>& filter);

} // namespace ksrbac

#endif
