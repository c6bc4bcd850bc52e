#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_ACCESSCONTROLSTATE_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_ACCESSCONTROLSTATE_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <shared_mutex>
#include <string>
#include <unordered_set>
#include <utility>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "accesscontrol/AccessControl.h"
#include "accesscontrol/LogAfterwards.h"
#include "accesscontrol/Model.h"
#include "accesscontrol/Outage.h"
#include "accesscontrol/Store.h"
#include "accesscontrol/plans.h"
#include "accesscontrol/ready_objects.h"
#include "accesscontrol/stored_texts.h"
#include "cachewriter/LiveCache.h"
#include "errors/InputError.h"

namespace keepsafe_service {

/// A change, or an attempt to publish again, takes the writer's mutex from its checks to its publication, and
/// that of the model, too, while it changes the model: readers are never held up by the database or the disk.
class AccessControl::State {
public:
    State(Database& database, FileSystem& fileSystem, const CacheLocation& location,
          const Publishing& publishing)
        : database_(database), store_(database), publishing_(publishing), tell_(publishing.start),
          model_(loaded()), cache_(fileSystem, location, ObjectNamespace()),
          retry_([this] { return publishAgain(); }, publishing.pauses)
    {
        noteReadyObjects(model_, outdated_);
        LogAfterwards log(TAG);
        const std::lock_guard<std::mutex> lock(writerMutex_);
        const Settlement settlement(*this);
        const std::optional<Failure> failure = tryToPublish(publishing_.lock.longest, log);
        tell_ = {};
        if (failure && failure->needsRemedy) {
            throw PublishError(failure->reason);
        }
    }

    [[nodiscard]] bool isPublished() const noexcept { return isPublished_; }

    [[nodiscard]] JournalPage journal(const JournalQuery& query) const
    {
        return readJournal(database_, query);
    }

    template <typename Read>
    [[nodiscard]] auto read(const Read& read) const
    {
        const std::shared_lock<std::shared_mutex> lock(modelMutex_);
        return read(model_);
    }

    /// Checks, stores and publishes what `plan` adds to a draft; returns what it returns.
    template <typename Plan>
    auto change(Occasion occasion, const Author& author, const Plan& plan)
    {
        LogAfterwards log(TAG);
        const std::lock_guard<std::mutex> lock(writerMutex_);
        const Settlement settlement(*this);
        if (isUncertain_) {
            reload();
        }
        Draft draft(model_);
        auto result = plan(model_, draft);
        const Changes changes = std::move(draft).finish();
        if (!isNothing(changes, model_.next())) {
            store(changes, occasion, author);
        }
        publish(log);
        return result;
    }

private:
    static constexpr char TAG[] = "AccessControl";

    /// While changes are being made a repeated attempt must not hold them up; it is enough for readers that
    /// come and go.
    static constexpr std::chrono::milliseconds RETRYS_WAIT{250};
    static constexpr std::chrono::milliseconds NO_WAIT{0};

    static bool isNothing(const Changes& changes, NextIds before)
    {
        return changes.removedDefinitions.empty() && changes.removedObjects.empty() &&
               changes.removedRoles.empty() && changes.roles.empty() && changes.objects.empty() &&
               changes.definitions.empty() && changes.next == before;
    }

    /// Why publishing has failed.
    struct Failure {
        std::string reason;
        bool needsRemedy; ///< it will fail again until somebody has done something about it
    };

    /// At its end, however that comes: if the cache is not what the database holds, or nobody knows what that
    /// is, publishing is repeated.
    class Settlement {
    public:
        explicit Settlement(State& state) noexcept : state_(state) {}
        ~Settlement()
        {
            state_.isPublished_ = state_.isCurrent_ && !state_.isUncertain_;
            if (!state_.isPublished_) {
                state_.beginRetry();
            }
            state_.noteFigures();
        }
        Settlement(const Settlement&) = delete;
        Settlement& operator=(const Settlement&) = delete;

    private:
        State& state_;
    };

    void tell(const char* work, std::size_t done, std::size_t total) const
    {
        if (tell_) {
            tell_(work, done, total);
        }
    }

    Content loaded()
    {
        tell("reading the database", 0, 0);
        return store_.load();
    }

    void noteFigures() noexcept
    {
        ControlFigures* const figures = publishing_.figures;
        if (figures == nullptr) {
            return;
        }
        figures->roles = model_.roles().size();
        figures->operations = model_.operations().size();
        figures->objects = model_.objects().size();
        figures->definitions = model_.definitionCount();
        try {
            isPublished_ ? figures->setCurrent()
                         : figures->setOutdated(isUncertain_ ? "it is not known what the database holds"
                                                             : outage_.reason());
        } catch (const std::exception&) {
            // No memory for the text: the next attempt has it.
        }
    }

    void notePublishing(bool hasSucceeded) noexcept
    {
        if (publishing_.figures != nullptr) {
            ++(hasSucceeded ? publishing_.figures->publications : publishing_.figures->failures);
        }
    }

    void beginRetry() noexcept
    {
        try {
            retry_.begin();
        } catch (const std::exception&) {
            // No thread can be made now: the next change publishes, or tries to make one again.
        }
    }

    void publish(LogAfterwards& log)
    {
        if (outdated_.empty() && isCurrent_) {
            return;
        }
        if (tryToPublish(outage_.isOn() ? NO_WAIT : publishing_.lock.longest, log)) {
            throw NotPublished("the change is stored, but " + outage_.text());
        }
    }

    /// The retry's attempt.
    bool publishAgain() noexcept
    {
        LogAfterwards log(TAG);
        const std::lock_guard<std::mutex> lock(writerMutex_);
        const Settlement settlement(*this);
        try {
            if (isUncertain_) {
                reload();
            }
            return isCurrent_ || !tryToPublish(RETRYS_WAIT, log);
        } catch (const std::exception& error) {
            return fail(error.what(), log), false;
        }
    }

    void fail(const std::string& reason, LogAfterwards& log) noexcept
    {
        try {
            log.set(Tessara::Keepsafe::Platform::LOG_LEVEL_ERROR, outage_.failed(reason));
        } catch (const std::bad_alloc&) {
            // The attempts go on; they are only not told.
        }
    }

    void store(const Changes& changes, Occasion occasion, const Author& author)
    {
        std::unordered_set<std::string> names;
        noteReadyObjects(model_, changes, names);
        try {
            store_.apply(model_, changes, occasion, author);
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
        noteReadyObjects(model_, changes, names);
        outdated_.merge(names);
        isUncertain_ = false;
    }

    /// After a change of which nobody knows whether the database has made it.
    void reload()
    {
        Model model(store_.load());
        noteReadyObjects(model_, outdated_);
        {
            const std::lock_guard<std::shared_mutex> lock(modelMutex_);
            model_ = std::move(model);
        }
        noteReadyObjects(model_, outdated_);
        isUncertain_ = false;
        isCurrent_ = false;
    }

    /// Nothing: the cache is what the model is.
    std::optional<Failure> tryToPublish(std::chrono::milliseconds longestWait, LogAfterwards& log)
    {
        isCurrent_ = false;
        std::optional<Failure> failure;
        try {
            writeCache(longestWait);
        } catch (const InputError& error) {
            // No fault of the request: the cache outgrows its format, or the operation cache contradicts.
            failure = {error.what(), true};
        } catch (const EC_exception& error) {
            failure = {"status " + std::to_string(error.status()) + ": " + error.what(), false};
        } catch (const std::exception& error) {
            failure = {error.what(), false};
        }
        notePublishing(!failure);
        if (failure) {
            fail(failure->reason, log);
        } else {
            isCurrent_ = true;
            log.set(Tessara::Keepsafe::Platform::LOG_LEVEL_NOTABLE, outage_.succeeded());
        }
        return failure;
    }

    void writeCache(std::chrono::milliseconds longestWait)
    {
        constexpr std::size_t betweenSigns = 1000;
        const std::size_t total = outdated_.size();
        tell("publishing the access cache", 0, total);
        for (auto name = outdated_.begin(); name != outdated_.end(); name = outdated_.erase(name)) {
            if (outdated_.size() % betweenSigns == 0) {
                tell("publishing the access cache", total - outdated_.size(), total);
            }
            const Model::Object* const object = model_.object(*name);
            if (object != nullptr && object->kept.state == Tessara::Keepsafe::Rbac::READY) {
                cache_.put(model_.cacheObject(*object));
            } else {
                cache_.remove(storedNamespace(*name));
            }
        }
        static_cast<void>(cache_.publish(model_.operations(), {longestWait, publishing_.lock.isEnding}));
    }

    Database& database_;
    Store store_;
    const Publishing publishing_;
    WorkProgress tell_; ///< during the start alone
    mutable std::shared_mutex modelMutex_;
    Model model_;
    std::mutex writerMutex_;
    LiveCache cache_;
    std::unordered_set<std::string> outdated_; ///< what the cache has to learn
    bool isCurrent_ = false; ///< the published cache is what the model was, up to what is outdated
    std::atomic<bool> isPublished_ = false;
    bool isUncertain_ = false; ///< the model may not be what the database holds
    Outage outage_;
    Retry retry_; ///< last: its thread uses the others
};

} // namespace keepsafe_service

#endif
