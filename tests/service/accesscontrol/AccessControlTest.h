#ifndef KEEPSAFE_TESTS_SERVICE_ACCESSCONTROL_ACCESSCONTROLTEST_H
#define KEEPSAFE_TESTS_SERVICE_ACCESSCONTROL_ACCESSCONTROLTEST_H

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>

#include "accesscontrol/AccessControl.h"
#include "accesscontrol/Store.h"
#include "service/support/InterruptedFileSystem.h"
#include "support/CapturedLog.h"
#include "support/PrivateDatabase.h"
#include "support/TempDir.h"

namespace keepsafe_test {

using ObjectNamespace = Tessara::Keepsafe::Rbac::ObjectNamespace;
using Propagation = Tessara::Keepsafe::Rbac::Propagation;
using keepsafe_service::AccessControl;
using keepsafe_service::Grant;
using keepsafe_service::Refusal;
using keepsafe_service::Registration;
using Tessara::Keepsafe::Rbac::DELETED;
using Tessara::Keepsafe::Rbac::ManagedObjectState;
using Tessara::Keepsafe::Rbac::PENDING;
using Tessara::Keepsafe::Rbac::READY;
using Texts = std::vector<std::string>;

const ObjectNamespace VIEW("OPERATIONS", "VIEW");
const ObjectNamespace RESTORE("OPERATIONS", "RESTORE");
const ObjectNamespace AUDIT("OPERATIONS", "AUDIT"); ///< its bit is in another word

/// A namespace from its text form.
ObjectNamespace ns(const std::string& text);
/// Several, separated by blanks.
std::vector<ObjectNamespace> namespaces(const std::string& texts);

/// How to connect to a database that need not survive a crash of the machine: tests are quicker.
Tessara::Dal::DbConnectionSettings unsyncedSettings(const PrivateDatabase& database);

/// The service on a private database that knows role 0, role 7, and three operations, in a private root.
class AccessControlTest : public testing::TestWithParam<DatabaseKind> {
protected:
    AccessControlTest();
    ~AccessControlTest() override;

    /// Restarts the service on the contents of the database.
    void restart();

    /// For a service that publishes again with the next change alone.
    static keepsafe_service::Publishing withoutRetry();

    /// How a call is refused: its kind, message and details. Fails the test when it is not.
    struct Refused {
        Refusal::Kind kind = Refusal::Malformed;
        std::string message;
        Texts details;
    };
    static Refused refusal(const std::function<void()>& call);

    /// Registers objects and makes them ready.
    void addObjects(const std::string& names);
    void grant(const std::string& object, const ObjectNamespace& operation,
               Propagation propagation = Propagation::OBJECT, int role = ROLE);
    void setState(const std::string& object, ManagedObjectState state);
    static Registration registration(const std::string& object, const std::string& children = "",
                                     bool ignoreAlreadyRegistered = false);

    /// What the library answers from the published cache, opened again.
    [[nodiscard]] static bool isAllowed(const std::string& object, const ObjectNamespace& operation,
                                        int role = ROLE);

    /// "READY", "PENDING", or "none".
    [[nodiscard]] std::string stateOf(const std::string& object) const;
    /// "7 OBJECT |A| |B|" and so on for each access definition, without its id.
    [[nodiscard]] Texts definitionsOf(const std::string& object) const;
    /// Everything that the service answers, to be compared.
    [[nodiscard]] Texts everything(const std::vector<ObjectNamespace>& objects) const;

    /// The whole journal, read in pages of so many entries.
    [[nodiscard]] std::vector<keepsafe_service::RecordedEntry> journal(std::size_t pageSize = 1000) const;
    /// Does the journal again, and compares the result with what the database holds.
    void expectJournalLeadsToTheStore();

    static constexpr int ROLE = 7;

    TempRoot root_;
    CapturedLog log_;
    PrivateDatabase private_{GetParam()};
    keepsafe_service::Database database_{unsyncedSettings(private_)};
    UnsyncedFileSystem fileSystem_;
    keepsafe_service::CacheLocation location_{root_.path(), keepsafe_service::SERVICE_CACHE_ID};
    std::unique_ptr<AccessControl> service_;
};

} // namespace keepsafe_test

#endif
