#include "service/accesscontrol/AccessControlTest.h"

#include <sstream>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>

#include "database/schema.h"
#include "service/support/JournalReplay.h"
#include "support/thrown.h"

namespace keepsafe_test {

using keepsafe_service::Content;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::OperationCache;

ObjectNamespace ns(const std::string& text) { return boost::lexical_cast<ObjectNamespace>(text); }

std::vector<ObjectNamespace> namespaces(const std::string& texts)
{
    std::vector<ObjectNamespace> result;
    std::istringstream words(texts);
    for (std::string word; words >> word;) {
        result.push_back(ns(word));
    }
    return result;
}

Tessara::Dal::DbConnectionSettings unsyncedSettings(const PrivateDatabase& database)
{
    auto settings = database.settings();
    if (database.kind() == DatabaseKind::Sqlite) {
        settings.onConnect.emplace_back("PRAGMA AUTH_MAIN.synchronous = OFF");
    }
    return settings;
}

AccessControlTest::AccessControlTest()
{
    ensureSchema(database_, keepsafe_service::SchemaOrigin::Attached);
    keepsafe_service::Store store(database_);
    const Content kept = store.load();
    Content content = kept;
    content.roles.push_back({ROLE, "operator", "", false});
    content.next.role = ROLE + 1;
    content.operations = {{VIEW, 0}, {RESTORE, 6}, {AUDIT, 40}};
    store.replace(kept, content, keepsafe_service::localAuthor());
    restart();
}

AccessControlTest::~AccessControlTest() = default;

void AccessControlTest::restart()
{
    service_.reset();
    service_ = std::make_unique<AccessControl>(database_, fileSystem_, location_);
}

keepsafe_service::Publishing AccessControlTest::withoutRetry()
{
    keepsafe_service::Publishing publishing;
    publishing.pauses.first = std::chrono::hours(1);
    return publishing;
}

AccessControlTest::Refused AccessControlTest::refusal(const std::function<void()>& call)
{
    const auto refusal = thrownBy<Refusal>(call);
    return {refusal.kind(), refusal.what(), refusal.details()};
}

void AccessControlTest::addObjects(const std::string& names)
{
    for (const ObjectNamespace& name : namespaces(names)) {
        Registration registration;
        registration.ns = name;
        service_->registerObjects({registration});
        service_->updateStates({{name, READY}});
    }
}

void AccessControlTest::grant(const std::string& object, const ObjectNamespace& operation,
                              Propagation propagation, int role)
{
    service_->addAccessDefinition(ns(object), {role, propagation, {operation}});
}

void AccessControlTest::setState(const std::string& object, ManagedObjectState state)
{
    service_->updateStates({{ns(object), state}});
}

Registration AccessControlTest::registration(const std::string& object, const std::string& children,
                                             bool ignoreAlreadyRegistered)
{
    Registration result;
    result.ns = ns(object);
    result.children = namespaces(children);
    result.ignoreAlreadyRegistered = ignoreAlreadyRegistered;
    return result;
}

bool AccessControlTest::isAllowed(const std::string& object, const ObjectNamespace& operation, int role)
{
    OperationCache operations;
    const auto cache = boost::make_shared<AccessCache>(
        Manifest(keepsafe_service::SERVICE_CACHE_ID,
                 keepsafe_service::CacheLocation(Tessara::Keepsafe::Platform::installationRoot(),
                                                 keepsafe_service::SERVICE_CACHE_ID)
                     .accessCache()));
    DiskAccessControlClient client(ObjectNamespace(), cache, operations);
    boost::shared_ptr<const AccessChecker> checker;
    EXPECT_EQ(client.createAccessChecker(std::set<int>{role}, operation, 0, checker), 0);
    return checker->checkAccess(ns(object));
}

std::string AccessControlTest::stateOf(const std::string& object) const
{
    try {
        return service_->object(ns(object)).state == READY ? "READY" : "PENDING";
    } catch (const Refusal&) {
        return "none";
    }
}

Texts AccessControlTest::definitionsOf(const std::string& object) const
{
    Texts texts;
    for (const auto& definition : service_->accessDefinitions(ns(object))) {
        std::ostringstream text;
        text << definition.grant.roleId << ' ' << definition.grant.propagation;
        for (const ObjectNamespace& operation : definition.grant.operations) {
            text << ' ' << operation;
        }
        texts.push_back(text.str());
    }
    return texts;
}

Texts AccessControlTest::everything(const std::vector<ObjectNamespace>& objects) const
{
    Texts texts;
    for (const auto& role : service_->roles()) {
        texts.push_back(std::to_string(role.id) + ' ' + role.name + ' ' + role.description);
    }
    for (const ObjectNamespace& name : objects) {
        if (stateOf(name.str()) == "none") {
            continue;
        }
        const auto object = service_->object(name);
        texts.push_back(name.str() + ' ' + object.type + ' ' + stateOf(name.str()) +
                        (object.inherit ? "" : " alone"));
        for (const auto& definition : service_->accessDefinitions(name)) {
            texts.push_back(definition.id);
        }
        const Texts definitions = definitionsOf(name.str());
        texts.insert(texts.end(), definitions.begin(), definitions.end());
    }
    return texts;
}

std::vector<keepsafe_service::RecordedEntry> AccessControlTest::journal(std::size_t pageSize) const
{
    std::vector<keepsafe_service::RecordedEntry> entries;
    keepsafe_service::JournalQuery query;
    query.limit = pageSize;
    keepsafe_service::JournalPage page;
    do {
        page = service_->journal(query);
        EXPECT_LE(page.entries.size(), pageSize);
        for (const auto& entry : page.entries) {
            entries.push_back(entry);
            query.after = entry.at;
        }
    } while (page.hasMore);
    return entries;
}

void AccessControlTest::expectJournalLeadsToTheStore()
{
    JournalReplay replay;
    for (const auto& [at, time, who, entry] : journal()) {
        replay.add(at.revision, entry.what, entry.before, entry.after);
    }
    EXPECT_EQ(replay.items(), itemsOf(keepsafe_service::Store(database_).load()));
}

} // namespace keepsafe_test
