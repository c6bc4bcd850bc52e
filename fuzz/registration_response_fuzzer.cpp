// The input as the service's answer to a registration; the first byte chooses who reads it: one of the
// parsers, the reader of error documents, or a whole workflow whose requests all get this answer, as a
// success or a refusal. Names are valid, failures are the documented ones, and nothing is committed that the
// first answer did not register.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>

#include <keepsafe/platform/http/extract_error.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/api/Rbac2Json.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "MasterServerRoot.h"
#include "require.h"
#include "support/FakeHttpClients.h"

namespace {

using namespace Tessara::Keepsafe::Rbac;
using Service = DefaultObjectRegistrationService;

/// Answers every request the same way, and counts them.
class OneAnswer : public keepsafe_test::FakeHttpClients {
public:
    OneAnswer(std::string body, long httpStatus) : body_(std::move(body)), httpStatus_(httpStatus) {}

    int requests = 0;

private:
    keepsafe_test::Response answer(const keepsafe_test::Request& request, int /*apiVersion*/) override
    {
        require(request.method == "POST", "registration only posts");
        ++requests;
        return {0, httpStatus_, body_};
    }

    std::string body_;
    long httpStatus_;
};

void check(const Service::RegisteredObject& registered)
{
    const auto requireName = [](const ObjectNamespace& name) {
        require(boost::lexical_cast<ObjectNamespace>(name.str()) == name, "a name survives its text form");
    };
    requireName(registered.first);
    for (const ObjectNamespace& name : registered.second) {
        requireName(name);
    }
}

void checkAll(const Service::RegisteredObjects& objects)
{
    for (const auto& object : objects) {
        check(object);
    }
}

/// Runs a parser. Returns whether it accepted the answer.
template <typename Parse>
bool takes(const Parse& parse)
{
    try {
        parse();
        return true;
    } catch (const EC_exception& failure) {
        require(failure.status() == 9103 || failure.status() == 7610, "a failure has a documented status");
    } catch (const boost::bad_lexical_cast&) {
    }
    return false;
}

bool takesOne(const std::string& answer)
{
    return takes([&] { check(Service::extractRegisteredNamespaces(answer)); });
}

bool takesMany(const std::string& answer)
{
    return takes([&] { checkAll(Service::extractBulkRegisteredNamespaces(answer)); });
}

/// A callback for one object or many that records what happened.
template <typename Interface>
class Callback : public Interface {
public:
    void notifyFailure(int status) override
    {
        require(status != 0, "a failure is not status 0");
        ++told;
    }

    int invoked = 0;
    int told = 0;
};

class OneCallback : public Callback<ObjectRegistrationCallback> {
public:
    [[nodiscard]] int invoke() override
    {
        ++invoked;
        return 0;
    }
};

class ManyCallback : public Callback<BulkObjectRegistrationCallback> {
public:
    int invoke(std::set<ObjectNamespace>& successful) override
    {
        ++invoked;
        successful.insert(ObjectNamespace("A"));
        return 0;
    }
};

boost::shared_ptr<ObjectRegistrationData> anObject()
{
    auto data = boost::make_shared<ObjectRegistrationData>();
    data->objectNamespace = ObjectNamespace("A");
    data->accessControlAttributes = json_array_shared();
    return data;
}

template <typename Callback>
void checkWorkflow(int status, const Callback& callback, const OneAnswer& service, bool registered)
{
    require((status == 0) == registered, "success is what was registered and committed");
    require(callback.invoked == (registered ? 1 : 0), "the callback works on what was registered");
    require(callback.told == (registered ? 0 : 1), "the callback hears of a failure");
    require(service.requests == (registered ? 2 : 1), "what was registered is committed");
}

void runOne(const std::string& answer, long httpStatus)
{
    const auto http = boost::make_shared<OneAnswer>(answer, httpStatus);
    const auto callback = boost::make_shared<OneCallback>();
    const int status = Service(1556, http).registerObject(anObject(), callback);
    checkWorkflow(status, *callback, *http, httpStatus == 201 && takesOne(answer));
}

void runMany(const std::string& answer, long httpStatus)
{
    const auto http = boost::make_shared<OneAnswer>(answer, httpStatus);
    const auto callback = boost::make_shared<ManyCallback>();
    const int status = Service(1556, http).bulkRegisterObjects({anObject()}, callback);
    checkWorkflow(status, *callback, *http, httpStatus == 201 && takesMany(answer));
}

void readError(const std::string& answer)
{
    int code = 0;
    std::string message;
    const int status = extractErrorFromJSON(answer, code, message);
    require((status == 0) == (code != 0), "an error document has a code that is not success");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const MasterServerRoot root;
    if (size == 0) {
        return 0;
    }
    const std::string answer(data + 1, data + size);
    switch (data[0] % 7) {
    case 0:
        (void)takesOne(answer);
        break;
    case 1:
        (void)takesMany(answer);
        break;
    case 2:
        runOne(answer, 201);
        break;
    case 3:
        runMany(answer, 201);
        break;
    case 4:
        runOne(answer, 409);
        break;
    case 5:
        runMany(answer, 409);
        break;
    default:
        readError(answer);
    }
    return 0;
}
