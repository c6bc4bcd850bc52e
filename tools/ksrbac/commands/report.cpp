#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include <keepsafe/rbac/questions/cache_state.h>
#include <keepsafe/rbac/questions/policy_contents.h>

#include "cli/cache_location.h"
#include "cli/options.h"
#include "commands/commands.h"
#include "io/NewFile.h"
#include "io/Progress.h"
#include "io/input.h"
#include "output/escape.h"
#include "policy/OpenCache.h"
#include "policy/OperationNames.h"
#include "report/page.h"
#include "report/role_names_file.h"
#include "service/RoleNames.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Make a page of an access cache, to look at in a browser.

The page is one HTML file: it loads nothing, sends nothing and stores nothing, so
that it can be opened from a mail. It shows the tree of objects with what each
role may do there and where inheritance is cut, finds objects by name, has a
table of roles and operations for each object, and says why something is allowed
or denied, by the rules of 'ksrbac check --explain'.

--compare adds what has changed since another cache, the earlier one: objects,
inheritance, grants, and decisions.

A cache does not hold the names of roles. With --role-names the access-control
service is asked for them; --role-names-from reads them from a file, one role a
line: its id, a tab, and its name.

The page shows one state of each cache, which is kept in memory meanwhile. The
same states give the same page, to the byte. The file appears when it is
complete, with mode 0644; a page tells everything that the cache holds, so give
it to nobody who may not know that.

Exit status: 0 written, 2 usage error, or a file that cannot be read or created,
3 the library reported a status or failed, 4 the page could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac report --cache main --output main.html
  ksrbac report --cache main --compare ./yesterday --output changes.html)";

constexpr char STANDARD_OUTPUT[] = "-";

struct Options {
    std::string cache;
    std::optional<std::string> compare;
    std::optional<std::string> title;
    std::optional<std::string> roleNamesFile;
    bool roleNames = false;
    std::string output;
};

/// Passes on to standard output.
class ConsoleSink final : public ByteSink {
public:
    explicit ConsoleSink(Console& console) noexcept : console_(console) {}
    void write(std::string_view bytes) override { console_.print(bytes); }

private:
    Console& console_;
};

/// The objects of a cache; shows on a terminal how many have been read.
class WatchedSource final : public Rbac::PolicySource {
public:
    WatchedSource(Rbac::AccessControlClient& client, Console& console)
        : source_(client, Rbac::WalkLocking::OneState), progress_(console, "read", "objects")
    {
    }
    [[nodiscard]] bool next(Rbac::GrantedObject& object) override
    {
        progress_.add();
        return source_.next(object);
    }

private:
    Rbac::CachePolicySource source_;
    Progress progress_;
};

StoredPolicy readPolicy(Rbac::AccessControlClient& client, Console& console)
{
    WatchedSource source(client, console);
    return StoredPolicy(source);
}

/// One state of the cache, whatever is published meanwhile.
CacheCopy readCache(const std::string& idOrDirectory, Console& console)
{
    constexpr int ATTEMPTS = 10;
    const CacheLocation location = locateCache(idOrDirectory);
    const Rbac::Manifest manifest(location.id, location.directory);
    const OpenCache cache(idOrDirectory);
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        const Rbac::CacheState state = Rbac::cacheState(cache.client()).value();
        StoredPolicy policy = readPolicy(cache.client(), console);
        if (Rbac::cacheState(cache.client()).value().stamp == state.stamp) {
            return {{location.id, manifest.ns.str(), state}, std::move(policy)};
        }
    }
    throw std::runtime_error("cache " + escapeForMessage(idOrDirectory) +
                             " changes faster than it can be read: try again, or copy it before");
}

void addChanges(const std::string& earlier, ReportSubject& subject, Console& console)
{
    CacheCopy before = readCache(earlier, console);
    StoredSource beforeSource(before.policy);
    StoredSource afterSource(subject.cache.policy);
    subject.changes = ChangeList(beforeSource, afterSource);
    subject.before = std::move(before.identity);
}

ExitStatus writeTo(const std::string& output, const ReportSubject& subject, Console& console)
{
    if (output == STANDARD_OUTPUT) {
        ConsoleSink sink(console);
        writePage(subject, sink);
        return ExitStatus::Good;
    }
    try {
        NewFile file(output);
        writePage(subject, file);
        file.publish();
        return ExitStatus::Good;
    } catch (const OutputError& error) {
        throw CommandFailure(
            {FailureKind::Output, "cannot write " + escapeForMessage(output) + ": " + error.what()});
    }
}

/// Those of the file, and for other roles those of the service.
std::map<std::int32_t, std::string> namesOfRoles(const Options& options, Console& console)
{
    std::map<std::int32_t, std::string> names;
    if (options.roleNamesFile) {
        names = readRoleNames(*options.roleNamesFile);
    }
    if (options.roleNames) {
        RoleNames ofService("report");
        ofService.askIfPossible(console);
        names.insert(ofService.names().begin(), ofService.names().end());
    }
    return names;
}

ExitStatus run(const Options& options, Console& console)
{
    const std::map<std::int32_t, std::string> roleNames = namesOfRoles(options, console);
    const OperationNames operations;
    const CacheCopy cache = readCache(options.cache, console);
    ReportSubject subject{options.title.value_or("Access cache " + cache.identity.id),
                          operations,
                          roleNames,
                          cache,
                          std::nullopt,
                          {}};
    if (options.compare) {
        addChanges(*options.compare, subject, console);
    }
    return writeTo(options.output, subject, console);
}

} // namespace

Action addReport(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addRequired(command, "--cache", options->cache, value_name::CACHE,
                "The access cache, by its id or its\ndirectory");
    addOptional(command, "--compare", options->compare, value_name::CACHE,
                "An earlier cache to compare with");
    addOptional(command, "--title", options->title, "TEXT", "The page's title");
    addFlag(command, "--role-names", options->roleNames, "Ask the service for the names of roles");
    addOptional(command, "--role-names-from", options->roleNamesFile, value_name::FILE_OR_STDIN,
                "Read the names of roles; - is standard input");
    addRequired(command, "--output", options->output, value_name::FILE_OR_STDIN,
                "The file to write; - is standard output");
    return {[options](bool /*json*/, Console& console) { return run(*options, console); }};
}

} // namespace ksrbac
