#include "Pool.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <new>
#include <thread>
#include <utility>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/log/logmsg.h>

#include "secure_execution.h"

namespace Tessara::Dal {
namespace {

using Keepsafe::Platform::LOG_LEVEL_ERROR;
constexpr const char* TAG = "DbConnectionManager::connect";

DbConnectionSettings withSaneNumbers(DbConnectionSettings settings)
{
    settings.maximumConnections = std::max(settings.maximumConnections, 1U);
    return settings;
}

} // namespace

DbConnectionManager::Pool::Pool(const DbConnectionSettings& settings, Source source)
    : settings_(withSaneNumbers(settings)), source_(source)
{
    // The driver manager reads ODBCSYSINI and others, and files under HOME, when its environment is made:
    // they name files that it writes to and libraries that it loads.
    if (!Keepsafe::Process::isSecureExecution()) {
        environment_.emplace();
    }
}

SSRDbConnection* DbConnectionManager::Pool::lend(int& status)
{
    std::vector<OwnedConnection> expired;
    std::unique_lock<std::mutex> lock(mutex_);
    while (OwnedConnection connection = takeExpired()) {
        expired.push_back(std::move(connection));
    }
    if (idle_.empty() && !waitForSlot(lock)) {
        lock.unlock();
        logmsgf(LOG_LEVEL_ERROR, "SSRGuard::SSRGuard", "all %u connections are in use",
                settings_.maximumConnections);
        status = STATUS_NO_FREE_CONNECTION;
        return nullptr;
    }
    status = 0;
    if (!idle_.empty()) {
        return takeIdle().release();
    }
    idle_.reserve(slots_ + 1);
    ++slots_;
    const std::uint64_t age = age_;
    lock.unlock();
    expired.clear();
    return makeConnection(age, status);
}

/// Whether a connection became idle, or one may be made, before the time is over.
bool DbConnectionManager::Pool::waitForSlot(std::unique_lock<std::mutex>& lock)
{
    const auto ready = [this] { return !idle_.empty() || slots_ < settings_.maximumConnections; };
    if (settings_.connectTimeoutSeconds == 0) {
        changed_.wait(lock, ready);
        return true;
    }
    return changed_.wait_for(lock, std::chrono::seconds(settings_.connectTimeoutSeconds), ready);
}

DbConnectionManager::Pool::OwnedConnection DbConnectionManager::Pool::takeIdle()
{
    OwnedConnection connection = std::move(idle_.back().connection);
    idle_.pop_back();
    connection->state_->markIdled();
    return connection;
}

/// Moves out the connection that was idle for too long, if there is one, to be closed without the lock.
DbConnectionManager::Pool::OwnedConnection DbConnectionManager::Pool::takeExpired()
{
    const Clock::time_point limit = Clock::now() - std::chrono::seconds(settings_.idleSeconds);
    if (idle_.size() <= settings_.minimumConnections || idle_.front().since > limit) {
        return nullptr;
    }
    OwnedConnection connection = std::move(idle_.front().connection);
    idle_.erase(idle_.begin());
    --slots_;
    --open_;
    return connection;
}

SSRDbConnection* DbConnectionManager::Pool::makeConnection(std::uint64_t age, int& status)
{
    try {
        if (std::unique_ptr<Link> link = connect(status)) {
            auto state = std::make_unique<DbConnection::State>(*this, std::move(link), age);
            OwnedConnection connection(new SSRDbConnection(std::move(state)));
            ++open_;
            return connection.release();
        }
    } catch (...) {
        freeSlot();
        throw;
    }
    freeSlot();
    return nullptr;
}

void DbConnectionManager::Pool::freeSlot()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        --slots_;
    }
    changed_.notify_one();
}

void DbConnectionManager::Pool::giveBack(SSRDbConnection* connection)
{
    OwnedConnection owned(connection);
    OwnedConnection expired;
    const bool isUsable = !owned->state_->isDead() && owned->state_->endTransaction();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (isUsable && owned->state_->age() == age_) {
            idle_.push_back({std::move(owned), Clock::now()});
            expired = takeExpired();
        } else {
            --open_;
        }
    }
    if (owned) {
        owned.reset();
        freeSlot();
        return;
    }
    changed_.notify_one();
}

std::uint64_t DbConnectionManager::Pool::foundDead()
{
    std::vector<Idle> suspects;
    std::uint64_t age = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        suspects.reserve(idle_.size());
        std::move(idle_.begin(), idle_.end(), std::back_inserter(suspects));
        idle_.clear();
        slots_ -= suspects.size();
        open_ -= static_cast<std::uint32_t>(suspects.size());
        age = ++age_;
    }
    changed_.notify_all();
    return age;
}

bool DbConnectionManager::Pool::currentSettings(DbConnectionSettings& settings, int& status) const
{
    settings = settings_;
    status = STATUS_NOT_CONFIGURED;
    if (source_ == Source::Configuration) {
        try {
            const Keepsafe::Platform::Config config = Keepsafe::Platform::loadConfig();
            settings.connectionString = config.databaseConnection;
            settings.onConnect = config.databaseOnConnect;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            logmsgf(LOG_LEVEL_ERROR, TAG, "%s", error.what());
            return false;
        }
    }
    if (settings.connectionString.empty()) {
        logmsgf(LOG_LEVEL_ERROR, TAG, "no database connection is configured");
        return false;
    }
    return true;
}

std::unique_ptr<Link> DbConnectionManager::Pool::connect(int& status)
{
    if (!environment_) {
        logmsgf(LOG_LEVEL_ERROR, TAG,
                "no database for a process with more rights than its caller (AT_SECURE): the caller's "
                "environment says which driver is loaded");
        status = STATUS_CONNECT_FAILED;
        return nullptr;
    }
    for (unsigned int attempt = 0;; ++attempt) {
        DbConnectionSettings settings;
        if (!currentSettings(settings, status)) {
            return nullptr;
        }
        std::unique_ptr<Link> link = Link::open(*environment_, settings, status);
        if (link || attempt == settings.connectRetries) {
            return link;
        }
        std::this_thread::sleep_for(std::chrono::seconds(settings.retryWaitSeconds));
    }
}

} // namespace Tessara::Dal
