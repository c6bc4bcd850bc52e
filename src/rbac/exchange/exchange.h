#ifndef KEEPSAFE_RBAC_EXCHANGE_EXCHANGE_H
#define KEEPSAFE_RBAC_EXCHANGE_EXCHANGE_H

#include <array>
#include <string>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "fail.h"

/// \file The common part of all requests to the master server. Each caller does its own logging.

namespace Tessara::Keepsafe::Rbac {

/// Describes why there is no master server.
inline std::string whyNoMasterServer()
{
    try {
        (void)Platform::loadConfig();
        return "no master server: \"master_server\" is not configured in " + Platform::configPath();
    } catch (const Platform::ConfigError& error) {
        return error.what();
    }
}

/// The name of the configured master server. Throws with the status of the lookup.
inline std::string masterServer()
{
    std::array<char, 257> name{};
    const int status = db_getservernameEx(name.data(), name.size());
    if (status != Status::SUCCESS) {
        throw ExplainedFailure(status, whyNoMasterServer());
    }
    return name.data();
}

/// The same, with the failure logged under `tag`.
inline std::string masterServer(const char* tag)
{
    try {
        return masterServer();
    } catch (const ExplainedFailure& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Couldn't get master server: %d", failure.status());
        throw;
    }
}

/// A client for the master server, which the caller owns. Throws 114, logged under `tag`, when there is no
/// factory or it makes none.
inline KSClientCURL_Base* newClient(KSClientCURL_BaseFactory* factory, const std::string& master, int port,
                                    const char* tag)
{
    KSClientCURL_Base* const client =
        factory == nullptr ? nullptr : factory->create(master, port, CLIENT_KIND_REST);
    if (client == nullptr) {
        diagnostics::fail(Status::CONVERSION_FAILED, tag, "There is no HTTP client for " + master);
    }
    return client;
}

/// One request: `send` sends it with the client and returns the transfer status. Returns the response's body
/// when the server answers with the expected HTTP status, and throws `TransferFailure` or `ServiceRefusal`
/// otherwise. `log` receives each event before it becomes a result or an exception: `transferFailed(status)`,
/// `answered(httpStatus)`, and `refused(httpStatus, body)`, which returns the status of the refusal.
template <typename Send, typename Log>
std::string exchange(KSClientCURL_Base& client, long expectedStatus, const Send& send, const Log& log)
{
    const int transfer = send(client);
    if (transfer != Status::SUCCESS) {
        log.transferFailed(transfer);
        throw TransferFailure(transfer, client.failureReason());
    }
    const long httpStatus = client.httpStatus();
    log.answered(httpStatus);
    if (httpStatus != expectedStatus) {
        throw ServiceRefusal(log.refused(httpStatus, client.responseBody()), httpStatus,
                             client.responseBody());
    }
    return client.responseBody();
}

} // namespace Tessara::Keepsafe::Rbac

#endif
