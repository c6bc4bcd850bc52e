#include <map>
#include <random>

#include "service/accesscontrol/AccessControlTest.h"
#include "support/AccessModel.h"

/// Long rows of random changes against the plainest model there is.

namespace keepsafe_test {
namespace {

/// What the service should hold, as maps that are walked from end to end.
struct PlainService {
    struct PlainGrant {
        int role;
        Propagation propagation;
        std::vector<ObjectNamespace> operations;
    };
    struct Object {
        bool isReady = false;
        bool inherit = true;
        std::string registeredWith;
        std::map<std::string, PlainGrant> grants; ///< by id
    };
    std::map<std::string, Object> objects;

    void forget(const std::string& name)
    {
        objects.erase(name);
        for (auto& [other, object] : objects) {
            if (object.registeredWith == name) {
                object.registeredWith.clear();
            }
        }
    }

    void makePending(const std::string& name, const std::string& registeredWith)
    {
        const bool isNew = objects.count(name) == 0;
        if (isNew || !objects[name].isReady) {
            objects[name] = {};
            objects[name].registeredWith = registeredWith;
        }
    }

    /// Of a pending object that is registered again: what it brought along before and is not named now.
    void forgetPendingChildren(const std::string& name, const std::set<std::string>& named)
    {
        std::vector<std::string> children;
        for (const auto& [other, object] : objects) {
            if (object.registeredWith == name && !object.isReady && named.count(other) == 0) {
                children.push_back(other);
            }
        }
        for (const std::string& child : children) {
            forgetPendingChildren(child, named);
            forget(child);
        }
    }

    void setState(const std::string& name, ManagedObjectState state, const std::set<std::string>& named)
    {
        std::vector<std::string> children;
        for (const auto& [other, object] : objects) {
            if (object.registeredWith == name && named.count(other) == 0) {
                children.push_back(other);
            }
        }
        for (const std::string& child : children) {
            setState(child, state, named);
        }
        if (state == DELETED) {
            forget(name);
        } else {
            objects[name].isReady = state == READY;
        }
    }

    AccessModel decisions() const
    {
        const std::map<ObjectNamespace, std::int32_t> bits = {{VIEW, 0}, {RESTORE, 6}, {AUDIT, 40}};
        AccessModel model;
        for (const auto& [name, object] : objects) {
            if (!object.isReady) {
                continue;
            }
            ModelObject& result = model.objects[ns(name)];
            result.inherit = object.inherit;
            for (const auto& [id, grant] : object.grants) {
                for (const ObjectNamespace& operation : grant.operations) {
                    if (grant.propagation != Propagation::CHILDREN) {
                        result.own[grant.role].insert(bits.at(operation));
                    }
                    if (grant.propagation != Propagation::OBJECT) {
                        result.children[grant.role].insert(bits.at(operation));
                    }
                }
            }
        }
        return model;
    }
};

class RandomChanges : public AccessControlTest {
protected:
    static constexpr int ROLES = 3; ///< 7 to 9

    RandomChanges()
    {
        service_->createRole("eight", "");
        service_->createRole("nine", "");
        for (const std::string first : {"|a|", "|b|"}) {
            names_.push_back(first);
            for (const std::string second : {"c|", "d|"}) {
                const std::string parent = first + second;
                names_.push_back(parent);
                for (const std::string third : {"e|", "f|"}) {
                    names_.push_back(parent + third);
                }
            }
        }
    }

    unsigned pick(unsigned below) { return std::uniform_int_distribution<unsigned>(0, below - 1)(random_); }
    const std::string& anyName() { return names_[pick(static_cast<unsigned>(names_.size()))]; }

    std::set<std::string> someNames(unsigned most)
    {
        std::set<std::string> chosen;
        for (unsigned i = pick(most) + 1; i > 0; --i) {
            chosen.insert(anyName());
        }
        return chosen;
    }

    /// Makes the change in the model when the service takes it. The rules for what is refused are told here
    /// once more, in their simplest form.
    void expectRefused(bool isExpected, const std::function<void()>& change,
                       const std::function<void()>& inModel)
    {
        bool isRefused = false;
        try {
            change();
        } catch (const Refusal&) {
            isRefused = true;
        }
        EXPECT_EQ(isRefused, isExpected);
        if (!isExpected) {
            inModel();
        }
    }

    void registerSomething()
    {
        const std::string& name = anyName();
        const bool ignore = pick(2) == 0;
        std::set<std::string> named = {name};
        Registration wanted = registration(name, "", ignore);
        bool isThere = plain_.objects.count(name) != 0;
        for (const std::string& child : someNames(3)) {
            if (child != name && child.rfind(name, 0) == 0) {
                wanted.children.push_back(ns(child));
                named.insert(child);
                isThere = isThere || plain_.objects.count(child) != 0;
            }
        }
        expectRefused(
            isThere && !ignore, [&] { service_->registerObjects({wanted}); },
            [&] {
                const auto known = plain_.objects.find(name);
                if (known != plain_.objects.end() && !known->second.isReady) {
                    plain_.forgetPendingChildren(name, named);
                }
                for (const ObjectNamespace& child : wanted.children) {
                    const auto knownChild = plain_.objects.find(child.str());
                    if (knownChild != plain_.objects.end() && !knownChild->second.isReady) {
                        plain_.forgetPendingChildren(child.str(), named);
                    }
                }
                plain_.makePending(name, "");
                for (const ObjectNamespace& child : wanted.children) {
                    plain_.makePending(child.str(), name);
                }
            });
    }

    void changeStates()
    {
        std::map<std::string, ManagedObjectState> states;
        std::vector<keepsafe_service::StateChange> changes;
        std::set<std::string> named = someNames(4);
        bool isUnknown = false;
        for (const std::string& name : named) {
            states[name] = static_cast<ManagedObjectState>(pick(3));
            changes.push_back({ns(name), states[name]});
            isUnknown = isUnknown || plain_.objects.count(name) == 0;
        }
        expectRefused(
            isUnknown, [&] { service_->updateStates(changes); },
            [&] {
                // What is deleted last takes nothing along that was to stay.
                for (const auto& [name, state] : states) {
                    if (state != DELETED) {
                        plain_.setState(name, state, named);
                    }
                }
                for (const auto& [name, state] : states) {
                    if (state == DELETED) {
                        plain_.setState(name, state, named);
                    }
                }
            });
    }

    void addGrant()
    {
        const std::string& name = anyName();
        Grant grant;
        grant.roleId = ROLE + static_cast<int>(pick(ROLES));
        grant.propagation = static_cast<Propagation::enum_type>(pick(3));
        for (const ObjectNamespace& operation : {VIEW, RESTORE, AUDIT}) {
            if (pick(2) == 0) {
                grant.operations.push_back(operation);
            }
        }
        std::string id;
        expectRefused(
            plain_.objects.count(name) == 0 || grant.operations.empty(),
            [&] { id = service_->addAccessDefinition(ns(name), grant).id; },
            [&] {
                EXPECT_TRUE(usedIds_.insert(id).second) << id << " was given out before";
                plain_.objects[name].grants[id] = {grant.roleId, grant.propagation, grant.operations};
            });
    }

    void deleteGrant()
    {
        const std::string& name = anyName();
        const auto object = plain_.objects.find(name);
        if (object == plain_.objects.end() || object->second.grants.empty()) {
            return;
        }
        const std::string id = object->second.grants.begin()->first;
        service_->deleteAccessDefinition(ns(name), id);
        object->second.grants.erase(id);
    }

    void changeInherit()
    {
        const std::string& name = anyName();
        const bool inherit = pick(2) == 0;
        expectRefused(
            plain_.objects.count(name) == 0, [&] { service_->setInherit(ns(name), inherit); },
            [&] { plain_.objects[name].inherit = inherit; });
    }

    void changeSomething()
    {
        switch (pick(8)) {
        case 0:
        case 1:
            return registerSomething();
        case 2:
        case 3:
            return changeStates();
        case 4:
        case 5:
            return addGrant();
        case 6:
            return deleteGrant();
        default:
            return changeInherit();
        }
    }

    void expectEqualToModel()
    {
        for (const std::string& name : names_) {
            const auto object = plain_.objects.find(name);
            const bool isThere = object != plain_.objects.end();
            ASSERT_EQ(stateOf(name), !isThere                 ? "none"
                                     : object->second.isReady ? "READY"
                                                              : "PENDING")
                << name;
            if (isThere) {
                EXPECT_EQ(service_->object(ns(name)).inherit, object->second.inherit) << name;
                EXPECT_EQ(definitionsOf(name).size(), object->second.grants.size()) << name;
            }
        }
    }

    void expectDecisionsOfModel() const
    {
        const AccessModel model = plain_.decisions();
        const std::map<ObjectNamespace, std::int32_t> bits = {{VIEW, 0}, {RESTORE, 6}, {AUDIT, 40}};
        for (const std::string& name : names_) {
            for (int role = ROLE; role < ROLE + ROLES; ++role) {
                for (const auto& [operation, bit] : bits) {
                    EXPECT_EQ(isAllowed(name, operation, role), model.isAllowed({role}, bit, ns(name)))
                        << name << " " << role << " " << operation;
                }
            }
        }
    }

    std::mt19937 random_{1}; // NOLINT(cert-msc32-c,cert-msc51-cpp): the same changes in every run
    std::vector<std::string> names_;
    PlainService plain_;
    std::set<std::string> usedIds_;
};

INSTANTIATE_TEST_SUITE_P(Databases, RandomChanges, allDatabases(), kindName);

TEST_P(RandomChanges, LeaveTheServiceAndTheLibraryWithTheModelsAnswers)
{
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_.seed(seed);
        for (int step = 0; step < 150 && !HasFailure(); ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            changeSomething();
        }
        expectEqualToModel();
        expectDecisionsOfModel();
        restart();
        expectEqualToModel();
        expectDecisionsOfModel();
        expectJournalLeadsToTheStore();
        ASSERT_FALSE(HasFailure());
    }
}

} // namespace
} // namespace keepsafe_test
