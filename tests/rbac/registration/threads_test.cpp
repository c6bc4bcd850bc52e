/// Many threads with one registration service.

#include <atomic>
#include <thread>

#include "ModelService.h"
#include "RegistrationTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectRegistrationCallback;
using Tessara::Keepsafe::Rbac::ObjectUnregistrationCallback;

constexpr int THREADS = 8;
constexpr int OBJECTS = 12;

class ThreadsTest : public testing::Test {
protected:
    int registerOne(const ObjectNamespace& object, int outcome)
    {
        const auto callback = boost::make_shared<WorkCallback<ObjectRegistrationCallback>>();
        callback->work = [outcome] { return outcome; };
        return service().registerObject(dataOf(object), callback);
    }

    int unregister(const ObjectNamespace& object)
    {
        const auto callback = boost::make_shared<WorkCallback<ObjectUnregistrationCallback>>();
        return service().unregisterObject(object, callback);
    }

    /// All of them; the first one's work fails.
    int registerAll(const std::vector<ObjectNamespace>& objects)
    {
        const auto callback = boost::make_shared<BulkWorkCallback>();
        callback->work = [&objects](std::set<ObjectNamespace>& successful) {
            successful.insert(std::next(objects.begin()), objects.end());
            return 0;
        };
        DefaultObjectRegistrationService::DataList data;
        for (const ObjectNamespace& object : objects) {
            data.push_back(dataOf(object));
        }
        return service().bulkRegisterObjects(data, callback);
    }

    template <typename Work>
    static void onAllThreads(const Work& work)
    {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < THREADS; ++thread) {
            threads.emplace_back([&work, thread] { work(thread); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    DefaultObjectRegistrationService& service() { return *service_; }

    const NamedMasterServerRoot root_;
    const boost::shared_ptr<ModelService> model_ = boost::make_shared<ModelService>();

private:
    const std::unique_ptr<DefaultObjectRegistrationService> service_ =
        std::make_unique<DefaultObjectRegistrationService>(1556, model_);
    CapturedLog log_;
};

TEST_F(ThreadsTest, WithObjectsOfTheirOwnDoNotDisturbEachOther)
{
    onAllThreads([this](int thread) {
        const ObjectNamespace mine("THREAD", std::to_string(thread));
        std::vector<ObjectNamespace> many;
        for (int i = 0; i < OBJECTS; ++i) {
            const ObjectNamespace object = mine | std::to_string(i);
            EXPECT_EQ(registerOne(object, i % 3 == 0 ? 1 : 0), i % 3 == 0 ? 8022 : 0);
            EXPECT_EQ(unregister(object), i % 3 == 0 ? ModelService::NOT_THERE : 0);
            many.push_back(object);
        }
        EXPECT_EQ(registerAll(many), 8022);
    });
    std::map<std::string, std::string> expected;
    for (int thread = 0; thread < THREADS; ++thread) {
        for (int i = 1; i < OBJECTS; ++i) {
            expected[ObjectNamespace("THREAD", std::to_string(thread), std::to_string(i)).str()] = "READY";
        }
    }
    EXPECT_EQ(model_->states(), expected);
}

TEST_F(ThreadsTest, ThatRegisterTheSameObjectHaveOneWinner)
{
    std::atomic<int> winners[OBJECTS] = {};
    onAllThreads([&](int /*thread*/) {
        for (int i = 0; i < OBJECTS; ++i) {
            const int status = registerOne(ObjectNamespace("SHARED", std::to_string(i)), 0);
            EXPECT_TRUE(status == 0 || status == ModelService::IS_THERE) << status;
            winners[i] += status == 0 ? 1 : 0;
        }
    });
    EXPECT_THAT(std::vector<int>(std::begin(winners), std::end(winners)), testing::Each(1));
    EXPECT_EQ(model_->states().size(), static_cast<std::size_t>(OBJECTS));
}

TEST_F(ThreadsTest, ThatRegisterTheSameObjectsInTurnEachUnregisterTheirOwn)
{
    onAllThreads([this](int thread) {
        for (int i = 0; i < OBJECTS * 4; ++i) {
            const int number = (i * (thread + 1)) % OBJECTS;
            const ObjectNamespace object("SHARED", std::to_string(number));
            if (registerOne(object, i % 4 == 3 ? 1 : 0) == 0) {
                EXPECT_EQ(unregister(object), 0) << "who registered it is the only one to unregister it";
            }
        }
    });
    EXPECT_THAT(model_->states(), testing::IsEmpty());
}

} // namespace
} // namespace keepsafe_test
