#include <iostream>
#include <memory>
#include <optional>

#include "accesscontrol/AccessControl.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/published_line.h"
#include "console/ProgressBar.h"
#include "daemon/ServiceLock.h"
#include "files/PosixFileSystem.h"
#include "policy/import_policy.h"
#include "policy/policy_reader.h"
#include "root/configuration.h"

namespace keepsafe_sandbox {

using keepsafe_service::CacheLocation;
using keepsafe_service::Database;
using keepsafe_service::PosixFileSystem;
using keepsafe_service::ProgressBar;
using keepsafe_service::Renumber;
using keepsafe_service::SERVICE_CACHE_ID;
using keepsafe_service::ServiceLock;

namespace {

struct ImportOptions {
    std::string policy;
    std::string root;
    bool replace = false;
    bool renumber = false;
};

void importFrom(const ImportOptions& options)
{
    const RootLayout layout = existingRoot(options.root);
    const Tessara::Dal::DbConnectionSettings settings = loadDatabaseSettings(layout);
    std::optional<ProgressBar> bar(std::in_place);
    bar->show("reading the policy");
    const Policy policy = readPolicyFile(options.policy, Tessara::Keepsafe::Rbac::ObjectNamespace());
    const CacheLocation location(options.root, SERVICE_CACHE_ID);
    const ServiceLock lock(location, "an import");
    Database database(settings);
    PosixFileSystem fileSystem;
    const std::uint64_t generation = importPolicy(
        database, fileSystem, location, policy, options.replace ? Replace::Allow : Replace::Refuse,
        options.renumber ? Renumber::Allow : Renumber::Refuse,
        [&bar](const std::string& work, std::uint64_t done, std::uint64_t total) {
            bar->show(work, done, total);
        });
    bar.reset();
    std::cout << publishedLine(location, generation, policy) << '\n';
}

} // namespace

void addImportCommand(CLI::App& program)
{
    const auto options = std::make_shared<ImportOptions>();
    CLI::App* command = program.add_subcommand(
        "import", "Load a policy document into the access-control service, and publish it");
    command
        ->add_option("policy", options->policy, "The policy document, a file or a pipe; - is standard input")
        ->required()
        ->type_name("POLICY|-");
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
