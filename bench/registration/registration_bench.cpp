// The library's share of a bulk registration: the workflow with a service that takes no time, and its parts;
// and, for the root of a service that runs, how much of the whole time is the library's. `registration_bench
// --help` lists the options.

#include <cstdio>
#include <exception>
#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <boost/make_shared.hpp>
#include <malloc.h>
#include <unistd.h>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "Measure.h"
#include "support/Descriptor.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_bench {
namespace {

using Tessara::Keepsafe::Rbac::BulkObjectRegistrationCallback;
using Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService;
using Tessara::Keepsafe::Rbac::json_loads_shared;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ObjectRegistrationData;

using Service = DefaultObjectRegistrationService;

void require(bool holds, const char* what)
{
    if (!holds) {
        throw std::runtime_error(std::string("it does not hold that ") + what);
    }
}

ObjectNamespace nameOf(int number)
{
    return {"KEEPSAFE", "PROTECTION", "policies", "policy " + std::to_string(number)};
}

/// Objects with one child and one grant each. Made anew for each round: names keep their text forms.
Service::DataList makeObjects(int count)
{
    const std::string attributes = R"({"accessDefinitions":[{"roleId":17,"operations":[)"
                                   R"("|OPERATIONS|VIEW|","|OPERATIONS|UPDATE|"],"propagation":"OBJECT"}]})";
    Service::DataList objects;
    for (int i = 0; i < count; ++i) {
        auto data = boost::make_shared<ObjectRegistrationData>();
        data->objectNamespace = nameOf(i);
        data->objectType = "POLICY";
        data->accessControlAttributes = json_loads_shared(attributes);
        data->relativeChildNamespaces = {ObjectNamespace("schedules")};
        objects.push_back(data);
    }
    return objects;
}

std::string makeResponse(int count)
{
    std::string response;
    for (int i = 0; i < count; ++i) {
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

    std::size_t bytes = 0; ///< of the last request

private:
    class Client : public KSClientCURL_Base {
    public:
        explicit Client(AtOnce& service) : service_(service) {}

        int Post(const std::string& /*path*/, const std::string& body) override
        {
            service_.bytes = body.size();
            return 0;
        }
        int Put(const std::string& /*path*/, const std::string& /*body*/) override { return 1; }
        int Patch(const std::string& /*path*/, const std::string& /*body*/) override { return 1; }
        int Get(const std::string& /*path*/) override { return 1; }
        int Delete(const std::string& /*path*/) override { return 1; }
        void setApiVersion(int /*version*/) override {}
        [[nodiscard]] long httpStatus() const override { return 201; }
        [[nodiscard]] const std::string& responseBody() const override { return service_.response_; }

    private:
        AtOnce& service_;
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

/// Of work that begins with memory in order: what is freed between two rounds, the allocator puts in order
/// when it is next asked for a large piece, and that would count for whoever asks.
template <typename Work>
double nanosecondsInOrder(const Work& work)
{
    (void)malloc_trim(0);
    return nanosecondsOf(work);
}

void measure(int count, int rounds)
{
    const std::string response = makeResponse(count);
    const auto http = boost::make_shared<AtOnce>(response);
    const auto silence = boost::make_shared<AtOnce>(R"({"data":[]})");
    Service service(1556, http);
    const Service silent(1556, silence);
    std::size_t requestBytes = 0;
    std::vector<double> workflow;
    std::vector<double> writing;
    std::vector<double> parsing;
    std::vector<double> update;
    for (int round = 0; round <= rounds; ++round) {
        Service::RegisteredObjects registered;
        parsing.push_back(
            nanosecondsInOrder([&] { registered = Service::extractBulkRegisteredNamespaces(response); }));
        require(registered.size() == static_cast<std::size_t>(count), "every object is in the answer");
        std::list<ObjectNamespace> ready;
        for (auto& object : registered) {
            ready.splice(ready.end(), object.second);
        }
        update.push_back(nanosecondsInOrder([&] { service.bulkUpdateObjectState(ready, {}, {}); }));
        Service::DataList objects = makeObjects(count);
        writing.push_back(
            nanosecondsInOrder([&] { (void)silent.bulkRegisterObjectsWithStatePending(objects); }));
        requestBytes = silence->bytes;
        objects = makeObjects(count);
        const auto callback = boost::make_shared<AllSucceed>(objects);
        workflow.push_back(nanosecondsInOrder(
            [&] { require(service.bulkRegisterObjects(objects, callback) == 0, "all are committed"); }));
    }
    for (std::vector<double>* figures : {&workflow, &writing, &parsing, &update}) {
        figures->erase(figures->begin()); // warming up
    }
    const auto print = [](const char* what, const std::vector<double>& figures, std::size_t bytes) {
        std::printf("  %-44s %8.2f ms  %9zu bytes\n", what, median(figures) / 1e6, bytes);
    };
    std::printf("Bulk registration of %d objects with a child each, median of %d rounds\n", count, rounds);
    print("writing the registration", writing, requestBytes);
    print("reading the answer", parsing, response.size());
    print("writing the update of states", update, http->bytes);
    print("bulkRegisterObjects, all of it", workflow, requestBytes + response.size() + http->bytes);
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

struct Figures {
    double whole;
    double own; ///< of that outside of requests
};

/// Registers the objects with the service and deletes them again.
Figures registerOnce(int count)
{
    const auto http = boost::make_shared<Timed>();
    Service service(MASTER_SERVER_PORT, http);
    const Service::DataList objects = makeObjects(count);
    const auto callback = boost::make_shared<AllSucceed>(objects);
    Figures figures{};
    figures.whole = nanosecondsOf(
        [&] { require(service.bulkRegisterObjects(objects, callback) == 0, "all are committed"); });
    figures.own = figures.whole - http->nanoseconds;
    require(http->requests == 2, "each phase is one request");
    service.bulkUpdateObjectState({}, {}, namesOf(objects));
    return figures;
}

/// In a process that does it for the first time, as one does at its end. After several rounds in one process
/// the memory for names lies scattered over its heap, and all that goes through them takes up to half as long
/// again.
Figures registerInProcessOfItsOwn(int count)
{
    const keepsafe_test::Pipe pipe;
    Figures figures{};
    keepsafe_test::Process process = keepsafe_test::Process::fork([&] {
        figures = registerOnce(count);
        return ::write(pipe.writeEnd.get(), &figures, sizeof figures) == sizeof figures ? 0 : 1;
    });
    require(process.wait().exitStatus == 0, "the objects were registered");
    require(::read(pipe.readEnd.get(), &figures, sizeof figures) == sizeof figures, "the figures came");
    return figures;
}

void measureWithService(int count, int rounds)
{
    std::vector<double> whole;
    std::vector<double> own;
    for (int round = 0; round < rounds; ++round) {
        const Figures figures = registerInProcessOfItsOwn(count);
        whole.push_back(figures.whole);
        own.push_back(figures.own);
    }
    std::printf("With the service, one request in each phase, median of %d processes\n", rounds);
    std::printf("  %-44s %8.2f ms\n", "bulkRegisterObjects, all of it", median(whole) / 1e6);
    std::printf("  %-44s %8.2f ms  = %.1f %% (at most 10)\n", "of that outside of requests",
                median(own) / 1e6, 100 * median(own) / median(whole));
}

} // namespace
} // namespace keepsafe_bench

int main(int argc, char** argv)
try {
    CLI::App app("Measures the library's share of a bulk registration.\n"
                 "Example: registration_bench --objects 10000 --rounds 21");
    int objects = 10000;
    int rounds = 21;
    app.add_option("--objects", objects, "Objects in the registration")->check(CLI::Range(1, 1000000));
    app.add_option("--rounds", rounds, "Rounds; the median counts")->check(CLI::Range(1, 1000));
    std::string serviceRoot;
    app.add_option("--root", serviceRoot,
                   "Root of a service that runs, with the policy examples/policies/company.json");
    CLI11_PARSE(app, argc, argv);
    if (!serviceRoot.empty()) {
        Tessara::Keepsafe::Platform::setInstallationRoot(serviceRoot);
        // First, while the heap is as it was at the start.
        keepsafe_bench::measureWithService(objects, rounds);
    }
    const keepsafe_test::TempRoot root;
    keepsafe_test::writeFile(root.path("etc/keepsafe.toml"), "master_server = \"master.example\"\n");
    keepsafe_bench::measure(objects, rounds);
    return 0;
} catch (const std::exception& error) {
    (void)std::fprintf(stderr, "registration_bench: %s\n", error.what());
    return 1;
}
