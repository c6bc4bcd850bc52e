#include <iostream>
#include <limits>
#include <memory>

#include "cachewriter/publish_cache.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "console/ProgressBar.h"
#include "files/PosixFileSystem.h"
#include "generate/GeneratedCache.h"

namespace keepsafe_sandbox {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheLocation;
using keepsafe_service::PosixFileSystem;
using keepsafe_service::ProgressBar;
using keepsafe_service::publishCache;

namespace {

/// More would not fit into the 4 GiB that a file of the format can address.
constexpr std::int64_t MOST_LEAVES = 10000000;

struct GenerateOptions {
    // Signed: CLI11 turns "-1" into the largest number of an unsigned type.
    std::int64_t objects = 0;
    std::int64_t seed = 1;
    PublishOptions publish;
};

void generate(const GenerateOptions& options)
{
    const CacheLocation location = options.publish.locationInExistingRoot();
    const GeneratedCache cache(static_cast<std::uint64_t>(options.objects),
                               static_cast<std::uint64_t>(options.seed));
    std::uint64_t generation = 0;
    {
        ProgressBar progress;
        progress.show("generating");
        const CacheImage image = cache.build([&progress](std::uint64_t done, std::uint64_t total) {
            progress.show("generating", done, total);
        });
        progress.show("writing");
        PosixFileSystem fileSystem;
        generation = publishCache(fileSystem, location, GeneratedCache::rootNamespace(), image,
                                  GeneratedCache::operations(), options.publish.renumber());
    }
    std::cout << location.accessCache() << ": generation " << generation << ", " << cache.objectCount()
              << " objects, seed " << options.seed << "\n";
}

} // namespace

void addGenerateCommand(CLI::App& program)
{
    const auto options = std::make_shared<GenerateOptions>();
    CLI::App* command =
        program.add_subcommand("generate", "Publish a large access cache of random grants, for measurements");
    command->add_option("--objects", options->objects, "Number of leaves")
        ->required()
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{0}, MOST_LEAVES));
    command->add_option("--seed", options->seed, "The same seed gives the same cache")
        ->type_name("S")
        ->check(CLI::Range(std::int64_t{0}, std::numeric_limits<std::int64_t>::max()))
        ->capture_default_str();
    options->publish.addTo(*command);
    command->footer("Example:\n"
                    "  ksrbac-sandbox generate --objects 1000000 --seed 1 --root /tmp/ks --id large\n"
                    "Names: |KEEPSAFE|area-3|kind-07|vm-0000123-prod.example|; roles 1 to 200; operations\n"
                    "|OPERATIONS|OP-00| to |OPERATIONS|OP-63|.");
    command->callback([options] { generate(*options); });
}

} // namespace keepsafe_sandbox
