#include <iostream>
#include <memory>
#include <optional>

#include "cachewriter/publish_cache.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/published_line.h"
#include "console/ProgressBar.h"
#include "errors/InputError.h"
#include "files/PosixFileSystem.h"
#include "policy/policy_image.h"
#include "policy/policy_reader.h"
#include "json/Element.h"

namespace keepsafe_sandbox {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheLocation;
using keepsafe_service::InputError;
using keepsafe_service::parseNamespace;
using keepsafe_service::PosixFileSystem;
using keepsafe_service::ProgressBar;
using keepsafe_service::publishCache;
using keepsafe_service::quoted;

namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

struct CompileOptions {
    std::string policy;
    std::string covers = "|";
    PublishOptions publish;
};

ObjectNamespace coveredNamespace(const std::string& text)
{
    ObjectNamespace covers;
    if (!parseNamespace(text, covers)) {
        throw InputError("--covers: " + quoted(text) + " is not a namespace");
    }
    return covers;
}

void compile(const CompileOptions& options)
{
    const CacheLocation location = options.publish.location();
    const ObjectNamespace covers = coveredNamespace(options.covers);
    std::optional<ProgressBar> bar(std::in_place);
    bar->show("reading the policy");
    const Policy policy = readPolicyFile(options.policy, covers);
    bar->show("compiling");
    const CacheImage image = imageOf(policy);
    bar->show("writing");
    PosixFileSystem fileSystem;
    const std::uint64_t generation =
        publishCache(fileSystem, location, covers, image, policy.operations, options.publish.renumber());
    bar.reset();
    std::cout << publishedLine(location, generation, policy) << '\n';
}

} // namespace

void addCompileCommand(CLI::App& program)
{
    const auto options = std::make_shared<CompileOptions>();
    CLI::App* command = program.add_subcommand("compile", "Compile a policy document into an access cache");
    command
        ->add_option("policy", options->policy, "The policy document, a file or a pipe; - is standard input")
        ->required()
        ->type_name("POLICY|-");
    options->publish.addTo(*command);
    command->add_option("--covers", options->covers, "The namespace that the cache covers")
        ->type_name("NS")
        ->capture_default_str();
    command->footer("Example:\n"
                    "  ksrbac-sandbox compile examples/policies/company.json --root /tmp/ks --id company\n"
                    "Writes DIR/wmc/webserver/temp/access-caches/ID and DIR/wmc/webserver/temp/"
                    "operation-cache.json.\nReaders may use the cache meanwhile.");
    command->callback([options] { compile(*options); });
}

} // namespace keepsafe_sandbox
