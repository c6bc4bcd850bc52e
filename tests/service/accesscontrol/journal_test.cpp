#include <algorithm>
#include <atomic>
#include <future>
#include <regex>
#include <thread>

#include "journal/times.h"
#include "service/accesscontrol/AccessControlTest.h"

/// What the journal says about each kind of change, and how it is read.

namespace keepsafe_test {
namespace {

using keepsafe_service::Author;
using keepsafe_service::JournalPage;
using keepsafe_service::JournalQuery;
using keepsafe_service::RecordedEntry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const Author CLIENT = {"CN=it's \"ä\",O=\\, Ltd"};

std::string textOf(const RecordedEntry& recorded)
{
    const auto& entry = recorded.entry;
    return entry.what + ' ' + entry.object + ' ' + std::to_string(entry.roleId) + ' ' + entry.before + ' ' +
           entry.after;
}

std::string objectJson(const std::string& object, const std::string& state, bool inherit = true,
                       const std::string& registeredWith = "null")
{
    return R"({"inherit":)" + std::string(inherit ? "true" : "false") + R"(,"object":")" + object +
           R"(","objectType":"","registeredWith":)" + registeredWith + R"(,"state":")" + state + R"("})";
}

class Journal : public AccessControlTest {
protected:
    /// The entries that a change has made, without revision, time and author, which are all the same.
    Texts entriesOf(const std::function<void()>& change)
    {
        JournalQuery query;
        query.after = journal().back().at;
        change();
        Texts texts;
        for (const RecordedEntry& entry : service_->journal(query).entries) {
            EXPECT_EQ(entry.at.revision, query.after.revision + 1);
            EXPECT_EQ(entry.at.place, static_cast<int>(texts.size()) + 1);
            texts.push_back(textOf(entry));
        }
        return texts;
    }

    Texts whatOf(const JournalQuery& query) const
    {
        Texts texts;
        for (const RecordedEntry& entry : service_->journal(query).entries) {
            texts.push_back(std::to_string(entry.at.revision) + ' ' + entry.entry.what);
        }
        return texts;
    }
};

INSTANTIATE_TEST_SUITE_P(Databases, Journal, allDatabases(), kindName);

TEST_P(Journal, BeginsWithItsBeginningByTheLocalUser)
{
    const RecordedEntry first = journal().front();
    EXPECT_EQ(first.at.revision, 1);
    EXPECT_EQ(textOf(first), "journalBegun  -1 null null");
    EXPECT_EQ(first.who, keepsafe_service::localAuthor().name);
    EXPECT_EQ(first.who.rfind("local ", 0), 0U);
}

TEST_P(Journal, SaysWhoAndWhenInUtc)
{
    const std::string before = keepsafe_service::journalTime(std::chrono::system_clock::now());
    service_->createRole("new", "", CLIENT);
    const std::string after = keepsafe_service::journalTime(std::chrono::system_clock::now());
    const RecordedEntry last = journal().back();
    EXPECT_EQ(last.who, CLIENT.name);
    EXPECT_TRUE(std::regex_match(last.time, std::regex("2.{3}-..-..T..:..:..[.][0-9]{6}Z"))) << last.time;
    EXPECT_LE(before, last.time);
    EXPECT_LE(last.time, after);
}

TEST_P(Journal, OfRoles)
{
    const std::string made = R"({"description":"it's \u20AC \\ \"","id":8,"name":"new"})";
    const std::string changed = R"({"description":"","id":8,"name":"other"})";
    EXPECT_THAT(entriesOf([&] { service_->createRole("new", "it's € \\ \"", CLIENT); }),
                ElementsAre("roleCreated  8 null " + made));
    EXPECT_THAT(entriesOf([&] { service_->updateRole(8, "other", "", CLIENT); }),
                ElementsAre("roleChanged  8 " + made + ' ' + changed));
    addObjects("|A|");
    grant("|A|", VIEW, Propagation::OBJECT, 8);
    const std::string granted =
        R"({"id":"1","object":"|A|","operations":["|OPERATIONS|VIEW|"],"propagation":"OBJECT","roleId":8})";
    EXPECT_THAT(entriesOf([&] { service_->deleteRole(8, CLIENT); }),
                ElementsAre("accessDefinitionDeleted |A| 8 " + granted + " null",
                            "roleDeleted  8 " + changed + " null"));
}

TEST_P(Journal, OfAccessAndInheritance)
{
    addObjects("|A|");
    const std::string granted =
        R"({"id":"1","object":"|A|","operations":["|OPERATIONS|RESTORE|","|OPERATIONS|VIEW|"],)"
        R"("propagation":"CHILDREN","roleId":7})";
    EXPECT_THAT(entriesOf([&] {
                    service_->addAccessDefinition(
                        ns("|A|"), {ROLE, Propagation::CHILDREN, {RESTORE, VIEW, RESTORE}}, CLIENT);
                }),
                ElementsAre("accessDefinitionAdded |A| 7 null " + granted));
    EXPECT_THAT(entriesOf([&] { service_->deleteAccessDefinition(ns("|A|"), "1", CLIENT); }),
                ElementsAre("accessDefinitionDeleted |A| 7 " + granted + " null"));
    EXPECT_THAT(entriesOf([&] { service_->setInherit(ns("|A|"), false, CLIENT); }),
                ElementsAre("inheritanceSet |A| -1 " + objectJson("|A|", "READY") + ' ' +
                            objectJson("|A|", "READY", false)));
}

TEST_P(Journal, OfRegistrationsAndStates)
{
    Registration wanted = registration("|A|", "|A|1|");
    wanted.grants = {{ROLE, Propagation::OBJECT, {VIEW}}};
    EXPECT_THAT(
        entriesOf([&] { service_->registerObjects({wanted}, CLIENT); }),
        ElementsAre("objectRegistered |A| -1 null " + objectJson("|A|", "PENDING"),
                    "objectRegistered |A|1| -1 null " + objectJson("|A|1|", "PENDING", true, "\"|A|\""),
                    "accessDefinitionAdded |A| 7 null "
                    R"({"id":"1","object":"|A|","operations":["|OPERATIONS|VIEW|"],"propagation":"OBJECT",)"
                    R"("roleId":7})"));
    EXPECT_THAT(entriesOf([&] { setState("|A|", READY); }), SizeIs(2));
    EXPECT_THAT(entriesOf([&] { setState("|A|1|", PENDING); }),
                ElementsAre("objectPending |A|1| -1 " + objectJson("|A|1|", "READY", true, "\"|A|\"") + ' ' +
                            objectJson("|A|1|", "PENDING", true, "\"|A|\"")));
    EXPECT_THAT(entriesOf([&] {
                    service_->updateStates({{ns("|A|"), DELETED}, {ns("|A|1|"), PENDING}}, CLIENT);
                }),
                ElementsAre(testing::StartsWith("accessDefinitionDeleted |A| 7 "),
                            "objectDeleted |A| -1 " + objectJson("|A|", "READY") + " null",
                            "objectChanged |A|1| -1 " + objectJson("|A|1|", "PENDING", true, "\"|A|\"") +
                                ' ' + objectJson("|A|1|", "PENDING")));
}

TEST_P(Journal, OfAPendingObjectThatIsRegisteredAgain)
{
    service_->registerObjects({registration("|A|")});
    Registration again = registration("|A|", "", true);
    again.inherit = false;
    EXPECT_THAT(entriesOf([&] { service_->registerObjects({again}, CLIENT); }),
                ElementsAre("objectRegistered |A| -1 " + objectJson("|A|", "PENDING") + ' ' +
                            objectJson("|A|", "PENDING", false)));
}

TEST_P(Journal, HasNothingOfWhatIsRefusedOrChangesNothing)
{
    addObjects("|A|");
    EXPECT_THAT(entriesOf([&] {
                    EXPECT_THROW(service_->createRole("operator", ""), Refusal);
                    EXPECT_THROW(grant("|B|", VIEW), Refusal);
                    service_->updateRole(ROLE, "operator", "");
                    service_->setInherit(ns("|A|"), true);
                    setState("|A|", READY);
                    service_->registerObjects({registration("|A|", "", true)});
                }),
                IsEmpty());
    EXPECT_EQ(entriesOf([&] { grant("|A|", VIEW); }).size(), 1U) << "no revision was lost";
}

TEST_P(Journal, IsFilteredByObjectAndRole)
{
    addObjects("|A| |A|B| |AB| |C|"); // revisions 3 to 10
    grant("|A|B|", VIEW);
    service_->createRole("eight", "");
    grant("|C|", VIEW, Propagation::OBJECT, 8);
    JournalQuery query;
    query.object = "|A|";
    EXPECT_THAT(whatOf(query), ElementsAre("3 objectRegistered", "4 objectReady", "5 objectRegistered",
                                           "6 objectReady", "11 accessDefinitionAdded"));
    query.object = "|";
    EXPECT_THAT(whatOf(query), SizeIs(10)) << "everything about objects";
    query.object = "|A|";
    query.roleId = ROLE;
    EXPECT_THAT(whatOf(query), ElementsAre("11 accessDefinitionAdded"));
    query.object.reset();
    query.roleId = 8;
    EXPECT_THAT(whatOf(query), ElementsAre("12 roleCreated", "13 accessDefinitionAdded"));
}

TEST_P(Journal, IsFilteredByTimeAlsoWhenTheClockWasSetBack)
{
    addObjects("|A|"); // revisions 3 and 4
    private_.run("UPDATE AUTH_MAIN.ACTL_Change SET ChangedAt = '2001-01-01T00:00:00.000000Z'");
    private_.run(
        "UPDATE AUTH_MAIN.ACTL_Change SET ChangedAt = '2005-01-01T00:00:00.000000Z' WHERE Revision = 2 "
        "OR Revision = 4");
    JournalQuery query;
    query.since = "2005-01-01T00:00:00.000000Z";
    const Texts found = whatOf(query);
    EXPECT_EQ(found.front(), "2 imported");
    EXPECT_EQ(found.back(), "4 objectReady");
    EXPECT_EQ(std::count(found.begin(), found.end(), "3 objectRegistered"), 0);
    query.since = "2005-01-01T00:00:00.000001Z";
    EXPECT_THAT(whatOf(query), IsEmpty());
}

TEST_P(Journal, HasTextsOfAnyLength)
{
    service_.reset();
    keepsafe_service::Store store(database_);
    const auto kept = store.load();
    auto content = kept;
    std::vector<ObjectNamespace> operations;
    for (std::int32_t i = 0; i < 2500; ++i) {
        operations.emplace_back("OPERATIONS", std::string(40, 'x') + std::to_string(i));
        content.operations.emplace(operations.back(), 1000 + i);
    }
    store.replace(kept, content, CLIENT);
    restart();
    addObjects("|A|");
    service_->addAccessDefinition(ns("|A|"), {ROLE, Propagation::OBJECT, operations});
    EXPECT_GT(journal().back().entry.after.size(), 130'000U);
    expectJournalLeadsToTheStore();
}

TEST_P(Journal, APageHasABoundOfBytes)
{
    addObjects("|A|");
    const std::string megabyte = '"' + std::string(1 << 20U, 'x') + '"';
    for (int i = 1; i <= 6; ++i) {
        private_.run(
            "INSERT INTO AUTH_MAIN.ACTL_Change SELECT 4, 1 + CAST(? AS INTEGER), ChangedAt, ChangedBy, "
            "What, Namespace, RoleID, BeforeJson, CAST(? AS TEXT) FROM AUTH_MAIN.ACTL_Change WHERE "
            "Revision = 4 AND Place = 1",
            {std::to_string(i), megabyte});
    }
    JournalQuery query;
    query.after = {4, 1};
    const JournalPage page = service_->journal(query);
    EXPECT_THAT(page.entries, SizeIs(3));
    EXPECT_TRUE(page.hasMore);
    for (const RecordedEntry& entry : page.entries) {
        EXPECT_EQ(entry.entry.after, megabyte);
    }
    EXPECT_THAT(journal(2), SizeIs(journal().size()));
}

TEST_P(Journal, PagesAreCompleteWhileOthersChange)
{
    addObjects("|A| |B|");
    std::atomic<bool> isOver{false};
    std::vector<std::thread> writers;
    for (const std::string object : {"|A|", "|B|"}) {
        writers.emplace_back([&, object] {
            for (bool inherit = false; !isOver; inherit = !inherit) {
                service_->setInherit(ns(object), inherit);
            }
        });
    }
    for (int round = 0; round < 5; ++round) {
        const std::vector<RecordedEntry> entries = journal(3);
        for (std::size_t i = 1; i < entries.size(); ++i) {
            const auto [before, at] = std::make_pair(entries[i - 1].at, entries[i].at);
            EXPECT_TRUE(at.revision == before.revision ? at.place == before.place + 1
                                                       : at.revision == before.revision + 1 && at.place == 1)
                << before.revision << '-' << before.place << ' ' << at.revision << '-' << at.place;
        }
    }
    isOver = true;
    for (std::thread& writer : writers) {
        writer.join();
    }
    expectJournalLeadsToTheStore();
}

TEST_P(Journal, OfTwoServicesOnOneDatabaseHasOneOrder)
{
    // Each has a model of its own, so that they change what the other one does not.
    addObjects("|A| |B|");
    TempDir other;
    keepsafe_service::Database database(unsyncedSettings(private_));
    UnsyncedFileSystem fileSystem;
    AccessControl second(database, fileSystem, {other.path(), keepsafe_service::SERVICE_CACHE_ID});
    const auto begin = journal().back().at.revision;
    constexpr int CHANGES = 20;
    const auto flip = [](AccessControl& service, const char* object) {
        for (int i = 0; i < CHANGES; ++i) {
            service.setInherit(ns(object), i % 2 == 1);
        }
    };
    auto running = std::async(std::launch::async, [&] { flip(second, "|B|"); });
    flip(*service_, "|A|");
    running.get();
    EXPECT_EQ(journal().back().at.revision, begin + 2L * CHANGES);
    expectJournalLeadsToTheStore();
}

} // namespace
} // namespace keepsafe_test
