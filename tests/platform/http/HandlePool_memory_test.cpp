#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "FailingMemory.h"
#include "HandlePool.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Platform::http::ConnectionKey;
using Tessara::Keepsafe::Platform::http::Handle;
using Tessara::Keepsafe::Platform::http::HandlePool;

ConnectionKey keyOf(std::size_t server) { return {"https://" + std::to_string(server) + "/", {}}; }

TEST(HandlePoolMemory, IsNotNeededToGiveAHandleBack)
{
    const HandlePool::Clock::time_point now = HandlePool::Clock::now();
    ASSERT_EQ(HandlePool::lend(keyOf(0), now), nullptr) << "now there is a pool";
    for (std::size_t server = 0; server <= HandlePool::MAX_IDLE; ++server) {
        std::unique_ptr<Handle> handle = Handle::make(keyOf(server));
        const FailingMemory failing(MemoryOf::Cpp, 0);
        HandlePool::giveBack(std::move(handle), now);
    }
    EXPECT_EQ(HandlePool::lend(keyOf(0), now), nullptr)
        << "beyond the bound, and closed when there is memory";
    for (std::size_t server = 1; server <= HandlePool::MAX_IDLE; ++server) {
        EXPECT_NE(HandlePool::lend(keyOf(server), now), nullptr) << server;
    }
}

} // namespace
} // namespace keepsafe_test
