#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <keepsafe/rbac/questions/policy_contents.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "io/Progress.h"
#include "output/escape.h"
#include "policy/OpenCache.h"
#include "policy/OperationNames.h"
#include "policy/PolicyDocument.h"
#include "policy/role_bits.h"
#include "service/RoleNames.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Print an access cache as a policy document or a table.

Without --format it prints a policy document: 'ksrbac-sandbox compile' makes a
cache of it that decides the same. A cache does not hold the names of roles, so
the document calls them "role ID". Operations have the names of this host's
operation cache; where that does not know a granted one, the document calls it
|OPERATIONS|BIT-N|, and a note says so.

--format csv and tsv print a table with a line of headings and one line for each
grant: object, inherit, role, propagation, operation. An object without grants
has one line, whose last fields are empty.

With --role-names the access-control service is asked what the roles are called:
the document has their names, and the table a last column "name".

What is printed is one state of the cache: it is read under its shared file lock
before anything is printed, and kept in memory meanwhile. Objects whose names
nobody can ask for are left out.

Exit status: 0 printed, 2 usage error, 3 the library reported a status or
failed, or something in the cache cannot be put into a document, 4 standard
output could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac cache dump main > policy.json
  ksrbac cache dump --format csv main > grants.csv)";

struct Options {
    std::string cache;
    std::string format = "json";
    bool roleNames = false;
};

/// Rows for auditors. Only the names of roles can have separators or quotes in them.
class Table {
public:
    /// With a column of the names of roles if `names` is not null.
    Table(char separator, const OperationNames& operations, const RoleNames* names)
        : separator_(1, separator), operations_(operations), names_(names)
    {
        row("object", "inherit", "role", "propagation", "operation", "name");
    }

    void add(const Rbac::GrantedObject& object)
    {
        const ScopedRoleBits bits = bitsByScope(object);
        const std::size_t before = rows_;
        addRows(object, "OBJECT_AND_CHILDREN", bits.both);
        addRows(object, "OBJECT", bits.onObject);
        addRows(object, "CHILDREN", bits.onChildren);
        if (rows_ == before) {
            row(object.name, inheritText(object), "", "", "", "");
        }
    }

    void print(Console& console) const { console.print(text_); }

private:
    static std::string inheritText(const Rbac::GrantedObject& object)
    {
        return object.inherits ? "on" : "off";
    }
    void addRows(const Rbac::GrantedObject& object, const char* propagation, const RoleBits& grants)
    {
        for (const auto& [role, bits] : grants) {
            const std::string* const name = names_ == nullptr ? nullptr : names_->nameOf(role);
            for (const std::int32_t bit : bits) {
                row(object.name, inheritText(object), std::to_string(role), propagation,
                    operations_.nameOf({bit}), name == nullptr ? "" : field(*name));
            }
        }
    }
    void row(const std::string& object, const std::string& inherit, const std::string& role,
             const std::string& propagation, const std::string& operation, const std::string& roleName)
    {
        text_ += printable(object) + separator_ + inherit + separator_ + role + separator_ + propagation +
                 separator_ + operation + (names_ == nullptr ? "" : separator_ + roleName) + '\n';
        ++rows_;
    }
    /// A field of csv is put in quotes; one of tsv cannot have tabs and line feeds, which are escaped.
    [[nodiscard]] std::string field(const std::string& name) const
    {
        if (separator_ == "\t") {
            return escapeForMessage(name, name.size());
        }
        std::string text = "\"";
        for (const char c : escapeForMessage(name, name.size())) {
            text += c == '"' ? "\"\"" : std::string(1, c);
        }
        return text + '"';
    }

    const std::string separator_;
    const OperationNames& operations_;
    const RoleNames* const names_;
    std::string text_;
    std::size_t rows_ = 0;
};

template <typename Output>
void readInto(Output& output, const OpenCache& cache, Console& console)
{
    Progress progress(console, "read", "objects");
    Rbac::CachePolicySource source(cache.client(), Rbac::WalkLocking::OneState);
    Rbac::GrantedObject object;
    while (source.next(object)) {
        output.add(object);
        progress.add();
    }
}

ExitStatus run(const Options& options, Console& console)
{
    const bool isDocument = options.format == "json";
    if (!isDocument && options.format != "csv" && options.format != "tsv") {
        throw UsageError("--format: give json, csv or tsv");
    }
    const OperationNames operations;
    const OpenCache cache(options.cache);
    RoleNames names("cache dump");
    if (options.roleNames) {
        names.askIfPossible(console);
    }
    if (!isDocument) {
        Table table(options.format == "csv" ? ',' : '\t', operations, options.roleNames ? &names : nullptr);
        readInto(table, cache, console);
        table.print(console);
        return ExitStatus::Good;
    }
    PolicyDocument document(operations, names);
    readInto(document, cache, console);
    for (const auto& [bit, name] : document.unknown()) {
        console.note("the operation cache has no operation of bit " + std::to_string(bit) +
                     ": it is called " + name);
    }
    document.print(console);
    return ExitStatus::Good;
}

} // namespace

Action addCacheDump(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addOptional(command, "--format", options->format, "json|csv|tsv", "json (a policy document), csv or tsv");
    addRoleNames(command, options->roleNames);
    addCache(command, options->cache);
    return {[options](bool /*json*/, Console& console) { return run(*options, console); }};
}

} // namespace ksrbac
