#include "accesscontrol/Store.h"

#include <algorithm>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "accesscontrol/stored_texts.h"
#include "database/Transaction.h"
#include "journal/JournalWriter.h"

namespace keepsafe_service {

namespace {

constexpr std::size_t INTEGER_BYTES = 11;
constexpr std::size_t WORD_BYTES = 32;
constexpr char STORE[] = "store the change of the access control";

std::string flag(bool isSet) { return isSet ? "1" : "0"; }

class Rows {
public:
    Rows(Database& database, const char* table) : database_(database), table_(table) {}

    void forEach(const char* columns, const std::string& rest, const std::vector<std::size_t>& mostBytes,
                 const std::function<void(const Database::Texts&)>& take) const
    {
        const std::string table = std::string("AUTH_MAIN.") + table_;
        const auto place = [&](const Database::Texts& row) {
            return "use what is stored in " + table + ", " + row.front() + ": ";
        };
        database_.forEachRow("read the table " + table + ", which the service makes when it starts",
                             std::string("SELECT ") + columns + " FROM " + table + " " + rest, mostBytes,
                             [&](const Database::Texts& row) {
                                 try {
                                     take(row);
                                 } catch (const BadStoredText& fault) {
                                     throw DatabaseError("cannot " + place(row) + fault.what());
                                 }
                             });
    }

private:
    Database& database_;
    const char* table_;
};

/// Reads table by table, so that what a row refers to is loaded before it. What rows are ordered by is named
/// with its table: the name alone means the text that is read, in PostgreSQL.
class ContentReader {
public:
    explicit ContentReader(Database& database) : database_(database) {}

    Content read() &&
    {
        readRoles();
        readOperations();
        readObjects();
        readDefinitions();
        readNextIds();
        return std::move(content_);
    }

private:
    void readRoles()
    {
        Rows(database_, "ACTL_Role")
            .forEach("CAST(RoleID AS TEXT), Name, Description, CAST(SystemDefined AS TEXT)",
                     "ORDER BY ACTL_Role.RoleID",
                     {INTEGER_BYTES, Store::MOST_ROLE_TEXT_BYTES, Store::MOST_ROLE_TEXT_BYTES, INTEGER_BYTES},
                     [this](const Database::Texts& row) {
                         content_.roles.push_back({storedNumber(row[0]), row[1], row[2], storedFlag(row[3])});
                         roleIds_.insert(content_.roles.back().id);
                     });
        if (roleIds_.count(0) == 0) {
            throw DatabaseError("cannot use AUTH_MAIN.ACTL_Role: role 0 is missing, which "
                                "the service makes when it starts");
        }
    }

    void readOperations()
    {
        Rows(database_, "ACTL_Operation")
            .forEach("CAST(PermissionBit AS TEXT), Namespace", "ORDER BY ACTL_Operation.PermissionBit",
                     {INTEGER_BYTES, Store::MOST_NAME_BYTES}, [this](const Database::Texts& row) {
                         const std::int32_t bit = storedNumber(row[0]);
                         if (!content_.operations.emplace(storedNamespace(row[1]), bit).second) {
                             throw BadStoredText("operation " + row[1] + " is there twice");
                         }
                         bits_.insert(bit);
                     });
    }

    void readObjects()
    {
        std::unordered_set<std::string> names;
        Rows(database_, "ACTL_ManagedObject")
            .forEach("CAST(ObjectID AS TEXT), Namespace, objectType, CAST(Inherit AS TEXT), State, "
                     "CAST(RegisteredWith AS TEXT)",
                     "ORDER BY ACTL_ManagedObject.ObjectID",
                     {INTEGER_BYTES, Store::MOST_NAME_BYTES, Store::MOST_TYPE_BYTES, INTEGER_BYTES,
                      WORD_BYTES, INTEGER_BYTES},
                     [&](const Database::Texts& row) {
                         if (!names.insert(row[1]).second) {
                             throw BadStoredText("object " + row[1] + " is there twice");
                         }
                         content_.objects.push_back({storedNumber(row[0]), row[1], row[2], storedFlag(row[3]),
                                                     storedState(row[4]), storedNumber(row[5])});
                         objects_.insert(content_.objects.back().number);
                     });
        for (const KeptObject& object : content_.objects) {
            if (object.registeredWith != 0 && objects_.count(object.registeredWith) == 0) {
                throw DatabaseError("cannot use what is stored in AUTH_MAIN.ACTL_ManagedObject, " +
                                    std::to_string(object.number) +
                                    ": the object that it was registered with is not there");
            }
        }
    }

    /// Every row buffer has the size of the longest possible text, so the few definitions with many
    /// operations are read separately.
    void readDefinitions()
    {
        constexpr std::size_t SHORT_BYTES = 255;
        readDefinitions("LENGTH(PermissionBits) <= 255", SHORT_BYTES);
        readDefinitions("LENGTH(PermissionBits) > 255", Database::MOST_BYTES);
        std::sort(content_.definitions.begin(), content_.definitions.end(),
                  [](const KeptDefinition& left, const KeptDefinition& right) { return left.id < right.id; });
    }

    void readDefinitions(const char* condition, std::size_t mostBytes)
    {
        Rows(database_, "ACTL_AccessDefinition")
            .forEach("CAST(DefinitionID AS TEXT), CAST(ObjectID AS TEXT), CAST(RoleID AS TEXT), Propagation, "
                     "PermissionBits",
                     std::string("WHERE ") + condition,
                     {INTEGER_BYTES, INTEGER_BYTES, INTEGER_BYTES, WORD_BYTES, mostBytes},
                     [this](const Database::Texts& row) {
                         KeptDefinition definition = {storedNumber(row[0]), storedNumber(row[1]),
                                                      storedNumber(row[2]), storedPropagation(row[3]),
                                                      storedNumbers(row[4])};
                         requireKnown(definition);
                         content_.definitions.push_back(std::move(definition));
                     });
    }

    void requireKnown(const KeptDefinition& definition) const
    {
        if (objects_.count(definition.object) == 0 || roleIds_.count(definition.roleId) == 0) {
            throw BadStoredText("its object or role is not there");
        }
        for (const std::int32_t bit : definition.bits) {
            if (bits_.count(bit) == 0) {
                throw BadStoredText("no operation has the bit " + std::to_string(bit));
            }
        }
    }

    void readNextIds()
    {
        Rows(database_, "ACTL_NextID")
            .forEach("Kind, CAST(NextID AS TEXT)", "ORDER BY Kind", {WORD_BYTES, INTEGER_BYTES},
                     [this](const Database::Texts& row) {
                         (row[0] == "role" ? content_.next.role : content_.next.definition) =
                             storedNumber(row[1]);
                     });
        // `init` creates both; ids must not repeat even if somebody removes them.
        content_.next.role = std::max(content_.next.role, nextAfter(content_.roles.back().id));
        if (!content_.definitions.empty()) {
            content_.next.definition =
                std::max(content_.next.definition, nextAfter(content_.definitions.back().id));
        }
    }

    Database& database_;
    Content content_;
    std::unordered_set<std::int32_t> roleIds_;
    std::unordered_set<std::int32_t> bits_;
    std::unordered_set<std::int32_t> objects_;
};

/// The statements of one transaction. Statements of a kind are grouped, so that each is prepared once. The
/// first one locks the counter of revisions: whoever else changes the store waits until this has committed.
class ContentWriter {
public:
    ContentWriter(Database& database, const Author& author)
        : transaction_(database, STORE), journal_(transaction_, author)
    {
    }

    /// What adds an entry to the journal.
    [[nodiscard]] TakeEntry record()
    {
        return [this](const JournalEntry& entry) { journal_.add(entry); };
    }

    void clear()
    {
        for (const char* table :
             {"ACTL_AccessDefinition", "ACTL_ManagedObject", "ACTL_Operation", "ACTL_Role"}) {
            transaction_.change(std::string("DELETE FROM AUTH_MAIN.") + table);
        }
    }

    void remove(const char* table, const char* key, const std::vector<std::int32_t>& numbers)
    {
        const std::string sql =
            std::string("DELETE FROM AUTH_MAIN.") + table + " WHERE " + key + " = CAST(? AS INTEGER)";
        for (const std::int32_t number : numbers) {
            transaction_.change(sql, {std::to_string(number)});
        }
    }

    void put(const std::vector<RoleRecord>& roles)
    {
        for (const RoleRecord& role : roles) {
            transaction_.change(
                "INSERT INTO AUTH_MAIN.ACTL_Role (RoleID, Name, Description, SystemDefined) "
                "VALUES (CAST(? AS INTEGER), CAST(? AS TEXT), CAST(? AS TEXT), "
                "CAST(? AS INTEGER)) ON CONFLICT (RoleID) DO UPDATE SET "
                "Name = excluded.Name, Description = excluded.Description",
                {std::to_string(role.id), role.name, role.description, flag(role.systemDefined)});
        }
    }

    void put(const OperationBits& operations)
    {
        for (const auto& [operation, bit] : operations) {
            transaction_.change("INSERT INTO AUTH_MAIN.ACTL_Operation (PermissionBit, Namespace) VALUES "
                                "(CAST(? AS INTEGER), CAST(? AS TEXT))",
                                {std::to_string(bit), operation.str()});
        }
    }

    void put(const std::vector<KeptObject>& objects)
    {
        for (const KeptObject& object : objects) {
            transaction_.change(
                "INSERT INTO AUTH_MAIN.ACTL_ManagedObject "
                "(ObjectID, Namespace, objectType, Inherit, State, RegisteredWith) VALUES "
                "(CAST(? AS INTEGER), CAST(? AS TEXT), CAST(? AS TEXT), CAST(? AS INTEGER), CAST(? AS TEXT), "
                "CAST(? AS INTEGER)) ON CONFLICT (ObjectID) DO UPDATE SET objectType = excluded.objectType, "
                "Inherit = excluded.Inherit, State = excluded.State, "
                "RegisteredWith = excluded.RegisteredWith",
                {std::to_string(object.number), object.name, object.type, flag(object.inherit),
                 textOf(object.state), std::to_string(object.registeredWith)});
        }
    }

    void put(const std::vector<KeptDefinition>& definitions)
    {
        for (const KeptDefinition& definition : definitions) {
            transaction_.change(
                "INSERT INTO AUTH_MAIN.ACTL_AccessDefinition "
                "(DefinitionID, ObjectID, RoleID, Propagation, PermissionBits) VALUES "
                "(CAST(? AS INTEGER), CAST(? AS INTEGER), CAST(? AS INTEGER), CAST(? AS TEXT), "
                "CAST(? AS TEXT))",
                {std::to_string(definition.id), std::to_string(definition.object),
                 std::to_string(definition.roleId), textOf(definition.propagation), textOf(definition.bits)});
        }
    }

    void put(const NextIds& next)
    {
        putNext("role", next.role);
        putNext("accessDefinition", next.definition);
    }

    void commit()
    {
        journal_.finish();
        transaction_.commit();
    }

private:
    void putNext(const char* kind, std::int32_t next)
    {
        transaction_.change("INSERT INTO AUTH_MAIN.ACTL_NextID (Kind, NextID) VALUES "
                            "(CAST(? AS TEXT), CAST(? AS INTEGER)) "
                            "ON CONFLICT (Kind) DO UPDATE SET NextID = excluded.NextID",
                            {kind, std::to_string(next)});
    }

    Transaction transaction_;
    JournalWriter journal_;
};

} // namespace

Content Store::load() { return ContentReader(database_).read(); }

void Store::apply(const Model& model, const Changes& changes, Occasion occasion, const Author& author)
{
    ContentWriter writer(database_, author);
    writer.remove("ACTL_AccessDefinition", "DefinitionID", changes.removedDefinitions);
    writer.remove("ACTL_ManagedObject", "ObjectID", changes.removedObjects);
    writer.remove("ACTL_Role", "RoleID", changes.removedRoles);
    writer.put(changes.roles);
    writer.put(changes.objects);
    writer.put(changes.definitions);
    writer.put(changes.next);
    forEachEntry(model, changes, occasion, writer.record());
    writer.commit();
}

void Store::replace(const Content& kept, const Content& content, const Author& author,
                    const WorkProgress& tell)
{
    const std::size_t total = content.objects.size() + content.definitions.size();
    std::size_t done = 0;
    ContentWriter writer(database_, author);
    const auto putAll = [&](const auto& rows) {
        constexpr std::size_t atOnce = 1000;
        using Rows = std::decay_t<decltype(rows)>;
        for (auto from = rows.begin(); from != rows.end();) {
            const auto left = static_cast<std::size_t>(rows.end() - from);
            const auto to = from + static_cast<std::ptrdiff_t>(std::min(left, atOnce));
            writer.put(Rows(from, to));
            done += static_cast<std::size_t>(to - from);
            from = to;
            if (tell) {
                tell("storing the policy", done, total);
            }
        }
    };
    writer.clear();
    writer.put(content.roles);
    writer.put(content.operations);
    putAll(content.objects);
    putAll(content.definitions);
    writer.put(content.next);
    if (tell) {
        tell("writing the journal", 0, 0);
    }
    forEachEntry(kept, content, writer.record());
    writer.commit();
}

} // namespace keepsafe_service
