// What a request to the master server costs on a connection that is kept, beside bare libcurl with a reused
// handle, and what creating a client for a large access cache costs. The server is one thread of this
// process, and both stay on one processor: with two, the time in which an idle processor of a virtual machine
// wakes up decides, which is the same for all kinds of request and differs threefold from run to run.
// `rest_bench --help` lists the options.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>
#include <boost/shared_ptr.hpp>
#include <curl/curl.h>
#include <sched.h>
#include <sys/stat.h>

#include <keepsafe/rbac/api/Roles.h>
#include <keepsafe/rbac/client/AccessControlClient.h>

#include "Measure.h"
#include "access/Workload.h"
#include "support/Certificates.h"
#include "support/HttpsServer.h"
#include "support/TempDir.h"
#include "support/own_address.h"

namespace keepsafe_bench {
namespace {

using keepsafe_test::HttpsServer;
using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::RoleAPI;

const std::string ADDRESS = keepsafe_test::ownAddress();
constexpr unsigned short PORT = 1556;

void require(bool holds, const char* what)
{
    if (!holds) {
        throw std::runtime_error(std::string("it does not hold that ") + what);
    }
}

std::function<void()> times(std::size_t count, const std::function<void()>& work)
{
    return [count, work] {
        for (std::size_t i = 0; i < count; ++i) {
            work();
        }
    };
}

/// An installation root and the master server that it names.
class Installation {
public:
    Installation()
    {
        keepsafe_test::writeFile(
            configuration_, "master_server = \"" + ADDRESS +
                                "\"\n[features]\nenabled = [1]\n[tls]\ncertificate = \"" + host_.certificate +
                                "\"\nkey = \"" + host_.key + "\"\nca = \"" + authority_.file() + "\"\n");
    }

    void putCache(const std::string& id, const std::string& directory) const
    {
        const std::filesystem::path caches = root_.path("wmc/webserver/temp/access-caches");
        std::filesystem::create_directories(caches);
        std::filesystem::create_directory_symlink(directory, caches / id);
    }

    HttpsServer& server() { return server_; }
    [[nodiscard]] const std::string& configuration() const { return configuration_; }
    [[nodiscard]] const std::string& ca() const { return authority_.file(); }
    [[nodiscard]] const keepsafe_test::CertificateFiles& host() const { return host_; }

private:
    [[nodiscard]] HttpsServer::Settings settings() const
    {
        HttpsServer::Settings settings;
        settings.certificate = authority_.issue({"server", "serverAuth", "IP:" + ADDRESS});
        settings.clientCa = authority_.file();
        settings.address = ADDRESS;
        settings.port = PORT;
        return settings;
    }

    keepsafe_test::TempRoot root_;
    std::string configuration_ = root_.path("etc/keepsafe.toml");
    keepsafe_test::CertificateAuthority authority_{root_.path(), "ca"};
    keepsafe_test::CertificateFiles host_ = authority_.issueForClient("host");
    HttpsServer server_{settings()};
};

/// The same request by libcurl alone, with one handle.
class BareClient {
public:
    BareClient(const Installation& installation, const std::string& path)
        : url_("https://" + ADDRESS + ':' + std::to_string(PORT) + '/' + path)
    {
        curl_easy_setopt(curl_.get(), CURLOPT_URL, url_.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(curl_.get(), CURLOPT_CAINFO, installation.ca().c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_SSLCERT, installation.host().certificate.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_SSLKEY, installation.host().key.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, &take);
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &body_);
    }

    /// What a client has to ask the system before it may send: whether the configuration and the host's files
    /// are still those that the connection was made with.
    void getAfterLookingAtFiles(const Installation& installation)
    {
        const keepsafe_test::CertificateFiles& host = installation.host();
        for (const std::string* path :
             {&installation.configuration(), &host.certificate, &installation.ca()}) {
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

void measureRequests(Installation& installation, std::size_t count, int rounds)
{
    installation.server().playAlways(keepsafe_test::answer(
        200, R"({"data":{"type":"accessControlRole","links":{"self":{"href":"/access-control/roles/17"}},)"
             R"("id":"17","attributes":{"name":"auditor","description":"reads","systemDefined":true}}})"));
    BareClient bare(installation, "keepsafe/access-control/roles/17");
    const RoleAPI roles;
    const unsigned before = installation.server().connections();
    times(1000, [&] { require(roles.get_role(17).id == 17, "the role arrives"); })();
    std::printf("1,000 get_role calls open %u connection(s)\n", installation.server().connections() - before);

    TakingTurns turns(rounds);
    const auto floor = turns.add(count, times(count, [&] { bare.get(); }));
    const auto files = turns.add(count, times(count, [&] { bare.getAfterLookingAtFiles(installation); }));
    const auto client =
        turns.add(count, times(count, [&] {
                      const std::unique_ptr<KSClientCURL_Base> curl(roles.new_curl());
                      require(curl->Get("keepsafe/access-control/roles/17") == 0, "the request succeeds");
                  }));
    const auto call = turns.add(count, times(count, [&] { (void)roles.get_role(17); }));
    turns.run();
    const double base = turns.result(floor);
    std::printf("A request on a kept connection, median of %d rounds\n", rounds);
    std::printf("  %-34s %8.1f us\n", "bare libcurl, reused handle", base / 1000);
    std::printf("  %-34s %8.1f us  = %.2f x\n", "the same, after three stat", turns.result(files) / 1000,
                turns.result(files) / base);
    std::printf("  %-34s %8.1f us  = %.2f x (at most 1.30)\n", "KSClientCURL::Get",
                turns.result(client) / 1000, turns.result(client) / base);
    std::printf("  %-34s %8.1f us  = %.2f x\n", "RoleAPI::get_role", turns.result(call) / 1000,
                turns.result(call) / base);
}

void measureCreate(Installation& installation, std::uint64_t objects, int rounds)
{
    const Workload workload(objects);
    installation.putCache("large", workload.directory());
    installation.server().playAlways(
        keepsafe_test::answer(200, R"({"data":{"type":"accessCache","id":"large"}})"));
    constexpr std::size_t COUNT = 200;
    TakingTurns turns(rounds);
    const auto create =
        turns.add(COUNT, times(COUNT, [] {
                      boost::shared_ptr<AccessControlClient> client;
                      require(AccessControlClient::create(ObjectNamespace("KEEPSAFE"), client) == 0,
                              "the client is made");
                  }));
    turns.run();
    std::printf("AccessControlClient::create, cache of %llu objects\n",
                static_cast<unsigned long long>(objects));
    std::printf("  %-34s %8.1f us  (under 2000)\n", "with an open connection", turns.result(create) / 1000);
}

/// The calling thread, and those that it starts from now on.
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
} // namespace keepsafe_bench

int main(int argc, char** argv)
try {
    CLI::App app("Measures requests to the master server.\nExample: rest_bench --rounds 21");
    std::size_t count = 400;
    std::uint64_t objects = 1000000;
    int rounds = 21;
    app.add_option("--count", count, "Requests of each kind in a round")->check(CLI::Range(10, 1000000));
    app.add_option("--objects", objects, "Leaves of the generated cache")->check(CLI::Range(1000, 9000000));
    app.add_option("--rounds", rounds, "Rounds; the median counts")->check(CLI::Range(1, 1000));
    bool allProcessors = false;
    app.add_flag("--all-processors", allProcessors, "Let client and server run on different processors");
    CLI11_PARSE(app, argc, argv);
    if (!allProcessors) {
        keepsafe_bench::stayOnOneProcessor();
    }
    keepsafe_bench::Installation installation;
    keepsafe_bench::measureRequests(installation, count, rounds);
    keepsafe_bench::measureCreate(installation, objects, rounds);
    return 0;
} catch (const std::exception& error) {
    (void)std::fprintf(stderr, "rest_bench: %s\n", error.what());
    return 1;
}
