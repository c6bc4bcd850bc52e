// Requests to the master server on a kept connection, beside bare libcurl with a reused handle, and what it
// costs to create a client. The server is one thread of this process, and both stay on one processor: with
// two, the time that an idle processor of a virtual machine takes to wake up dominates, which is the same for
// all kinds of request and differs threefold from run to run.

#include <filesystem>
#include <memory>
#include <string>

#include <boost/shared_ptr.hpp>
#include <curl/curl.h>
#include <sched.h>
#include <sys/stat.h>

#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/rbac/api/Roles.h>
#include <keepsafe/rbac/client/AccessControlClient.h>

#include "generate/GeneratedCache.h"
#include "questions/PublishedCache.h"
#include "support/MasterServerRoot.h"
#include "workloads.h"

namespace keepsafe_bench {
namespace {

using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::RoleAPI;

/// An installation root and the master server that it names.
class Installation : public keepsafe_test::MasterServerRoot {
public:
    void putCache(const std::string& id, const std::string& directory) const
    {
        const std::filesystem::path caches = path("wmc/webserver/temp/access-caches");
        std::filesystem::create_directories(caches);
        std::filesystem::create_directory_symlink(directory, caches / id);
    }

    keepsafe_test::HttpsServer server{settings()};
};

/// The same request by libcurl alone, with one handle.
class BareClient {
public:
    BareClient(const Installation& installation, const std::string& path)
        : url_("https://" + installation.address + ':' + std::to_string(MASTER_SERVER_PORT) + '/' + path)
    {
        curl_easy_setopt(curl_.get(), CURLOPT_URL, url_.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(curl_.get(), CURLOPT_CAINFO, installation.authority.file().c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_SSLCERT, installation.client.certificate.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_SSLKEY, installation.client.key.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, &take);
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &body_);
    }

    /// What a client must query before it may send: whether the configuration and the host's files are still
    /// those that the connection was made with.
    void getAfterLookingAtFiles(const Installation& installation)
    {
        for (const std::string* path : {&installation.configurationFile, &installation.client.certificate,
                                        &installation.authority.file()}) {
            struct stat state {};
            require(::stat(path->c_str(), &state) == 0, "the file is there");
        }
        get();
    }

    void get()
    {
        body_.clear();
        require(curl_easy_perform(curl_.get()) == CURLE_OK && !body_.empty(), "the bare request succeeds");
    }

private:
    static std::size_t take(const char* data, std::size_t /*one*/, std::size_t size, void* body)
    {
        static_cast<std::string*>(body)->append(data, size);
        return size;
    }

    struct Cleanup {
        void operator()(CURL* curl) const noexcept { curl_easy_cleanup(curl); }
    };
    std::unique_ptr<CURL, Cleanup> curl_{curl_easy_init()};
    std::string url_;
    std::string body_;
};

void measureGet(Installation& installation, const Settings& settings, Report& report)
{
    installation.server.playAlways(keepsafe_test::answer(
        200, R"({"data":{"type":"accessControlRole","links":{"self":{"href":"/access-control/roles/17"}},)"
             R"("id":"17","attributes":{"name":"auditor","description":"reads","systemDefined":true}}})"));
    BareClient bare(installation, "keepsafe/access-control/roles/17");
    const RoleAPI roles;
    const unsigned before = installation.server.connections();
    times(1000, [&] { require(roles.get_role(17).id == 17, "the role arrives"); })();
    report.value("  connections for 1,000 get_role calls", installation.server.connections() - before, "");

    const std::size_t count = settings.calls / 5;
    Turns turns(settings.rounds * 2);
    const auto floor = turns.add(count, times(count, [&] { bare.get(); }));
    const auto files = turns.add(count, times(count, [&] { bare.getAfterLookingAtFiles(installation); }));
    const auto client =
        turns.add(count, times(count, [&] {
                      const std::unique_ptr<KSClientCURL_Base> curl(roles.new_curl());
                      require(curl->Get("keepsafe/access-control/roles/17") == 0, "the request succeeds");
                  }));
    const auto call = turns.add(count, times(count, [&] { (void)roles.get_role(17); }));
    turns.run();
    const Figures libcurl = turns.figures(floor);
    report.line("rest/bare libcurl, reused handle", libcurl);
    report.line("rest/the same after three stat calls", turns.figures(files), libcurl);
    report.line("rest/KSClientCURL::Get", turns.figures(client), libcurl);
    report.line("rest/RoleAPI::get_role", turns.figures(call), libcurl);
    report.goal("rest/KSClientCURL::Get / libcurl", turns.figures(client).median / libcurl.median,
                Report::Bound::AtMost, 1.3, "");
}

void measureCreate(Installation& installation, const Settings& settings, Report& report)
{
    const PublishedCache published(keepsafe_sandbox::GeneratedCache(settings.baseObjects, SEED).build());
    installation.putCache("large", published.location().accessCache());
    installation.server.playAlways(
        keepsafe_test::answer(200, R"({"data":{"type":"accessCache","id":"large"}})"));
    constexpr std::size_t COUNT = 200;
    Turns turns(settings.rounds);
    const auto create =
        turns.add(COUNT, times(COUNT, [] {
                      boost::shared_ptr<AccessControlClient> client;
                      require(AccessControlClient::create(ObjectNamespace("KEEPSAFE"), client) == 0,
                              "the client is made");
                  }));
    turns.run();
    report.line("rest/AccessControlClient::create", turns.figures(create));
    report.goal("rest/AccessControlClient::create", turns.figures(create).median / 1e6, Report::Bound::AtMost,
                2, "ms");
}

/// Applies to the calling thread and those that it starts from now on.
void stayOnOneProcessor()
{
    cpu_set_t own;
    require(::sched_getaffinity(0, sizeof own, &own) == 0, "the processors are known");
    int first = 0;
    while (!CPU_ISSET(first, &own)) {
        ++first;
    }
    CPU_ZERO(&own);
    CPU_SET(first, &own);
    require(::sched_setaffinity(0, sizeof own, &own) == 0, "a processor can be chosen");
}

} // namespace

void measureRequests(const Settings& settings, Report& report)
{
    if (!settings.allProcessors) {
        stayOnOneProcessor();
    }
    Installation installation;
    measureGet(installation, settings, report);
    measureCreate(installation, settings, report);
}

} // namespace keepsafe_bench
