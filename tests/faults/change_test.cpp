// Calls of the system and of ODBC fail while the service carries out a change: stores it and publishes it.

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "accesscontrol/AccessControl.h"
#include "accesscontrol/Store.h"
#include "database/schema.h"
#include "faults/FaultRuns.h"
#include "files/PosixFileSystem.h"
#include "resources/Router.h"
#include "support/PrivateDatabase.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::AccessControl;
using keepsafe_service::CacheLocation;
using keepsafe_service::Content;
using keepsafe_service::Database;
using keepsafe_service::PosixFileSystem;
using keepsafe_service::Router;
using keepsafe_service::SERVICE_CACHE_ID;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr int ROLE = 7;
constexpr int LEVEL_OF_REQUESTS = 4; // each is logged with its status
const std::string GRANT =
    R"({"data":{"type":"accessDefinition","attributes":{"propagation":"OBJECT"},"relationships":{)"
    R"("role":{"data":{"id":"7","type":"accessControlRole"}},)"
    R"("operations":{"data":[{"id":"|OPERATIONS|VIEW|","type":"accessControlOperation"}]}}}})";

CacheLocation locationIn(const std::string& folder) { return {folder, SERVICE_CACHE_ID}; }

/// "allow", "deny", or "no answer".
std::string answerFor(const std::string& folder, const ObjectNamespace& object)
{
    try {
        const AccessCache cache(Manifest(SERVICE_CACHE_ID, locationIn(folder).accessCache()));
        return cache.lock().getOperationBit(object, ROLE, Operation{0}) ? "allow" : "deny";
    } catch (const EC_exception& failure) {
        return failure.status() == 12 ? "no answer" : "status " + std::to_string(failure.status());
    }
}

/// A service that knows role 7 and the objects |A|, |B| and |C|. Role 7 may view |C|.
class Change : public Scenario {
public:
    explicit Change(const std::string& folder) : database_(DatabaseKind::Sqlite), connection_(unsynced())
    {
        ensureSchema(connection_, keepsafe_service::SchemaOrigin::Attached);
        keepsafe_service::Store store(connection_);
        const Content kept = store.load();
        Content content = kept;
        content.roles.push_back({ROLE, "operator", "", false});
        content.next.role = ROLE + 1;
        content.operations = {{ObjectNamespace("OPERATIONS", "VIEW"), 0}};
        store.replace(kept, content, keepsafe_service::localAuthor());
        service_.emplace(connection_, fileSystem_, locationIn(folder));
        router_.emplace(*service_);
        for (const std::string object : {"A", "B", "C"}) {
            register_(object);
        }
        require(grant("C"));
    }

    Result work() override { return resultOf(grant("A")); }
    Result workAgain() override { return resultOf(grant("B")); }

private:
    [[nodiscard]] Tessara::Dal::DbConnectionSettings unsynced() const
    {
        auto settings = database_.settings();
        settings.onConnect.emplace_back("PRAGMA AUTH_MAIN.synchronous = OFF");
        return settings;
    }

    static Result resultOf(int status) { return status == 201 ? Result::Right : Result::Refused; }
    static void require(int status)
    {
        if (status != 201) {
            throw std::runtime_error("the service refuses: " + std::to_string(status));
        }
    }

    int post(const std::string& path, const std::string& body)
    {
        return router_->answer({"POST", "/keepsafe/access-control/" + path, "application/json", body}).status;
    }
    int grant(const std::string& object)
    {
        return post("managed-objects/%7C" + object + "%7C/access-definitions", GRANT);
    }
    void register_(const std::string& object)
    {
        require(post("object-registration-requests",
                     R"({"data":{"id":"|)" + object + R"(|","type":"objectRegistrationData","attributes":{)" +
                         R"("objectType":"vm","ignoreAlreadyRegistered":false,)" +
                         R"("accessControlAttributes":null,"relativeChildNamespaces":[]}}})"));
        require(post("bulk-object-update-requests",
                     R"({"data":{"type":"managedObjectUpdate","attributes":{"managedObjectsWithAttributes":[)"
                     R"({"objectId":"|)" +
                         object + R"(|","state":"READY"}]}}})"));
    }

    PrivateDatabase database_;
    Database connection_;
    PosixFileSystem fileSystem_;
    std::optional<AccessControl> service_;
    std::optional<Router> router_;
};

/// What readers find after the change: the state before it, the state after it, or that a write was
/// interrupted.
std::string inspectCaches(const std::string& folder, Result result)
{
    const std::string granted = answerFor(folder, ObjectNamespace("A"));
    const std::string before = answerFor(folder, ObjectNamespace("C"));
    const std::string never = answerFor(folder, ObjectNamespace("B"));
    if (granted == "no answer" && before == granted && never == granted) {
        return result == Result::Right ? "the change was answered with success, but readers refuse the cache"
                                       : "";
    }
    if ((granted != "allow" && granted != "deny") || before != "allow" || never != "deny") {
        return "a mixture: |A| " + granted + ", |C| " + before + ", |B| " + never;
    }
    if (result == Result::Right && granted != "allow") {
        return "the change was answered with success, but is not in force";
    }
    return whatHoldsLock(locationIn(folder).accessCache() + "/manifest.json") +
           whatHoldsLock(locationIn(folder).operationCache() + ".lck");
}

TEST(FaultsInAPublishedChange, LeaveTheOldStateTheNewOneOrAMark)
{
    expectSoundUnderFaults({[](const std::string& folder) { return std::make_unique<Change>(folder); },
                            inspectCaches, LEVEL_OF_REQUESTS});
}

} // namespace
} // namespace keepsafe_test
