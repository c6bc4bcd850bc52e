#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "cli/arguments.h"
#include "cli/cache_location.h"
#include "cli/options.h"
#include "doctor/Examination.h"
#include "doctor/HeardLog.h"
#include "doctor/add_doctor.h"
#include "doctor/verdict.h"
#include "exit_status.h"
#include "io/token_file.h"

namespace ksrbac {

namespace {

constexpr char DESCRIPTION[] =
    R"(Tell whether this host can answer checks, and what to do if not.

Examines the configuration, the certificates and keys, the database, the master
server and its clock, the access cache with its lock, the operation cache, the
log and the limits of the system. Prints one line for each check: ok, warning,
failure, unknown (this user may not look) or skipped, and below a line that is
not good what to do. The first line sums them up for a monitoring system.

Without --cache the cache is examined that the service names for the namespace
of --for. With a session token, each of its checks is a line, and whether the
database has its session, with the roles.

Changes nothing on the host, and prints no secrets.

Exit status: 0 ok or skipped, 1 warnings, 2 failures, 3 something is unknown and
nothing worse, or a usage error, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac doctor
  ksrbac doctor --session-token-file token --timeout 3 --json)";

constexpr std::size_t LONGEST_TIMEOUT = 3600;

struct Options {
    std::optional<std::string> cache;
    std::string coveredBy = "|";
    std::optional<std::string> tokenFile;
    std::size_t timeout = 10;
};

ExaminationScope scopeOf(const Options& options)
{
    if (options.timeout < 1 || options.timeout > LONGEST_TIMEOUT) {
        throw InputError("doctor: --timeout: must be from 1 to " + std::to_string(LONGEST_TIMEOUT) +
                         " seconds");
    }
    if (options.cache) {
        (void)locateCache(*options.cache);
    }
    ExaminationScope scope;
    scope.cache = options.cache;
    scope.coveredBy = parseNamespace("--for", options.coveredBy);
    scope.coveredByText = scope.coveredBy.str();
    if (options.tokenFile) {
        scope.token = readToken(*options.tokenFile);
    }
    scope.timeout = std::chrono::seconds(options.timeout);
    return scope;
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    const HeardLog log; // what the libraries have to say becomes findings
    Examination examination(scopeOf(options));
    examine(examination,
            [&console](const char* what) { console.nameActivity(std::string("doctor: ") + what); });
    console.print(json ? reportJson(examination.findings()) : reportText(examination.findings(), console));
    return exitStatusOf(statusOf(examination.findings()));
}

} // namespace

Action addDoctor(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addOptional(command, "--cache", options->cache, value_name::CACHE,
                "Examine this cache: a directory if it has a\nslash, else an id");
    addOptional(command, "--for", options->coveredBy, "NS",
                "Ask the service which cache serves NS; without\nit, the root namespace |");
    addOptional(command, "--session-token-file", options->tokenFile, value_name::FILE_OR_STDIN,
                "Check the session token in the file, too; - is\nstandard input");
    addOptional(command, "--timeout", options->timeout, "SECONDS",
                "Wait at most so long for each server, database\nand lock; without it, 10");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
