/// Random workflows, nested in each other's callbacks and with random faults, against a service that keeps
/// states. A plain reading of the rules says beforehand what each returns and what is left at the end.

#include <map>
#include <random>
#include <set>

#include "ModelService.h"
#include "RegistrationTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectRegistrationCallback;
using Tessara::Keepsafe::Rbac::ObjectUnregistrationCallback;
using Fault = ModelService::Fault;

enum class Kind { Register, Bulk, Unregister };
enum class Outcome { Success, Failure, Exception };

/// One workflow: what it does to which objects, how its callback ends and which workflows run in it, and what
/// befalls its two requests.
struct Plan {
    Kind kind = Kind::Register;
    std::set<int> objects;    ///< the first alone unless in bulk
    std::set<int> successful; ///< in bulk
    bool ignoreRegistered = false;
    Outcome outcome = Outcome::Success;
    Fault faults[2] = {Fault::None, Fault::None};
    std::vector<Plan> nested;
};

class Planner {
public:
    explicit Planner(unsigned seed) : random_(seed) {}

    Plan plan(int depth = 0)
    {
        Plan result;
        result.kind = static_cast<Kind>(upTo(2));
        while (result.objects.empty() || (result.kind == Kind::Bulk && upTo(2) != 0)) {
            result.objects.insert(upTo(OBJECTS - 1));
        }
        for (const int object : result.objects) {
            if (upTo(3) != 0) {
                result.successful.insert(object);
            }
        }
        result.ignoreRegistered = upTo(1) == 0;
        result.outcome = upTo(2) == 0 ? static_cast<Outcome>(upTo(2)) : Outcome::Success;
        for (Fault& fault : result.faults) {
            fault = upTo(4) == 0 ? static_cast<Fault>(upTo(6)) : Fault::None;
        }
        while (depth < 3 && upTo(2) == 0) {
            result.nested.push_back(plan(depth + 1));
        }
        return result;
    }

private:
    static constexpr int OBJECTS = 4;

    int upTo(int last) { return static_cast<int>(random_() % static_cast<unsigned>(last + 1)); }

    std::mt19937 random_;
};

/// The rules, read plainly. An object and its child always have the same state.
class Expectation {
public:
    std::map<int, std::string> states;
    std::vector<int> results; ///< in the order in which the workflows end

    void run(const Plan& plan)
    {
        std::set<int> registered;
        const int nonsense = plan.kind == Kind::Register ? 7610 : plan.kind == Kind::Bulk ? 9103 : 0;
        const int first = exchange(plan.faults[0], nonsense, [&] { return firstPhase(plan, registered); });
        if (first != 0) {
            results.push_back(first);
            return;
        }
        for (const Plan& nested : plan.nested) {
            run(nested);
        }
        const int second = exchange(plan.faults[1], 0, [&] { return secondPhase(plan, registered); });
        results.push_back(resultOf(plan, second == 0));
    }

private:
    /// The status of a request that does `work`, which returns the service's refusal or 0.
    template <typename Work>
    static int exchange(Fault fault, int nonsense, const Work& work)
    {
        switch (fault) {
        case Fault::Refused:
            return ModelService::REFUSED;
        case Fault::RequestLost:
            return 7;
        case Fault::Thrown:
            return 114;
        default:
            break;
        }
        const int refusal = work();
        if (fault == Fault::AnswerLost) {
            return 56;
        }
        if (refusal != 0) {
            return refusal;
        }
        return fault == Fault::AnsweredOk ? 9103 : fault == Fault::Nonsense ? nonsense : 0;
    }

    int firstPhase(const Plan& plan, std::set<int>& registered)
    {
        if (plan.kind == Kind::Unregister) {
            return change({*plan.objects.begin()}, "PENDING");
        }
        const std::set<int> objects =
            plan.kind == Kind::Bulk ? plan.objects : std::set<int>{*plan.objects.begin()};
        for (const int object : objects) {
            if (states.count(object) != 0 && !plan.ignoreRegistered) {
                return ModelService::IS_THERE;
            }
        }
        for (const int object : objects) {
            if (states.count(object) == 0 || states[object] == "PENDING") {
                states[object] = "PENDING";
                registered.insert(object);
            }
        }
        return 0;
    }

    int secondPhase(const Plan& plan, const std::set<int>& registered)
    {
        if (plan.kind == Kind::Unregister) {
            return change({*plan.objects.begin()}, plan.outcome == Outcome::Success ? "DELETED" : "READY");
        }
        std::set<int> ready;
        std::set<int> deleted;
        for (const int object : registered) {
            (isCommitted(plan, object) ? ready : deleted).insert(object);
        }
        for (const int object : registered) {
            if (states.count(object) == 0) {
                return ModelService::NOT_THERE;
            }
        }
        return change(ready, "READY") + change(deleted, "DELETED");
    }

    static bool isCommitted(const Plan& plan, int object)
    {
        return plan.kind == Kind::Bulk
                   ? plan.outcome != Outcome::Exception && plan.successful.count(object) != 0
                   : plan.outcome == Outcome::Success;
    }

    static int resultOf(const Plan& plan, bool updated)
    {
        const bool succeeds = plan.outcome == Outcome::Success;
        switch (plan.kind) {
        case Kind::Register:
            return updated ? (succeeds ? 0 : 8022) : (succeeds ? 8024 : 8025);
        case Kind::Unregister:
            return updated ? (succeeds ? 0 : 8023) : (succeeds ? 8024 : 8025);
        default:
            return !updated                                                                ? 8030
                   : plan.outcome != Outcome::Exception && plan.successful == plan.objects ? 0
                                                                                           : 8022;
        }
    }

    int change(const std::set<int>& objects, const std::string& state)
    {
        for (const int object : objects) {
            if (states.count(object) == 0) {
                return ModelService::NOT_THERE;
            }
            if (state == "DELETED") {
                states.erase(object);
            } else {
                states[object] = state;
            }
        }
        return 0;
    }
};

/// Runs plans with the library.
class Runner {
public:
    explicit Runner(DefaultObjectRegistrationService& service, ModelService& model) : service_(service)
    {
        model.nextFault = [this] { return fault_; };
    }

    std::vector<int> results;

    void run(const Plan& plan)
    {
        fault_ = plan.faults[0];
        const int status = plan.kind == Kind::Register ? registerOne(plan)
                           : plan.kind == Kind::Bulk   ? registerAll(plan)
                                                       : unregister(plan);
        results.push_back(status);
    }

    static ObjectNamespace nameOf(int object) { return {"OBJECTS", std::to_string(object)}; }

private:
    static boost::shared_ptr<ObjectRegistrationData> describe(const Plan& plan, int object)
    {
        auto data = dataOf(nameOf(object));
        data->relativeChildNamespaces = {ObjectNamespace("CHILD")};
        data->ignoreAlreadyRegistered = plan.ignoreRegistered;
        return data;
    }

    /// The work of a callback.
    int work(const Plan& plan)
    {
        for (const Plan& nested : plan.nested) {
            run(nested);
        }
        fault_ = plan.faults[1];
        if (plan.outcome == Outcome::Exception) {
            throw std::runtime_error("the callback threw");
        }
        return plan.outcome == Outcome::Success ? 0 : 1;
    }

    template <typename Callback>
    static int settle(const Callback& callback, int status)
    {
        EXPECT_EQ(callback->invoked + static_cast<int>(callback->told.size()), 1);
        EXPECT_THAT(callback->told, testing::Each(status));
        return status;
    }

    int registerOne(const Plan& plan)
    {
        const auto callback = boost::make_shared<WorkCallback<ObjectRegistrationCallback>>();
        callback->work = [&] { return work(plan); };
        return settle(callback, service_.registerObject(describe(plan, *plan.objects.begin()), callback));
    }

    int registerAll(const Plan& plan)
    {
        const auto callback = boost::make_shared<BulkWorkCallback>();
        callback->work = [&](std::set<ObjectNamespace>& successful) {
            for (const int object : plan.successful) {
                successful.insert(nameOf(object));
            }
            return work(plan);
        };
        DefaultObjectRegistrationService::DataList data;
        for (const int object : plan.objects) {
            data.push_back(describe(plan, object));
        }
        return settle(callback, service_.bulkRegisterObjects(data, callback));
    }

    int unregister(const Plan& plan)
    {
        const auto callback = boost::make_shared<WorkCallback<ObjectUnregistrationCallback>>();
        callback->work = [&] { return work(plan); };
        return settle(callback, service_.unregisterObject(nameOf(*plan.objects.begin()), callback));
    }

    DefaultObjectRegistrationService& service_;
    Fault fault_ = Fault::None;
};

class Interleavings : public testing::Test {
protected:
    const NamedMasterServerRoot root_;
    CapturedLog log_{1000};
};

TEST_F(Interleavings, EndWithTheStatesAndStatusesThatTheRulesGive)
{
    constexpr unsigned HISTORIES = 2000;
    std::set<int> statuses;
    for (unsigned seed = 0; seed < HISTORIES && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Planner planner(seed);
        const auto model = boost::make_shared<ModelService>();
        DefaultObjectRegistrationService service(1556, model);
        Runner runner(service, *model);
        Expectation expected;
        for (int step = 0; step < 6; ++step) {
            const Plan plan = planner.plan();
            runner.run(plan);
            expected.run(plan);
        }
        EXPECT_EQ(runner.results, expected.results);
        statuses.insert(runner.results.begin(), runner.results.end());
        std::map<std::string, std::string> states;
        for (const auto& [object, state] : expected.states) {
            states[Runner::nameOf(object).str()] = state;
            states[(Runner::nameOf(object) | "CHILD").str()] = state;
        }
        EXPECT_EQ(model->states(), states);
    }
    EXPECT_THAT(statuses, testing::IsSupersetOf(
                              {0, 7, 56, 114, 5930, 5931, 5999, 7610, 8022, 8023, 8024, 8025, 8030, 9103}))
        << "every way must have been walked";
}

} // namespace
} // namespace keepsafe_test
