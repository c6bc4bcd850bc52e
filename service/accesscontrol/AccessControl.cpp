#include "accesscontrol/AccessControl.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_set>

#include "accesscontrol/Model.h"
#include "accesscontrol/Store.h"
#include "accesscontrol/plans.h"
#include "accesscontrol/stored_texts.h"
#include "cachewriter/LiveCache.h"
#include "cachewriter/PublishError.h"
#include "errors/InputError.h"

namespace keepsafe_sandbox {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::READY;

namespace {

bool isNothing(const Changes& changes, NextIds before)
{
    return changes.removedDefinitions.empty() && changes.removedObjects.empty() &&
           changes.removedRoles.empty() && changes.roles.empty() && changes.objects.empty() &&
           changes.definitions.empty() && changes.next == before;
}

} // namespace

/// A change takes the writer's mutex from its checks to its publication, and that of the model, too, while it
/// changes the model: readers are never held up by the database or the disk.
class AccessControl::State {
public:
    State(Database& database, FileSystem& fileSystem, const CacheLocation& location)
        : store_(database), model_(store_.load()), cache_(fileSystem, location, ObjectNamespace())
    {
        noteReadyObjects();
        publish();
    }

    template <typename Read>
    [[nodiscard]] auto read(const Read& read) const
    {
        const std::shared_lock<std::shared_mutex> lock(modelMutex_);
        return read(model_);
    }

    /// Checks, stores and publishes what `plan` adds to a draft; returns what it returns.
    template <typename Plan>
    auto change(const Plan& plan)
    {
        const std::lock_guard<std::mutex> lock(writerMutex_);
        if (isUncertain_) {
            reload();
        }
        Draft draft(model_);
        auto result = plan(model_, draft);
        carryOut(std::move(draft).finish());
        return result;
    }

private:
    void carryOut(const Changes& changes)
    {
        if (!isNothing(changes, model_.next())) {
            store(changes);
        }
        if (!outdated_.empty() || !isPublished_) {
            publish();
        }
    }

    void store(const Changes& changes)
    {
        std::unordered_set<std::string> names;
        noteReadyObjects(changes, names);
        try {
            store_.apply(changes);
        } catch (const CommitError&) {
            isUncertain_ = true;
            throw;
        }
        // Should memory give out from here on, the database still has all of it.
        isUncertain_ = true;
        {
            const std::lock_guard<std::shared_mutex> lock(modelMutex_);
            model_.apply(changes);
        }
        noteReadyObjects(changes, names);
        outdated_.merge(names);
        isUncertain_ = false;
    }

    /// After a change of which nobody knows whether the database has made it.
    void reload()
    {
        Model model(store_.load());
        noteReadyObjects();
        {
            const std::lock_guard<std::shared_mutex> lock(modelMutex_);
            model_ = std::move(model);
        }
        noteReadyObjects();
        isUncertain_ = false;
        publish();
    }

    void noteReadyObjects()
    {
        for (const auto& [number, object] : model_.objects()) {
            if (object.kept.state == READY) {
                outdated_.insert(object.kept.name);
            }
        }
    }

    /// Of what changes the objects that are ready at this moment: called before a change and after it, it
    /// finds all that the cache has to learn.
    void noteReadyObjects(const Changes& changes, std::unordered_set<std::string>& names) const
    {
        const auto note = [&](std::int32_t number) {
            const Model::Object* const object = model_.object(number);
            if (object != nullptr && object->kept.state == READY) {
                names.insert(object->kept.name);
            }
        };
        for (const std::int32_t number : changes.removedObjects) {
            note(number);
        }
        for (const KeptObject& object : changes.objects) {
            note(object.number);
        }
        for (const KeptDefinition& definition : changes.definitions) {
            note(definition.object);
        }
        for (const std::int32_t id : changes.removedDefinitions) {
            if (const KeptDefinition* const definition = model_.definition(id)) {
                note(definition->object);
            }
        }
    }

    void publish()
    {
        isPublished_ = false;
        try {
            for (auto name = outdated_.begin(); name != outdated_.end(); name = outdated_.erase(name)) {
                const Model::Object* const object = model_.object(*name);
                if (object != nullptr && object->kept.state == READY) {
                    cache_.put(model_.cacheObject(*object));
                } else {
                    cache_.remove(storedNamespace(*name));
                }
            }
            static_cast<void>(cache_.publish(model_.operations()));
        } catch (const InputError& error) {
            // No fault of the request: the cache outgrows its format, or the operation cache contradicts.
            throw PublishError(error.what());
        }
        isPublished_ = true;
    }

    Store store_;
    mutable std::shared_mutex modelMutex_;
    Model model_;
    std::mutex writerMutex_;
    LiveCache cache_;
    std::unordered_set<std::string> outdated_; ///< what the cache has to learn
    bool isPublished_ = false;
    bool isUncertain_ = false; ///< the model may not be what the database holds
};

AccessControl::AccessControl(Database& database, FileSystem& fileSystem, const CacheLocation& location)
    : state_(std::make_unique<State>(database, fileSystem, location))
{
}

AccessControl::~AccessControl() = default;

std::vector<RoleRecord> AccessControl::roles() const
{
    return state_->read([](const Model& model) {
        std::vector<RoleRecord> roles;
        for (const auto& [id, role] : model.roles()) {
            roles.push_back(role);
        }
        return roles;
    });
}

RoleRecord AccessControl::role(std::int32_t id) const
{
    return state_->read([&](const Model& model) { return knownRole(model, id); });
}

RoleRecord AccessControl::createRole(const std::string& name, const std::string& description)
{
    return state_->change(
        [&](const Model& model, Draft& draft) { return planNewRole(model, name, description, draft); });
}

void AccessControl::updateRole(std::int32_t id, const std::string& name, const std::string& description)
{
    state_->change([&](const Model& model, Draft& draft) {
        planRoleUpdate(model, {id, name, description, false}, draft);
        return true;
    });
}

void AccessControl::deleteRole(std::int32_t id)
{
    state_->change([&](const Model& model, Draft& draft) {
        planRoleRemoval(model, id, draft);
        return true;
    });
}

std::vector<ObjectNamespace> AccessControl::operations() const
{
    return state_->read([](const Model& model) {
        std::vector<ObjectNamespace> operations;
        for (const auto& [operation, bit] : model.operations()) {
            operations.push_back(operation);
        }
        return operations;
    });
}

ObjectRecord AccessControl::object(const ObjectNamespace& ns) const
{
    return state_->read([&](const Model& model) { return model.record(knownObject(model, ns)); });
}

void AccessControl::setInherit(const ObjectNamespace& ns, bool inherit)
{
    state_->change([&](const Model& model, Draft& draft) {
        planInherit(model, ns, inherit, draft);
        return true;
    });
}

std::vector<AccessDefinitionRecord> AccessControl::accessDefinitions(const ObjectNamespace& ns) const
{
    return state_->read([&](const Model& model) {
        std::vector<AccessDefinitionRecord> definitions;
        for (const std::int32_t id : knownObject(model, ns).definitions) {
            definitions.push_back(model.record(*model.definition(id)));
        }
        return definitions;
    });
}

AccessDefinitionRecord AccessControl::addAccessDefinition(const ObjectNamespace& ns, const Grant& grant)
{
    return state_->change(
        [&](const Model& model, Draft& draft) { return model.record(planGrant(model, ns, grant, draft)); });
}

void AccessControl::deleteAccessDefinition(const ObjectNamespace& ns, const std::string& id)
{
    state_->change([&](const Model& model, Draft& draft) {
        planDefinitionRemoval(model, ns, id, draft);
        return true;
    });
}

std::vector<RegisteredObjects> AccessControl::registerObjects(const std::vector<Registration>& registrations)
{
    return state_->change(
        [&](const Model& model, Draft& draft) { return planRegistration(model, registrations, draft); });
}

void AccessControl::updateStates(const std::vector<StateChange>& changes)
{
    state_->change([&](const Model& model, Draft& draft) {
        planStates(model, changes, draft);
        return true;
    });
}

} // namespace keepsafe_sandbox
