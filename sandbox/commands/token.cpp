#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "database/Database.h"
#include "input/read_input.h"
#include "root/configuration.h"
#include "root/signing_keys.h"
#include "tokens/TokenIssuer.h"
#include "tokens/stored_token.h"
#include "tokens/token_options.h"
#include "json/Element.h"

namespace keepsafe_sandbox {

using keepsafe_service::Database;
using keepsafe_service::quoted;

namespace {

struct IssueOptions {
    std::string root;
    std::string subject;
    std::string roles;
    std::string lifetime = "8h";
    bool isMachine = false;
};

struct RevokeOptions {
    std::string root;
    std::string tokenFile;
};

void issue(const IssueOptions& options)
{
    const RootLayout layout = existingRoot(options.root);
    TokenRequest request;
    request.subject = options.subject;
    request.roles = parseRoles(options.roles);
    request.isMachine = options.isMachine;
    request.lifetime = parseLifetime(options.lifetime);
    const TokenSigner signer = loadSigner(layout);
    Database database(loadDatabaseSettings(layout));
    TokenStore store(database);
    std::cout << issueToken(signer, store, request) << '\n';
}

void revoke(const RevokeOptions& options)
{
    const RootLayout layout = existingRoot(options.root);
    const std::string token = readTrimmedInput(options.tokenFile, MOST_SESSION_TOKEN_BYTES);
    const std::string sessionId = sessionIdOf(token);
    Database database(loadDatabaseSettings(layout));
    const bool wasStored = TokenStore(database).remove(sessionId);
    std::cout << (wasStored ? "revoked " : "nothing was stored for ") << quoted(sessionId) << '\n';
}

void listTokens(const std::string& root)
{
    Database database(loadDatabaseSettings(existingRoot(root)));
    TokenStore(database).forEach([](const std::string& sessionId, const std::string& token) {
        std::cout << describeStored(sessionId, token) << '\n';
    });
}

void addIssue(CLI::App& parent)
{
    const auto options = std::make_shared<IssueOptions>();
    CLI::App* command =
        parent.add_subcommand("issue", "Store an authorization token and print its session token");
    command->add_option("--root", options->root, "Installation root")->required()->type_name("DIR");
    command->add_option("--subject", options->subject, "Whose token it is, as in operator1:corp:ldap")
        ->required()
        ->type_name("NAME");
    command->add_option("--roles", options->roles, "Role ids, as in 3,17; '' for none")
        ->required()
        ->type_name("IDS");
    command->add_flag("--machine", options->isMachine, "The token is a machine's");
    command
        ->add_option("--lifetime", options->lifetime,
                     "Time until it expires: a number and s, m, h or d; --lifetime=-1h makes one that has "
                     "expired an hour ago, for tests")
        ->type_name("TIME")
        ->capture_default_str();
    command->footer("Example:\n"
                    "  ksrbac-sandbox token issue --root /tmp/ks --subject operator1:corp:ldap --roles 3,17 "
                    "> token");
    command->callback([options] { issue(*options); });
}

void addRevoke(CLI::App& parent)
{
    const auto options = std::make_shared<RevokeOptions>();
    CLI::App* command = parent.add_subcommand("revoke", "Remove the authorization token of a session token");
    command->add_option("--root", options->root, "Installation root")->required()->type_name("DIR");
    command->add_option("token", options->tokenFile, "File with the session token; - is standard input")
        ->required()
        ->type_name("FILE|-");
    command->footer("Example:\n"
                    "  ksrbac-sandbox token revoke --root /tmp/ks token");
    command->callback([options] { revoke(*options); });
}

void addTokenList(CLI::App& parent)
{
    const auto root = std::make_shared<std::string>();
    CLI::App* command = parent.add_subcommand("list", "List the stored tokens, one line of JSON each");
    command->add_option("--root", *root, "Installation root")->required()->type_name("DIR");
    command->footer("Example:\n"
                    "  ksrbac-sandbox token list --root /tmp/ks");
    command->callback([root] { listTokens(*root); });
}

} // namespace

void addTokenCommand(CLI::App& program)
{
    CLI::App* command =
        program.add_subcommand("token", "Issue and revoke the tokens of an installation root");
    command->require_subcommand(1);
    command->footer("Example:\n"
                    "  ksrbac-sandbox token issue --root /tmp/ks --subject operator1:corp:ldap --roles 3,17 "
                    "> token");
    addIssue(*command);
    addRevoke(*command);
    addTokenList(*command);
}

} // namespace keepsafe_sandbox
