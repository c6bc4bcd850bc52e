#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "cachewriter/ExclusiveLock.h"
#include "cachewriter/ImageBuilder.h"
#include "cachewriter/publish_cache.h"
#include "files/FileError.h"
#include "service/accesscontrol/AccessControlTest.h"
#include "service/support/StoppedReader.h"
#include "support/thrown.h"

/// Changes that are stored and cannot be published at once.

namespace keepsafe_test {
namespace {

using keepsafe_service::FileError;
using keepsafe_service::NotPublished;
using keepsafe_service::PublishError;
using keepsafe_service::Publishing;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

/// Refuses writes while it is set to.
class FullDisk : public UnsyncedFileSystem {
public:
    void write(const keepsafe_service::OpenFile& file, std::uint64_t offset, std::string_view bytes) override
    {
        if (isFull) {
            throw FileError("no space");
        }
        UnsyncedFileSystem::write(file, offset, bytes);
    }
    std::atomic<bool> isFull = false;
};

class Publication : public AccessControlTest {
protected:
    ~Publication() override { service_.reset(); }

    void start(const Publishing& publishing = {})
    {
        service_.reset();
        service_ = std::make_unique<AccessControl>(database_, disk_, location_, publishing);
    }

    void waitUntilPublished() const
    {
        const Clock::time_point end = Clock::now() + std::chrono::seconds(30);
        while (!service_->isPublished() && Clock::now() < end) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(service_->isPublished());
    }

    [[nodiscard]] std::string manifest() const { return location_.accessCache() + "/manifest.json"; }
    [[nodiscard]] std::string operationsLock() const { return location_.operationCache() + ".lck"; }

    /// What the service has logged of the cache's state.
    [[nodiscard]] Texts told() const
    {
        Texts texts;
        for (const LogLine& line : log_.lines(8)) {
            if (line.tag == "AccessControl") {
                texts.push_back(line.text);
            }
        }
        return texts;
    }

    FullDisk disk_;
};

TEST_P(Publication, KeepsTheFiguresForMonitoring)
{
    keepsafe_service::ControlFigures figures;
    Publishing publishing;
    publishing.figures = &figures;
    start(publishing);
    EXPECT_EQ(figures.publications, 1U);
    addObjects("|A|");
    EXPECT_EQ(figures.objects, 1U);
    EXPECT_FALSE(figures.outdated());
    disk_.isFull = true;
    EXPECT_THROW(grant("|A|", VIEW), NotPublished);
    ASSERT_TRUE(figures.outdated());
    EXPECT_THAT(figures.outdated()->reason, StartsWith("no space"));
    EXPECT_GE(figures.failures, 1U);
    EXPECT_EQ(figures.definitions, 1U);
    disk_.isFull = false;
    waitUntilPublished();
    service_.reset();
    EXPECT_FALSE(figures.outdated());
}

TEST_P(Publication, TellsHowTheStartGoesOn)
{
    addObjects("|A|");
    Texts told;
    Publishing publishing;
    publishing.start = [&told](const std::string& work, std::uint64_t, std::uint64_t) {
        if (told.empty() || told.back() != work) {
            told.push_back(work);
        }
    };
    start(publishing);
    addObjects("|B|");
    EXPECT_EQ(told, (Texts{"reading the database", "publishing the access cache"}));
}

INSTANTIATE_TEST_SUITE_P(Databases, Publication, testing::Values(DatabaseKind::Sqlite), kindName);

TEST_P(Publication, ThatFailsLeavesTheChangeInForceToBePublishedByTheNextOne)
{
    addObjects("|A| |B|");
    start(withoutRetry());
    disk_.isFull = true;
    EXPECT_THROW(grant("|A|", VIEW), NotPublished);
    EXPECT_EQ(definitionsOf("|A|").size(), 1U);
    EXPECT_THROW(service_->setInherit(ns("|A|"), true), NotPublished) << "also when nothing changes";
    EXPECT_FALSE(service_->isPublished());

    disk_.isFull = false;
    grant("|B|", RESTORE);
    EXPECT_TRUE(service_->isPublished());
    EXPECT_TRUE(isAllowed("|A|", VIEW));
    EXPECT_TRUE(isAllowed("|B|", RESTORE));
}

TEST_P(Publication, ThatFailsIsRepeatedUntilTheCacheIsWhatTheStoreSays)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    Publishing publishing;
    publishing.pauses = {milliseconds(1), milliseconds(4)};
    start(publishing);
    disk_.isFull = true;
    EXPECT_THAT(thrownBy<NotPublished>([this] { service_->deleteAccessDefinition(ns("|A|"), "1"); }).what(),
                AllOf(StartsWith("the change is stored, but since 2"),
                      HasSubstr("Z the access cache cannot be"),
                      HasSubstr("published: no space; until it is published again, readers refuse ")));
    std::this_thread::sleep_for(milliseconds(50));

    disk_.isFull = false;
    waitUntilPublished();

    EXPECT_FALSE(isAllowed("|A|", VIEW));
    const Texts lines = told();
    ASSERT_EQ(lines.size(), 2U) << "however many attempts";
    EXPECT_THAT(lines[0], EndsWith("; it is tried again until it succeeds"));
    EXPECT_THAT(lines[1], StartsWith("the access cache is published again; it was outdated since 2"));
}

TEST_P(Publication, ThatFailsAtTheStartIsRepeated)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    disk_.isFull = true;
    start();
    EXPECT_FALSE(service_->isPublished());
    EXPECT_EQ(definitionsOf("|A|").size(), 1U) << "it answers";

    disk_.isFull = false;
    waitUntilPublished();
    EXPECT_TRUE(isAllowed("|A|", VIEW));
}

TEST_P(Publication, OfOperationsThatContradictThePublishedOnesIsRefusedAtTheStart)
{
    service_.reset();
    writeFile(location_.operationCache(), "{\"|OPERATIONS|VIEW|\": 5}");
    EXPECT_THROW(start(), PublishError);
}

TEST_P(Publication, IsGivenUpAfterItsTimeWhileAReaderIsStoppedAndIsMadeUpForAfterwards)
{
    addObjects("|A|");
    grant("|A|", VIEW);
    Publishing publishing;
    publishing.lock.longest = milliseconds(100);
    start(publishing);
    {
        const StoppedReader reader(manifest());
        EXPECT_THAT(
            thrownBy<NotPublished>([this] { service_->deleteAccessDefinition(ns("|A|"), "1"); }).what(),
            EndsWith(manifest() + " is locked by others"));
        EXPECT_TRUE(isAllowed("|A|", VIEW)) << "readers go on";
    }
    waitUntilPublished();
    EXPECT_FALSE(isAllowed("|A|", VIEW));
}

TEST_P(Publication, WaitsForAStoppedReaderOnceAndNotForEveryChange)
{
    addObjects("|A|");
    Publishing publishing = withoutRetry();
    publishing.lock.longest = milliseconds(1000);
    start(publishing);
    const StoppedReader reader(manifest());
    EXPECT_THROW(grant("|A|", VIEW), NotPublished);

    const Clock::time_point begin = Clock::now();
    EXPECT_THROW(grant("|A|", RESTORE), NotPublished);
    EXPECT_LT(Clock::now() - begin, milliseconds(900));
    EXPECT_EQ(definitionsOf("|A|").size(), 2U);
}

TEST_P(Publication, HoldsNoLockWhileItWaitsForOne)
{
    addObjects("|A|");
    Publishing publishing;
    publishing.lock.longest = std::chrono::seconds(10);
    start(publishing);
    auto reader = std::make_unique<StoppedReader>(manifest());
    std::thread change([this] { grant("|A|", VIEW); });
    const auto isWaiting = [this] {
        const auto lines = log_.lines(8);
        return std::any_of(lines.begin(), lines.end(),
                           [](const LogLine& line) { return line.tag == "ExclusiveLock"; });
    };
    while (!isWaiting()) {
        std::this_thread::yield();
    }

    EXPECT_NO_THROW(keepsafe_service::ExclusiveLock(operationsLock(), {milliseconds(300), nullptr}));
    EXPECT_NO_THROW(
        keepsafe_service::publishCache(fileSystem_, keepsafe_service::CacheLocation(root_.path(), "other"),
                                       ns("|A|"), keepsafe_service::ImageBuilder().build(), {},
                                       keepsafe_service::Renumber::Refuse, {milliseconds(300), nullptr}))
        << "of another cache";

    reader.reset();
    change.join();
    EXPECT_TRUE(isAllowed("|A|", VIEW));
}

TEST_P(Publication, NeedsNoLockOfOperationsThatDoNotChange)
{
    addObjects("|A|");
    const StoppedReader reader(operationsLock());
    grant("|A|", VIEW);
    EXPECT_TRUE(isAllowed("|A|", VIEW));
}

TEST_P(Publication, GoesOnWhileAReaderIsStoppedOnTheGate)
{
    addObjects("|A|");
    const StoppedReader reader(manifest(), StoppedReader::GATE);
    grant("|A|", VIEW);
    EXPECT_TRUE(isAllowed("|A|", VIEW));
}

} // namespace
} // namespace keepsafe_test
