#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <keepsafe/rbac/questions/policy_contents.h>

#include "cli/options.h"
#include "commands/commands.h"
#include "policy/OpenCache.h"
#include "policy/OperationNames.h"
#include "policy/PolicyDocument.h"
#include "policy/role_bits.h"

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
has one line, with three empty fields.

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
};

/// Rows for auditors. Names and propagations have neither separators nor quotes in them.
class Table {
public:
    Table(char separator, const OperationNames& operations)
        : separator_(1, separator), operations_(operations)
    {
        row("object", "inherit", "role", "propagation", "operation");
    }

    void add(const Rbac::GrantedObject& object)
    {
        const ScopedRoleBits bits = bitsByScope(object);
        const std::size_t before = rows_;
        addRows(object, "OBJECT_AND_CHILDREN", bits.both);
        addRows(object, "OBJECT", bits.onObject);
        addRows(object, "CHILDREN", bits.onChildren);
        if (rows_ == before) {
            row(object.name, inheritText(object), "", "", "");
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
            for (const std::int32_t bit : bits) {
                row(object.name, inheritText(object), std::to_string(role), propagation,
                    operations_.nameOf({bit}));
            }
        }
    }
    void row(const std::string& object, const std::string& inherit, const std::string& role,
             const std::string& propagation, const std::string& operation)
    {
        text_ += object + separator_ + inherit + separator_ + role + separator_ + propagation + separator_ +
                 operation + '\n';
        ++rows_;
    }

    const std::string separator_;
    const OperationNames& operations_;
    std::string text_;
    std::size_t rows_ = 0;
};

template <typename Output>
void readInto(Output& output, const OpenCache& cache)
{
    Rbac::CachePolicySource source(cache.client(), Rbac::WalkLocking::OneState);
    Rbac::GrantedObject object;
    while (source.next(object)) {
        output.add(object);
    }
}

ExitStatus run(const Options& options, Console& console)
{
    const bool isDocument = options.format == "json";
    if (!isDocument && options.format != "csv" && options.format != "tsv") {
        throw InputError("--format: give json, csv or tsv");
    }
    const OperationNames operations;
    const OpenCache cache(options.cache);
    if (!isDocument) {
        Table table(options.format == "csv" ? ',' : '\t', operations);
        readInto(table, cache);
        table.print(console);
        return ExitStatus::Good;
    }
    PolicyDocument document(operations);
    readInto(document, cache);
    for (const auto& [bit, name] : document.unknown()) {
        console.complain("note: the operation cache has no operation of bit " + std::to_string(bit) +
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
    addOptional(command, "--format", options->format, "FORMAT", "json (a policy document), csv or tsv");
    addCache(command, options->cache);
    return {[options](bool /*json*/, Console& console) { return run(*options, console); }};
}

} // namespace ksrbac
