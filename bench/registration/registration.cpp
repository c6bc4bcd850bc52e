// The library's share of a bulk registration: the workflow with a service that takes no time, and its parts;
// and, with the root of a running service, how much of the whole time is the library's.

#include <algorithm>
#include <cstddef>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <malloc.h>
#include <unistd.h>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "support/Descriptor.h"
#include "support/MasterServerRoot.h"
#include "support/Process.h"
#include "workloads.h"

namespace keepsafe_bench {
namespace {

using Tessara::Keepsafe::Rbac::BulkObjectRegistrationCallback;
using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::json_loads_shared;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectRegistrationData;

using Service = DefaultObjectRegistrationService;

ObjectNamespace nameOf(std::size_t number)
{
    return {"KEEPSAFE", "PROTECTION", "policies", "policy " + std::to_string(number)};
}

/// Objects with one child and one grant each. Created again for each round: names keep their text forms.
Service::DataList makeObjects(std::size_t count)
{
    const std::string attributes = R"({"accessDefinitions":[{"roleId":17,"operations":[)"
                                   R"("|OPERATIONS|VIEW|","|OPERATIONS|UPDATE|"],"propagation":"OBJECT"}]})";
    Service::DataList objects;
    for (std::size_t i = 0; i < count; ++i) {
        auto data = boost::make_shared<ObjectRegistrationData>();
        data->objectNamespace = nameOf(i);
        data->objectType = "POLICY";
        data->accessControlAttributes = json_loads_shared(attributes);
        data->relativeChildNamespaces = {ObjectNamespace("schedules")};
        objects.push_back(data);
    }
    return objects;
}

std::string makeResponse(std::size_t count)
{
    std::string response;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string id = R"({"type":"managedObject","id":")" + nameOf(i).str();
        response += (i == 0 ? R"({"data":[)" : ",") + id +
                    R"(","relationships":{"registeredObjects":{"data":[)" + id + R"("},)" + id +
                    R"(schedules|"}]}}})";
    }
    return response + "]}";
}

/// Answers every request with one response, at once.
class AtOnce : public KSClientCURL_BaseFactory {
public:
    explicit AtOnce(std::string response) : response_(std::move(response)) {}

    [[nodiscard]] KSClientCURL_Base* create(const std::string& /*host*/, int /*port*/, int /*kind*/) override
    {
        return new Client(*this);
    }

private:
    class Client : public KSClientCURL_Base {
    public:
        explicit Client(const AtOnce& service) : service_(service) {}

        int Post(const std::string& /*path*/, const std::string& /*body*/) override { return 0; }
        int Put(const std::string& /*path*/, const std::string& /*body*/) override { return 1; }
        int Patch(const std::string& /*path*/, const std::string& /*body*/) override { return 1; }
        int Get(const std::string& /*path*/) override { return 1; }
        int Delete(const std::string& /*path*/) override { return 1; }
        void setApiVersion(int /*version*/) override {}
        [[nodiscard]] long httpStatus() const override { return 201; }
        [[nodiscard]] const std::string& responseBody() const override { return service_.response_; }

    private:
        const AtOnce& service_;
    };

    std::string response_;
};

/// Reports every object as successful.
class AllSucceed : public BulkObjectRegistrationCallback {
public:
    explicit AllSucceed(const Service::DataList& objects)
    {
        for (const auto& object : objects) {
            names_.insert(object->objectNamespace);
        }
    }

    int invoke(std::set<ObjectNamespace>& successful) override
    {
        successful.swap(names_);
        return 0;
    }
    void notifyFailure(int status) override { throw EC_exception(status); }

private:
    std::set<ObjectNamespace> names_;
};

/// Times work that starts with a tidy heap: the allocator consolidates what was freed between two rounds at
/// the next large request, and that would be charged to the work.
template <typename Work>
double nanosecondsInOrder(const Work& work)
{
    (void)malloc_trim(0);
    return nanosecondsOf(work);
}

/// With a service that takes no time: the workflow and its parts.
void measureWithoutService(std::size_t count, const Settings& settings, Report& report)
{
    const std::string response = makeResponse(count);
    const auto http = boost::make_shared<AtOnce>(response);
    const auto silence = boost::make_shared<AtOnce>(R"({"data":[]})");
    Service service(MASTER_SERVER_PORT, http);
    const Service silent(MASTER_SERVER_PORT, silence);
    Service::RegisteredObjects registered;
    Turns turns(settings.rounds);
    const auto parsing = turns.add([&] {
        registered.clear();
        return nanosecondsInOrder([&] { registered = Service::extractBulkRegisteredNamespaces(response); });
    });
    const auto update = turns.add([&] {
        require(registered.size() == count, "every object is in the answer");
        std::list<ObjectNamespace> ready;
        for (auto& object : registered) {
            ready.splice(ready.end(), object.second);
        }
        return nanosecondsInOrder([&] { service.bulkUpdateObjectState(ready, {}, {}); });
    });
    const auto writing = turns.add([&] {
        const Service::DataList objects = makeObjects(count);
        return nanosecondsInOrder([&] { (void)silent.bulkRegisterObjectsWithStatePending(objects); });
    });
    const auto workflow = turns.add([&] {
        const Service::DataList objects = makeObjects(count);
        const auto callback = boost::make_shared<AllSucceed>(objects);
        return nanosecondsInOrder(
            [&] { require(service.bulkRegisterObjects(objects, callback) == 0, "all are committed"); });
    });
    turns.run();
    report.line("registration/write the registration", turns.figures(writing));
    report.line("registration/read the answer", turns.figures(parsing));
    report.line("registration/write the update", turns.figures(update));
    report.line("registration/bulkRegisterObjects, no service", turns.figures(workflow));
}

/// HTTP clients that send requests, and count the time until their answers are there.
class Timed : public KSClientCURL_BaseFactory {
public:
    [[nodiscard]] KSClientCURL_Base* create(const std::string& host, int port, int kind) override
    {
        return new Client(*this, host, port, kind);
    }

    double nanoseconds = 0;
    int requests = 0;

private:
    class Client : public KSClientCURL_Base {
    public:
        Client(Timed& timed, const std::string& host, int port, int kind)
            : timed_(timed), curl_(timed.clients_.create(host, port, kind))
        {
        }

        int Post(const std::string& path, const std::string& body) override
        {
            int status = 0;
            timed_.nanoseconds += nanosecondsOf([&] { status = curl_->Post(path, body); });
            ++timed_.requests;
            return status;
        }
        int Put(const std::string& path, const std::string& body) override { return curl_->Put(path, body); }
        int Patch(const std::string& path, const std::string& body) override
        {
            return curl_->Patch(path, body);
        }
        int Get(const std::string& path) override { return curl_->Get(path); }
        int Delete(const std::string& path) override { return curl_->Delete(path); }
        void setApiVersion(int version) override { curl_->setApiVersion(version); }
        [[nodiscard]] long httpStatus() const override { return curl_->httpStatus(); }
        [[nodiscard]] const std::string& responseBody() const override { return curl_->responseBody(); }

    private:
        Timed& timed_;
        const std::unique_ptr<KSClientCURL_Base> curl_;
    };

    KSClientCURLFactory clients_{CERT_TYPE_HOST};
};

std::list<ObjectNamespace> namesOf(const Service::DataList& objects)
{
    std::list<ObjectNamespace> names;
    for (const auto& object : objects) {
        names.push_back(object->objectNamespace);
    }
    return names;
}

struct Shares {
    double whole;
    double own; ///< of that outside the requests
};

/// Registers the objects with the service and deletes them again.
Shares registerOnce(std::size_t count)
{
    const auto http = boost::make_shared<Timed>();
    Service service(MASTER_SERVER_PORT, http);
    const Service::DataList objects = makeObjects(count);
    const auto callback = boost::make_shared<AllSucceed>(objects);
    Shares shares{};
    shares.whole = nanosecondsOf(
        [&] { require(service.bulkRegisterObjects(objects, callback) == 0, "all are committed"); });
    shares.own = shares.whole - http->nanoseconds;
    require(http->requests == 2, "each phase is one request");
    service.bulkUpdateObjectState({}, {}, namesOf(objects));
    return shares;
}

/// In a process that does it for the first time. After several rounds in one process the memory for names is
/// scattered over its heap, and everything that walks through them takes up to 50 % longer.
Shares registerInProcessOfItsOwn(std::size_t count)
{
    const keepsafe_test::Pipe pipe;
    Shares shares{};
    keepsafe_test::Process process = keepsafe_test::Process::fork([&] {
        shares = registerOnce(count);
        return ::write(pipe.writeEnd.get(), &shares, sizeof shares) == sizeof shares ? 0 : 1;
    });
    require(process.wait().exitStatus == 0, "the objects were registered");
    require(::read(pipe.readEnd.get(), &shares, sizeof shares) == sizeof shares, "the figures came");
    return shares;
}

void measureWithService(std::size_t count, const Settings& settings, Report& report)
{
    std::vector<double> whole;
    std::vector<double> own;
    for (int round = 0; round < settings.rounds; ++round) {
        const Shares shares = registerInProcessOfItsOwn(count);
        whole.push_back(shares.whole);
        own.push_back(shares.own);
    }
    report.line("registration/bulkRegisterObjects", figuresOf(whole));
    report.line("registration/of that outside the requests", figuresOf(own));
    report.goal("registration/share outside the requests",
                100 * figuresOf(own).median / figuresOf(whole).median, Report::Bound::AtMost, 10, "%");
}

} // namespace

void measureRegistration(const Settings& settings, Report& report)
{
    const std::size_t objects = std::min<std::size_t>(settings.baseObjects / 10, 10000);
    if (!settings.serviceRoot.empty()) {
        Tessara::Keepsafe::Platform::setInstallationRoot(settings.serviceRoot);
        // First, while the heap is still fresh.
        measureWithService(objects, settings, report);
    }
    const keepsafe_test::NamedMasterServerRoot root;
    measureWithoutService(objects, settings, report);
}

} // namespace keepsafe_bench
