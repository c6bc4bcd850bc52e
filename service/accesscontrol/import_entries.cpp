#include <algorithm>
#include <map>

#include "accesscontrol/change_entries.h"
#include "accesscontrol/item_texts.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::READY;

namespace {

/// How much there is: {"accessDefinitions":2,"objects":3,"operations":4,"roles":5}.
std::string countsText(const Content& content)
{
    return "{\"accessDefinitions\":" + std::to_string(content.definitions.size()) +
           ",\"objects\":" + std::to_string(content.objects.size()) +
           ",\"operations\":" + std::to_string(content.operations.size()) +
           ",\"roles\":" + std::to_string(content.roles.size()) + '}';
}

/// What a content has, found by number, name and bit.
class Index {
public:
    explicit Index(const Content& content)
    {
        for (const auto& [operation, bit] : content.operations) {
            operations_.emplace(bit, operation.str());
        }
        objects_.reserve(content.objects.size());
        names_.reserve(content.objects.size());
        for (const KeptObject& object : content.objects) {
            objects_.emplace(object.name, &object);
            names_.emplace(object.number, &object.name);
        }
        for (const RoleRecord& role : content.roles) {
            roles_.emplace(role.id, &role);
        }
        for (const KeptDefinition& definition : content.definitions) {
            definitions_.emplace(definition.id, &definition);
        }
    }

    [[nodiscard]] const KeptObject* object(const std::string& name) const { return find(objects_, name); }
    [[nodiscard]] const RoleRecord* role(std::int32_t id) const { return find(roles_, id); }
    [[nodiscard]] const KeptDefinition* definition(std::int32_t id) const { return find(definitions_, id); }

    [[nodiscard]] const std::string& nameOf(std::int32_t number) const { return *names_.at(number); }
    [[nodiscard]] std::string textOf(const KeptObject& object) const
    {
        return objectText(object, object.registeredWith == 0 ? nullptr : &nameOf(object.registeredWith));
    }
    [[nodiscard]] std::string textOf(const KeptDefinition& definition) const
    {
        return definitionText(definition, nameOf(definition.object),
                              [this](std::int32_t bit) -> const std::string& { return operations_.at(bit); });
    }

private:
    template <typename Items, typename Key>
    static typename Items::mapped_type find(const Items& items, const Key& key)
    {
        const auto found = items.find(key);
        return found == items.end() ? nullptr : found->second;
    }

    std::unordered_map<std::int32_t, std::string> operations_;
    std::unordered_map<std::string_view, const KeptObject*> objects_;
    std::unordered_map<std::int32_t, const std::string*> names_;
    std::unordered_map<std::int32_t, const RoleRecord*> roles_;
    std::unordered_map<std::int32_t, const KeptDefinition*> definitions_;
};

class ImportEntries {
public:
    ImportEntries(const Content& before, const Content& after, const TakeEntry& take)
        : before_(before), after_(after), old_(before), new_(after), take_(take)
    {
    }

    void takeAll() const
    {
        take_({what::IMPORTED, "", NO_ROLE, countsText(before_), countsText(after_)});
        takeRemoved();
        takeOperations();
        std::for_each(after_.roles.begin(), after_.roles.end(),
                      [this](const RoleRecord& role) { put(role); });
        std::for_each(after_.objects.begin(), after_.objects.end(),
                      [this](const KeptObject& object) { put(object); });
        for (const KeptDefinition& definition : after_.definitions) {
            const std::string text = new_.textOf(definition);
            const KeptDefinition* const known = old_.definition(definition.id);
            if (known == nullptr || old_.textOf(*known) != text) {
                take_({what::DEFINITION_ADDED, new_.nameOf(definition.object), definition.roleId, "null",
                       text});
            }
        }
    }

private:
    void takeRemoved() const
    {
        for (const KeptDefinition& definition : before_.definitions) {
            const std::string text = old_.textOf(definition);
            const KeptDefinition* const stays = new_.definition(definition.id);
            if (stays == nullptr || new_.textOf(*stays) != text) {
                take_({what::DEFINITION_DELETED, old_.nameOf(definition.object), definition.roleId, text,
                       "null"});
            }
        }
        for (const KeptObject& object : before_.objects) {
            if (new_.object(object.name) == nullptr) {
                take_({what::OBJECT_DELETED, object.name, NO_ROLE, old_.textOf(object), "null"});
            }
        }
        for (const RoleRecord& role : before_.roles) {
            if (new_.role(role.id) == nullptr) {
                take_({what::ROLE_DELETED, "", role.id, roleText(role), "null"});
            }
        }
    }

    void takeOperations() const
    {
        const auto takeMissing = [this](const OperationBits& from, const OperationBits& in, const char* event,
                                        std::string JournalEntry::*side) {
            for (const auto& [operation, bit] : from) {
                const auto found = in.find(operation);
                if (found == in.end() || found->second != bit) {
                    JournalEntry entry;
                    entry.what = event;
                    entry.*side = operationText(operation.str(), bit);
                    take_(entry);
                }
            }
        };
        takeMissing(before_.operations, after_.operations, what::OPERATION_DELETED, &JournalEntry::before);
        takeMissing(after_.operations, before_.operations, what::OPERATION_ADDED, &JournalEntry::after);
    }

    void put(const RoleRecord& role) const
    {
        const RoleRecord* const known = old_.role(role.id);
        const std::string before = known == nullptr ? "null" : roleText(*known);
        const std::string after = roleText(role);
        if (before != after) {
            take_({known == nullptr ? what::ROLE_CREATED : what::ROLE_CHANGED, "", role.id, before, after});
        }
    }

    void put(const KeptObject& object) const
    {
        const KeptObject* const known = old_.object(object.name);
        const std::string before = known == nullptr ? "null" : old_.textOf(*known);
        const std::string after = new_.textOf(object);
        if (before != after) {
            take_({whatHappened(known, object), object.name, NO_ROLE, before, after});
        }
    }

    static const char* whatHappened(const KeptObject* before, const KeptObject& after)
    {
        if (before == nullptr || before->state != after.state) {
            return after.state == READY ? what::OBJECT_READY : what::OBJECT_PENDING;
        }
        return before->inherit != after.inherit ? what::INHERITANCE_SET : what::OBJECT_CHANGED;
    }

    const Content& before_;
    const Content& after_;
    const Index old_;
    const Index new_;
    const TakeEntry& take_;
};

} // namespace

void forEachEntry(const Content& before, const Content& after, const TakeEntry& take)
{
    ImportEntries(before, after, take).takeAll();
}

} // namespace keepsafe_service
