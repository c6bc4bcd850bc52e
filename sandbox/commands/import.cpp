#include <iostream>
#include <memory>

#include "accesscontrol/AccessControl.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/published_line.h"
#include "daemon/ServiceLock.h"
#include "files/PosixFileSystem.h"
#include "policy/import_policy.h"
#include "policy/policy_reader.h"
#include "root/configuration.h"

namespace keepsafe_sandbox {

namespace {

struct ImportOptions {
    std::string policy;
    std::string root;
    bool replace = false;
    bool renumber = false;
};

void importFrom(const ImportOptions& options)
{
    const RootLayout layout(options.root);
    const Tessara::Dal::DbConnectionSettings settings = loadDatabaseSettings(layout);
    const Policy policy = readPolicyFile(options.policy, Tessara::Keepsafe::Rbac::ObjectNamespace());
    const CacheLocation location(options.root, SERVICE_CACHE_ID);
    const ServiceLock lock(location, "an import");
    Database database(settings);
    PosixFileSystem fileSystem;
    const std::uint64_t generation = importPolicy(database, fileSystem, location, policy,
                                                  options.replace ? Replace::Allow : Replace::Refuse,
                                                  options.renumber ? Renumber::Allow : Renumber::Refuse);
    std::cout << publishedLine(location, generation, policy) << '\n';
}

} // namespace

void addImportCommand(CLI::App& program)
{
    const auto options = std::make_shared<ImportOptions>();
    CLI::App* command = program.add_subcommand(
        "import", "Load a policy document into the access-control service, and publish it");
    command->add_option("policy", options->policy, "The policy document")
        ->required()
        ->type_name("POLICY.json");
    command->add_option("--root", options->root, "Installation root")->required()->type_name("DIR");
    command->add_flag(
        "--replace", options->replace,
        "Replace the existing roles, operations, objects and access definitions with the policy");
    addRenumberFlag(*command, options->renumber);
    command->footer("Example:\n"
                    "  ksrbac-sandbox import examples/policies/company.json --root /tmp/ks\n"
                    "The service must not be running meanwhile; readers of its cache may.");
    command->callback([options] { importFrom(*options); });
}

} // namespace keepsafe_sandbox
