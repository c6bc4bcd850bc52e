/// Servers whose names are looked up slowly. This program has its own lookup in the place of the system's.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include "HttpTest.h"

namespace {

/// Holds lookups of one name back until the test is over.
class SlowLookup {
public:
    static constexpr char NAME[] = "slow.example";

    void wait()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        ++waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOver_; });
        --waiting_;
        changed_.notify_all();
    }

    void endAll()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        isOver_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return waiting_ == 0; });
        isOver_ = false;
    }

    [[nodiscard]] int waiting()
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return waiting_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int waiting_ = 0;
    bool isOver_ = false;
};

/// Never destroyed: libcurl's threads may outlive the tests.
SlowLookup& slowLookup()
{
    static auto* const made = new SlowLookup;
    return *made;
}

} // namespace

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result)
{
    if (name != nullptr && std::string(name) == SlowLookup::NAME) {
        slowLookup().wait();
        return EAI_AGAIN;
    }
    using Lookup = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto next = reinterpret_cast<Lookup>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return next(name, service, hints, result);
}

namespace keepsafe_test {
namespace {

using Clock = std::chrono::steady_clock;

class ASlowLookup : public HttpTest {
protected:
    ~ASlowLookup() override { slowLookup().endAll(); }

    /// The status of a request to the server that is looked up slowly.
    int statusOfRequest()
    {
        const auto begin = Clock::now();
        const int status = clientOf(1556, SlowLookup::NAME).Get("path");
        took = Clock::now() - begin;
        EXPECT_EQ(slowLookup().waiting(), 1) << "the lookup goes on";
        return status;
    }

    Clock::duration took{};
};

TEST_F(ASlowLookup, EndsWithTheTimeToConnect)
{
    configure("connect_timeout = 1\n");
    EXPECT_EQ(statusOfRequest(), CURLE_OPERATION_TIMEDOUT);
    EXPECT_LT(took, std::chrono::seconds(10));
}

TEST_F(ASlowLookup, EndsWithTheTimeOfTheWholeRequest)
{
    configure("total_timeout = 1\nconnect_timeout = 60\n");
    EXPECT_EQ(statusOfRequest(), CURLE_OPERATION_TIMEDOUT);
    EXPECT_LT(took, std::chrono::seconds(10));
}

TEST_F(ASlowLookup, DelaysNoOtherServer)
{
    configure("connect_timeout = 1\n");
    EXPECT_EQ(statusOfRequest(), CURLE_OPERATION_TIMEDOUT);
    const HttpsServer server(serverSettings());
    EXPECT_EQ(statusOfGet(server, "localhost"), CURLE_OK);
}

} // namespace
} // namespace keepsafe_test
