#include "HandlePool.h"

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace {

using std::chrono::seconds;
using Tessara::Keepsafe::Platform::http::ConnectionKey;
using Tessara::Keepsafe::Platform::http::Handle;
using Tessara::Keepsafe::Platform::http::HandlePool;

ConnectionKey keyOf(const std::string& server) { return {"https://" + server + "/", {}}; }

TEST(HandlePool, LendsAHandleForItsKeyUntilItHasBeenIdleForTooLong)
{
    const HandlePool::Clock::time_point start = HandlePool::Clock::now();
    HandlePool::giveBack(Handle::make(keyOf("a")), start);
    EXPECT_EQ(HandlePool::lend(keyOf("b"), start), nullptr);

    std::unique_ptr<Handle> lent = HandlePool::lend(keyOf("a"), start + seconds(89));
    ASSERT_NE(lent, nullptr);
    EXPECT_EQ(lent->key(), keyOf("a"));
    EXPECT_EQ(HandlePool::lend(keyOf("a"), start + seconds(89)), nullptr);

    HandlePool::giveBack(std::move(lent), start + seconds(100));
    EXPECT_EQ(HandlePool::lend(keyOf("a"), start + seconds(190)), nullptr);
}

TEST(HandlePool, ClosesHandlesOfOtherKeysThatHaveBeenIdleForTooLong)
{
    const HandlePool::Clock::time_point start = HandlePool::Clock::now();
    HandlePool::giveBack(Handle::make(keyOf("old")), start);
    HandlePool::giveBack(Handle::make(keyOf("new")), start + seconds(90));
    EXPECT_EQ(HandlePool::lend(keyOf("old"), start), nullptr);
    EXPECT_NE(HandlePool::lend(keyOf("new"), start), nullptr);
}

TEST(HandlePool, LendsNoHandleForOtherFilesOfTheSameStates)
{
    const HandlePool::Clock::time_point start = HandlePool::Clock::now();
    ConnectionKey key = keyOf("files");
    key.files.certificate.path = "/one.pem";
    key.files.key = "/one.key";
    key.files.ca.path = "/ca.pem";
    HandlePool::giveBack(Handle::make(key), start);
    for (std::string* const path :
         {&key.files.certificate.path, &key.files.key, &key.files.ca.path, &key.serverUrl}) {
        const std::string before = std::exchange(*path, "/other");
        EXPECT_EQ(HandlePool::lend(key, start), nullptr) << before;
        *path = before;
    }
    EXPECT_NE(HandlePool::lend(key, start), nullptr);
}

TEST(HandlePool, LendsTheHandleThatWasUsedLast)
{
    const HandlePool::Clock::time_point start = HandlePool::Clock::now();
    std::unique_ptr<Handle> first = Handle::make(keyOf("a"));
    std::unique_ptr<Handle> second = Handle::make(keyOf("a"));
    Handle* const last = second.get();
    HandlePool::giveBack(std::move(first), start);
    HandlePool::giveBack(std::move(second), start);
    EXPECT_EQ(HandlePool::lend(keyOf("a"), start).get(), last);
}

TEST(HandlePool, KeepsTheNewestUpToItsBound)
{
    const HandlePool::Clock::time_point start = HandlePool::Clock::now();
    HandlePool::giveBack(Handle::make(keyOf("oldest")), start);
    for (std::size_t count = 0; count < HandlePool::MAX_IDLE; ++count) {
        HandlePool::giveBack(Handle::make(keyOf("newer")), start);
    }
    EXPECT_EQ(HandlePool::lend(keyOf("oldest"), start), nullptr);
    std::size_t kept = 0;
    while (HandlePool::lend(keyOf("newer"), start)) {
        ++kept;
    }
    EXPECT_EQ(kept, HandlePool::MAX_IDLE);
}

} // namespace
