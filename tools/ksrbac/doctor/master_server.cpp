#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <jansson.h>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/platform/uri/percent_encode.h>

#include "doctor/Examination.h"
#include "doctor/HeardLog.h"
#include "doctor/ServiceProbe.h"
#include "doctor/clock.h"
#include "load.h"
#include "service/transfer_meaning.h"

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;

namespace {

using Clock = std::chrono::steady_clock;

constexpr char WHAT[] = "master server";
constexpr char CERTIFICATE[] = "server certificate";
constexpr char STATE[] = "published cache";
constexpr long OK = 200;
constexpr int NOT_ACCEPTED = 60; ///< transfer status: the server's certificate

/// Sets a flag when the time is over, unless it is gone before.
class Alarm {
public:
    explicit Alarm(std::chrono::milliseconds time)
        : thread_([this, time] {
              std::unique_lock<std::mutex> lock(mutex_);
              if (!ended_.wait_for(lock, time, [this] { return isOver_; })) {
                  __atomic_store_n(&rings, true, __ATOMIC_RELAXED); // read by the HTTP client as it is
              }
          })
    {
    }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;
    ~Alarm()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            isOver_ = true;
        }
        ended_.notify_one();
        thread_.join();
    }

    bool rings = false;

private:
    std::mutex mutex_;
    std::condition_variable ended_;
    bool isOver_ = false;
    std::thread thread_;
};

/// One request by the library's own client.
struct Answer {
    int transferStatus = 0;
    long httpStatus = 0;
    std::string body;
    std::string reason;
    std::chrono::milliseconds took{0};
};

Answer ask(const Platform::Config& config, const std::string& path, std::chrono::milliseconds timeout)
{
    Alarm alarm(timeout);
    KSClientCURL client(config.masterServer, MASTER_SERVER_PORT, CERT_TYPE_HOST, 1, nullptr, "", "", "", true,
                        false, false, false, alarm.rings, 0);
    client.setApiVersion(MAX_VERSION);
    const auto begin = Clock::now();
    Answer answer;
    answer.transferStatus = client.Get(path);
    answer.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    answer.httpStatus = client.httpStatus();
    answer.body = client.responseBody();
    answer.reason = client.failureReason();
    return answer;
}

std::string remedyFor(int transferStatus)
{
    switch (transferStatus) {
    case 6:
        return "correct master_server in " + Platform::configPath() + ", or the name service";
    case NOT_ACCEPTED:
        return "see the server certificate below";
    case 58:
    case 77:
        return "see the certificates and the key above";
    case 35:
    case 52:
    case 55:
    case 56:
        return "see the client certificate above, and the log of the service";
    default:
        return "see whether the service runs, and whether its port can be reached from here";
    }
}

std::string textOf(const Answer& answer, std::chrono::seconds timeout)
{
    constexpr int ABORTED = 42;
    if (answer.transferStatus == ABORTED) {
        return "no answer within " + std::to_string(timeout.count()) + " s";
    }
    return std::string(transferMeaning(answer.transferStatus)) + " (transfer status " +
           std::to_string(answer.transferStatus) + (answer.reason.empty() ? "" : ": " + answer.reason) + ')';
}

void describeCertificate(const ServiceProbe& probe, Examination& examination)
{
    if (probe.certificates.empty()) {
        examination.skip(CERTIFICATE, "the master server has not shown one");
        return;
    }
    X509& certificate = *probe.certificates.front();
    const std::string& name = examination.config->masterServer;
    const std::string subject = subjectOf(certificate);
    const Validity validity = validityOf(certificate);
    const std::string remedy = "renew it on the master server";
    if (validity.state == Finding::State::Failure) {
        examination.fail(CERTIFICATE, subject + ' ' + validity.text, remedy);
    } else if (!isFor(certificate, name)) {
        const std::string names = alternativeNamesOf(certificate);
        examination.fail(CERTIFICATE,
                         subject + " is not for " + name + " but for " +
                             (names.empty() ? "no name at all" : names),
                         "correct master_server in " + Platform::configPath() +
                             ", or issue the certificate for that name (subjectAltName)");
    } else if (validity.state == Finding::State::Warning) {
        examination.warn(CERTIFICATE, subject + ' ' + validity.text, remedy);
    } else {
        examination.ok(CERTIFICATE, subject + " is for " + name + " and " + validity.text);
    }
}

/// The id in the answer; nothing for another document.
std::optional<std::string> cacheIdIn(const std::string& body)
{
    json_error_t error;
    const Tessara::Keepsafe::JsonHandle document = Tessara::Keepsafe::loadJson(body, error);
    const char* id = nullptr;
    if (json_unpack(document.get(), "{s:{s:s,*},*}", "data", "id", &id) != 0) {
        return std::nullopt;
    }
    return id;
}

void describeAnswer(const Answer& answer, Examination& examination)
{
    const std::string& host = examination.config->masterServer;
    if (answer.httpStatus != OK) {
        const Tessara::Keepsafe::ServiceRefusal refusal(20, answer.httpStatus, answer.body);
        examination.fail(WHAT,
                         host + " refuses to name the access cache of " + examination.scope.coveredByText +
                             ": " + refusal.reason(),
                         "see the log of the service");
        return;
    }
    examination.serviceCache = cacheIdIn(answer.body);
    if (!examination.serviceCache) {
        examination.fail(
            WHAT, host + " answers, but not with the id of an access cache",
            "see whether the access-control service listens at this address, or another program");
        return;
    }
    examination.hasServiceAnswered = true;
    examination.ok(WHAT, host + " answers in " + std::to_string(answer.took.count()) +
                             " ms: the access cache of " + examination.scope.coveredByText + " is " +
                             *examination.serviceCache);
}

void describePublication(const ServiceProbe& probe, Examination& examination)
{
    examination.isServiceCacheOutdated = probe.isCacheOutdated;
    if (!probe.isAnswered) {
        examination.skip(STATE, "the service was asked again and did not answer");
    } else if (probe.isCacheOutdated) {
        examination.warn(
            STATE, "the service says that the cache is outdated: changes are stored, but not in it",
            "the log of the service says why; mostly the cache's lock is held, or the disk is full");
    } else {
        examination.ok(STATE, "the service does not call the cache outdated");
    }
}

void skipTheRest(const std::string& because, Examination& examination)
{
    examination.skip("clock", because);
    examination.skip(STATE, because);
}

void askMasterServer(Examination& examination)
{
    const Platform::Config& config = *examination.config;
    const std::chrono::milliseconds timeout = examination.scope.timeout;
    std::string name;
    if (percentEncodeUriPart(examination.scope.coveredByText, name) != 0) {
        examination.leaveOpen(WHAT, "the namespace cannot be part of a path",
                              "choose another one with --for");
        return;
    }
    const std::string path = "keepsafe/access-control/access-caches/" + name;
    const HeardLog log;
    const Answer answer = ask(config, path, timeout);
    if (answer.transferStatus == 0) {
        describeAnswer(answer, examination);
        const ServiceProbe probe = probeService(config, path, timeout);
        describeCertificate(probe, examination);
        checkClock(probe, examination);
        describePublication(probe, examination);
        return;
    }
    examination.fail(WHAT, config.masterServer + ": " + textOf(answer, examination.scope.timeout),
                     remedyFor(answer.transferStatus));
    if (answer.transferStatus == NOT_ACCEPTED) {
        describeCertificate(probeCertificate(config, timeout), examination);
    } else {
        examination.skip(CERTIFICATE, "the master server has not shown one");
    }
    skipTheRest("the master server does not answer", examination);
}

} // namespace

void checkMasterServer(Examination& examination)
{
    std::string because;
    if (!examination.config) {
        because = "there is no configuration to read";
    } else if (!examination.config->masterServer.empty()) {
        askMasterServer(examination);
        return;
    } else if (examination.isEnforcing) {
        examination.fail(WHAT, "none is configured: no access cache can be found",
                         "set master_server in " + Platform::configPath());
    } else {
        because = "none is configured, and enforcement is off";
    }
    if (!because.empty()) {
        examination.skip(WHAT, because);
    }
    examination.skip(CERTIFICATE, "there is no master server to ask");
    skipTheRest("there is no master server to ask", examination);
}

} // namespace ksrbac
