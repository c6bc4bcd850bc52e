#include <list>
#include <optional>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "cli/arguments.h"
#include "commands/service_commands.h"
#include "process/SignalWatch.h"
#include "registration/ObjectRequest.h"
#include "registration/Work.h"
#include "registration/bulk_file.h"
#include "registration/callbacks.h"
#include "service/AnswerRecorder.h"
#include "service/RequestLog.h"
#include "service/ask_service.h"
#include "service/explain_failure.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
namespace Status = Tessara::Keepsafe::Status;

namespace {

void requireConsistent(const ObjectRegisterOptions& options)
{
    const bool isSingle = options.object || options.type || !options.children.empty() ||
                          !options.grants.empty() || options.inherit || options.ignoreRegistered;
    if (options.bulkFile && isSingle) {
        throw InputError("object register: with --bulk the file says what there is to say of the objects");
    }
    if (!options.bulkFile && !(options.object && options.type)) {
        throw InputError("object register: give NS and --type, or --bulk");
    }
}

ObjectRequest readRequest(const ObjectRegisterOptions& options)
{
    ObjectRequest request;
    request.object = parseNamespace("NS", *options.object);
    request.type = requireText("--type", *options.type, std::string::npos);
    for (const std::string& child : options.children) {
        request.children.push_back(parseNamespace("--child", child));
    }
    for (const std::string& grant : options.grants) {
        request.grants.push_back(parseGrant(grant));
    }
    if (options.inherit) {
        request.inherit = parseSwitch("--inherit", *options.inherit);
    }
    request.ignoreRegistered = options.ignoreRegistered;
    return request;
}

std::optional<Program> readProgram(const ExecOptions& options)
{
    if (!options.program) {
        return std::nullopt;
    }
    if (options.program->empty()) {
        throw InputError("--exec: a program is needed");
    }
    std::vector<std::string> command{*options.program};
    command.insert(command.end(), options.arguments.begin(), options.arguments.end());
    return Program(command);
}

/// Lets the library do one of its operations with a callback, and throws `ServiceError` unless it is done.
template <typename Callback, typename Operation>
void registerThrough(const std::string& question, const boost::shared_ptr<Callback>& callback,
                     const Operation& operation)
{
    const auto recorder =
        boost::make_shared<AnswerRecorder>(boost::make_shared<KSClientCURLFactory>(CERT_TYPE_HOST));
    const RequestLog log;
    const int status = askService(question, [&] {
        Rbac::DefaultObjectRegistrationService service(MASTER_SERVER_PORT, recorder);
        return operation(service, callback);
    });
    if (status != Status::SUCCESS) {
        throw ServiceError(question + ": " +
                           explainStatus(status, log.lines(), callback->failure(), recorder->refusal()));
    }
}

void registerOne(const ObjectRequest& request, const Work& work)
{
    const auto data = registrationData(request);
    registerThrough(
        "object register " + request.object.str(),
        boost::make_shared<RegistrationCallback>(work, request.object),
        [&](auto& service, const auto& callback) { return service.registerObject(data, callback); });
}

void registerMany(const std::vector<ObjectRequest>& requests, const Work& work, Console& console)
{
    const std::string question = "object register --bulk";
    std::list<boost::shared_ptr<Rbac::ObjectRegistrationData>> data;
    BulkCallback::Objects objects;
    for (const ObjectRequest& request : requests) {
        data.push_back(registrationData(request));
        objects.push_back(request.object);
    }
    const auto tell = [&](const std::string& message) { console.complain(question + ": " + message); };
    registerThrough(
        question, boost::make_shared<BulkCallback>(work, objects, tell),
        [&](auto& service, const auto& callback) { return service.bulkRegisterObjects(data, callback); });
}

} // namespace

ExitStatus runObjectRegister(const ObjectRegisterOptions& options, Console& console)
{
    requireConsistent(options);
    std::vector<ObjectRequest> requests;
    if (options.bulkFile) {
        requests = readBulkFile(*options.bulkFile);
    } else {
        requests.push_back(readRequest(options));
    }
    const std::optional<Program> program = readProgram(options.exec);
    SignalWatch signals;
    const Work work(program, signals);
    if (options.bulkFile) {
        registerMany(requests, work, console);
    } else {
        registerOne(requests.front(), work);
    }
    return ExitStatus::Good;
}

ExitStatus runObjectUnregister(const ObjectUnregisterOptions& options)
{
    const Rbac::ObjectNamespace object = parseNamespace("NS", options.object);
    if (object.is_root()) {
        throw InputError("NS: the root is no object that was registered");
    }
    const std::optional<Program> program = readProgram(options.exec);
    SignalWatch signals;
    const Work work(program, signals);
    registerThrough(
        "object unregister " + object.str(), boost::make_shared<UnregistrationCallback>(work, object),
        [&](auto& service, const auto& callback) { return service.unregisterObject(object, callback); });
    return ExitStatus::Good;
}

} // namespace ksrbac
