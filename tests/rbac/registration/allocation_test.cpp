/// The workflows without memory: each allocation fails in turn. Whatever happens, the status is 0 only if the
/// service was asked to commit.

#include "RegistrationTest.h"
#include "rbac/api/FailingAllocation.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::json_pack_shared;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectRegistrationCallback;
using Tessara::Keepsafe::Rbac::ObjectUnregistrationCallback;
using testing::Contains;
using testing::Each;

/// One workflow, ready to run once.
struct Workflow {
    std::function<int(DefaultObjectRegistrationService&)> run;
    std::function<int()> invoked;
    std::function<std::vector<int>()> told;
};

struct Case {
    std::string name;
    std::vector<std::string> answers;
    std::string commit; ///< what the second request says
    int withMemory;
    std::vector<int> withoutMemory; ///< all that may come instead
    std::function<Workflow()> prepare;

    friend std::ostream& operator<<(std::ostream& stream, const Case& it) { return stream << it.name; }
};

constexpr char ANSWER[] =
    R"({"id":"|AN OBJECT|WITH A LONG NAME|","relationships":{"registeredObjects":{"data":[)"
    R"({"id":"|AN OBJECT|WITH A LONG NAME|"},{"id":"|AN OBJECT|WITH A LONG NAME|AND A CHILD|"}]}}})";

std::string bulkAnswer() { return std::string(R"({"data":[)") + ANSWER + R"(,{"id":"|B|"}]})"; }

ObjectNamespace theObject() { return {"AN OBJECT", "WITH A LONG NAME"}; }

template <typename Callback, typename Run>
Workflow workflowOf(const boost::shared_ptr<Callback>& callback, const Run& run)
{
    return {[callback, run](DefaultObjectRegistrationService& service) { return run(service, callback); },
            [callback] { return callback->invoked; }, [callback] { return callback->told; }};
}

/// With attributes that no buffer has room for before it grows.
boost::shared_ptr<ObjectRegistrationData> theData()
{
    auto data = dataOf(theObject());
    data->accessControlAttributes = json_pack_shared("{s:s}", "text", std::string(2000, 'x').c_str());
    data->relativeChildNamespaces = {ObjectNamespace("AND A CHILD")};
    return data;
}

Workflow registration(int outcome)
{
    const auto callback = boost::make_shared<WorkCallback<ObjectRegistrationCallback>>();
    callback->work = [outcome] { return outcome; };
    return workflowOf(callback,
                      [data = theData()](DefaultObjectRegistrationService& service, const auto& theCallback) {
                          return service.registerObject(data, theCallback);
                      });
}

Workflow unregistration(int outcome)
{
    const auto callback = boost::make_shared<WorkCallback<ObjectUnregistrationCallback>>();
    callback->work = [outcome] { return outcome; };
    return workflowOf(
        callback, [object = theObject()](DefaultObjectRegistrationService& service, const auto& theCallback) {
            return service.unregisterObject(object, theCallback);
        });
}

Workflow bulkRegistration(bool succeeds)
{
    const auto callback = boost::make_shared<BulkWorkCallback>();
    callback->work = [succeeds](std::set<ObjectNamespace>& successful) {
        if (succeeds) {
            successful = {theObject(), ObjectNamespace("B")};
        }
        return 0;
    };
    const DefaultObjectRegistrationService::DataList data{dataOf(theObject()), dataOf(ObjectNamespace("B"))};
    return workflowOf(callback, [data](DefaultObjectRegistrationService& service, const auto& theCallback) {
        return service.bulkRegisterObjects(data, theCallback);
    });
}

std::vector<Case> allCases()
{
    const std::string ready = R"("state":"READY")";
    const std::string deleted = R"("state":"DELETED")";
    return {{"Register", {ANSWER, ""}, ready, 0, {114, 7610, 9103, 8024}, [] { return registration(0); }},
            {"RegisterAndFail",
             {ANSWER, ""},
             deleted,
             8022,
             {114, 7610, 9103, 8025},
             [] { return registration(1); }},
            {"Unregister", {"", ""}, deleted, 0, {114, 8024}, [] { return unregistration(0); }},
            {"UnregisterAndFail", {"", ""}, ready, 8023, {114, 8025}, [] { return unregistration(1); }},
            {"Bulk",
             {bulkAnswer(), ""},
             ready,
             0,
             {114, 9103, 8022, 8030},
             [] { return bulkRegistration(true); }},
            {"BulkAndFail", {bulkAnswer(), ""}, deleted, 8022, {114, 9103, 8030}, [] {
                 return bulkRegistration(false);
             }}};
}

class WorkflowMemory : public testing::TestWithParam<Case> {
protected:
    static int runWithout(int number, const Workflow& workflow, DefaultObjectRegistrationService& service)
    {
        const FailingAllocation failing(number);
        return workflow.run(service);
    }

    /// What holds whichever allocation failed.
    static void expectConsistent(int status, const Workflow& workflow, const ScriptedService& scripted)
    {
        EXPECT_EQ(scripted.living, 0);
        EXPECT_LE(workflow.invoked(), 1);
        EXPECT_THAT(workflow.told(), Each(status));
        if (status == 0) {
            ASSERT_EQ(scripted.requests.size(), 2U);
            EXPECT_THAT(scripted.requests.at(1).body, testing::HasSubstr(GetParam().commit));
            EXPECT_EQ(workflow.invoked(), 1);
        }
    }

    const NamedMasterServerRoot root_;
    DiscardedLog log_;
};

TEST_P(WorkflowMemory, ThatIsMissingIsAStatusAndNeverASuccessThatWasNotCommitted)
{
    int failures = 0;
    for (int number = 0;; ++number) {
        SCOPED_TRACE(number);
        const auto scripted = boost::make_shared<ScriptedService>();
        for (const std::string& answer : GetParam().answers) {
            scripted->responses.push_back({0, 201, answer});
        }
        DefaultObjectRegistrationService service(1556, scripted);
        const Workflow workflow = GetParam().prepare();
        const int status = runWithout(number, workflow, service);
        expectConsistent(status, workflow, *scripted);
        if (!FailingAllocation::happened()) {
            EXPECT_EQ(status, GetParam().withMemory);
            break;
        }
        if (status != GetParam().withMemory) {
            EXPECT_THAT(GetParam().withoutMemory, Contains(status));
            ++failures;
        }
    }
    EXPECT_GT(failures, 10);
}

TEST(RegistrationDocument, IsAnExceptionWithoutMemoryAndNeverAPartOfIt)
{
    const DiscardedLog log;
    const auto data = theData();
    const auto whole = DefaultObjectRegistrationService::buildRegistrationRequest(data);
    int failures = 0;
    for (int number = 0;; ++number) {
        boost::shared_ptr<json_t> document;
        try {
            const FailingAllocation failing(number);
            document = DefaultObjectRegistrationService::buildRegistrationRequest(data);
        } catch (const std::exception&) {
            ++failures;
        }
        EXPECT_TRUE(document == nullptr || json_equal(document.get(), whole.get()) == 1) << number;
        if (!FailingAllocation::happened()) {
            EXPECT_NE(document, nullptr);
            break;
        }
    }
    EXPECT_GT(failures, 10);
}

INSTANTIATE_TEST_SUITE_P(Of, WorkflowMemory, testing::ValuesIn(allCases()),
                         [](const auto& instance) { return instance.param.name; });

} // namespace
} // namespace keepsafe_test
