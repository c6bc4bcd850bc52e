#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <jansson.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/api/Changes.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/api/Roles.h>

#include "accesscontrol/Store.h"
#include "root/configuration.h"
#include "sandbox/support/RunningService.h"
#include "service/support/JournalReplay.h"
#include "support/CapturedLog.h"
#include "support/PrivateDatabase.h"
#include "support/PrivatePostgres.h"

/// A service that is killed at random moments while several clients change things: the journal has what was
/// acknowledged, once, and leads to what the store holds.

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::RootLayout;
using Tessara::Keepsafe::Rbac::AccessDefinition;
using Tessara::Keepsafe::Rbac::Change;
using Tessara::Keepsafe::Rbac::ChangeAPI;
using Tessara::Keepsafe::Rbac::ChangePage;
using Tessara::Keepsafe::Rbac::ManagedObjectAPI;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Propagation;
using Tessara::Keepsafe::Rbac::RoleAPI;

/// How often things were acknowledged, by entry: "roleCreated 51".
class Acknowledged {
public:
    void add(const std::string& entry)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        entries_.push_back(entry);
        ++count_;
    }
    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] const std::vector<std::string>& entries() const { return entries_; }

private:
    std::mutex mutex_;
    std::vector<std::string> entries_;
    std::atomic<int> count_{0};
};

/// Changes one thing after the other; what gets no answer may or may not have been done.
class Client {
public:
    Client(int number, Acknowledged& acknowledged, const std::atomic<bool>& isOver)
        : number_(number), acknowledged_(acknowledged), isOver_(isOver)
    {
    }

    void run()
    {
        for (int change = 0; !isOver_; ++change) {
            try {
                makeChange(change);
            } catch (const EC_exception&) {
                definition_.reset();
                std::this_thread::yield();
            }
        }
    }

private:
    void makeChange(int change)
    {
        if (definition_) {
            const std::string id = *definition_;
            ManagedObjectAPI().delete_access_definition_by_id(object_, id);
            definition_.reset();
            acknowledged_.add("accessDefinitionDeleted " + id);
        } else if (change % 3 == 0) {
            const std::string name = std::to_string(number_) + '-' + std::to_string(change);
            acknowledged_.add("roleCreated " + std::to_string(RoleAPI().create_role(name, "").id));
        } else {
            const auto operations = Tessara::Keepsafe::Rbac::json_array_shared();
            json_array_append_new(operations.get(), json_pack("{s:s, s:s}", "id", "|OPERATIONS|VIEW|", "type",
                                                              "accessControlOperation"));
            Tessara::Keepsafe::Rbac::Role role;
            role.id = 17;
            definition_ =
                ManagedObjectAPI().add_access_definition(object_, role, Propagation::CHILDREN, operations).id;
            acknowledged_.add("accessDefinitionAdded " + *definition_);
        }
    }

    const int number_;
    Acknowledged& acknowledged_;
    const std::atomic<bool>& isOver_;
    const ObjectNamespace object_{"KEEPSAFE", "STORAGE"};
    std::optional<std::string> definition_; ///< that was added last
};

/// An entry as clients acknowledge it; empty for others.
std::string acknowledgedAs(const Change& change)
{
    const auto document = Tessara::Keepsafe::Rbac::json_loads_shared(
        change.after == "null" ? "[" + change.before + "]" : "[" + change.after + "]");
    const json_t* const id = json_object_get(json_array_get(document.get(), 0), "id");
    if (json_is_integer(id)) {
        return change.what + ' ' + std::to_string(json_integer_value(id));
    }
    return json_is_string(id) ? change.what + ' ' + json_string_value(id) : "";
}

class KilledJournal : public testing::TestWithParam<DatabaseKind> {
protected:
    CapturedLog log_{17}; // lines about each request without an answer
    std::unique_ptr<PrivatePostgres> postgres_ =
        GetParam() == DatabaseKind::Postgres ? std::make_unique<PrivatePostgres>() : nullptr;
    RunningService service_{KEEPSAFE_EXAMPLE_POLICIES "/company.json",
                            postgres_ ? postgres_->connectionString() : ""};
};

INSTANTIATE_TEST_SUITE_P(Databases, KilledJournal, allDatabases(), kindName);

TEST_P(KilledJournal, HasWhatWasAcknowledgedOnceAndLeadsToTheStore)
{
    constexpr int CLIENTS = 4;
    constexpr int ROUNDS = 6;
    Acknowledged acknowledged;
    std::atomic<bool> isOver{false};
    std::vector<std::thread> clients;
    for (int number = 0; number < CLIENTS; ++number) {
        clients.emplace_back([&, number] { Client(number, acknowledged, isOver).run(); });
    }
    std::mt19937 random{std::random_device()()};
    for (int round = 0; round < ROUNDS; ++round) {
        const int enough = acknowledged.count() + std::uniform_int_distribution<int>(4, 20)(random);
        while (acknowledged.count() < enough) {
            std::this_thread::sleep_for(
                std::chrono::microseconds(std::uniform_int_distribution<int>(1, 3000)(random)));
        }
        service_.kill();
        service_.start();
    }
    isOver = true;
    for (std::thread& client : clients) {
        client.join();
    }

    JournalReplay replay;
    std::map<std::string, int> entries;
    ChangePage page = ChangeAPI().get_changes({});
    for (bool isLast = false; !isLast;) {
        for (const Change& change : page.changes) {
            replay.add(change.revision, change.what, change.before, change.after);
            ++entries[acknowledgedAs(change)];
        }
        isLast = page.next.empty();
        page = isLast ? page : ChangeAPI().get_next(page);
    }
    for (const std::string& entry : acknowledged.entries()) {
        EXPECT_EQ(entries[entry], 1) << entry;
    }
    keepsafe_service::Database database(keepsafe_sandbox::loadDatabaseSettings(RootLayout(service_.path())));
    EXPECT_EQ(replay.items(), itemsOf(keepsafe_service::Store(database).load()));
}

} // namespace
} // namespace keepsafe_test
