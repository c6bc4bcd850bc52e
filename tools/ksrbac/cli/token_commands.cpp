#include "cli/option_tree.h"

namespace ksrbac {

namespace {

constexpr char TOKEN_FOOTER[] = R"(Example:
  ksrbac token verify token)";

constexpr char VERIFY_DESCRIPTION[] =
    R"(Tell whether a session token is valid, and if not, why.

Checks, in this order, the token's form (three parts in base64url), its
signature with the host's public key, its payload (a JSON object) and its expiry
("exp", milliseconds since 1970), and prints each with what came of it. Whether
the database knows the token is not asked: see 'ksrbac token roles'.

The header is not looked at: the signature must be RS256 whatever it says.

Exit status: 0 valid, 1 not valid, 2 usage error or a file that cannot be read,
3 the host's public key cannot be used, so that nothing is known about the
signature, 4 standard output could not be written.)";

constexpr char VERIFY_FOOTER[] = R"(Examples:
  ksrbac token verify token
  ksrbac token verify - < token)";

constexpr char SHOW_DESCRIPTION[] =
    R"(Show what a token says, whether it is valid or not.

Prints whether the host's public key verifies the signature, the expiry, the
header, and every claim with times in UTC. Without a key it says that the
signature was not verified. Anybody can write a token that says anything:
believe claims only when the signature is verified. The signature itself is not
shown, so that the output cannot be used as a token.

Exit status: 0 shown, valid or not, 2 usage error, a file that cannot be read or
that holds no token, 4 standard output could not be written.)";

constexpr char SHOW_FOOTER[] = R"(Example:
  ksrbac token show --json token)";

constexpr char ROLES_DESCRIPTION[] =
    R"(List the role ids of a session token's owner.

Verifies the token, looks the authorization token that belongs to it up in the
database and prints the role ids in it, one per line.

Exit status: 0 listed, 2 usage error or a file that cannot be read, 3 the
library reported a status: 8002 not valid, 8001 expired, 117 not known to the
database, 220 the database cannot be asked, or another, 4 standard output could
not be written.)";

constexpr char ROLES_FOOTER[] = R"(Example:
  ksrbac token roles token)";

void addTokenFile(CLI::App& command, std::string& tokenFile)
{
    command.add_option("FILE", tokenFile, "File that holds the token; - is standard input")
        ->type_name(value_name::FILE_OR_STDIN)
        ->required();
}

} // namespace

void OptionTree::addToken()
{
    CLI::App* token = addCommand(app_, "token", "Examine a session token.", TOKEN_FOOTER);
    token->require_subcommand(1);

    CLI::App* verify = addCommand(*token, "verify", VERIFY_DESCRIPTION, VERIFY_FOOTER);
    addTokenFile(*verify, tokenVerify_.tokenFile);
    verify->callback([this] { parsed_.command = tokenVerify_; });

    CLI::App* show = addCommand(*token, "show", SHOW_DESCRIPTION, SHOW_FOOTER);
    addTokenFile(*show, tokenShow_.tokenFile);
    show->callback([this] { parsed_.command = tokenShow_; });

    CLI::App* roles = addCommand(*token, "roles", ROLES_DESCRIPTION, ROLES_FOOTER);
    addTokenFile(*roles, tokenRoles_.tokenFile);
    roles->callback([this] { parsed_.command = tokenRoles_; });
}

} // namespace ksrbac
