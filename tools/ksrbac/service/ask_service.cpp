#include "service/ask_service.h"

#include <cstddef>
#include <new>

#include <boost/lexical_cast/bad_lexical_cast.hpp>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/platform/status/status_codes.h>

#include "output/escape.h"
#include "service/transfer_meaning.h"

namespace ksrbac {

using Tessara::Keepsafe::ExplainedFailure;
using Tessara::Keepsafe::ServiceRefusal;
using Tessara::Keepsafe::TransferFailure;
namespace Status = Tessara::Keepsafe::Status;

namespace {

/// The longest text of the service that is shown, in bytes.
constexpr std::size_t LONGEST_REASON = 2000;

/// What an exception says beside a status; nothing when there is none.
std::string reasonOf(const std::exception_ptr& cause)
{
    if (!cause) {
        return "";
    }
    try {
        std::rethrow_exception(cause);
    } catch (const ExplainedFailure& failure) {
        return escapeForMessage(failure.reason(), LONGEST_REASON);
    } catch (const EC_exception&) {
        return "";
    } catch (const boost::bad_lexical_cast&) {
        return "the service's answer holds a name, number or propagation that is malformed";
    } catch (const std::exception& error) {
        return error.what();
    }
}

/// Whether there is no server to ask, which every request fails for.
bool isServerUnknown()
{
    constexpr unsigned long LONGEST_NAME = 256;
    char name[LONGEST_NAME + 1];
    return db_getservernameEx(name, sizeof name) != Status::SUCCESS;
}

void classify(const std::exception_ptr& cause, Failure& failure)
{
    constexpr long NOT_FOUND = 404;
    try {
        if (cause) {
            std::rethrow_exception(cause);
        }
    } catch (const ServiceRefusal& refusal) {
        failure.httpStatus = refusal.httpStatus();
        failure.kind = failure.httpStatus == NOT_FOUND ? FailureKind::NotFound : FailureKind::Refused;
        return;
    } catch (const TransferFailure&) {
        failure.kind = FailureKind::Unreachable;
        return;
    } catch (...) {
        failure.kind = FailureKind::Failure;
    }
    if (isServerUnknown()) {
        failure.kind = FailureKind::Configuration;
    } else if (failure.status == Status::CACHE_UNUSABLE) {
        failure.kind = FailureKind::Cache; // the one that the service has named
    }
}

/// Whether the status is that of the HTTP client, whose numbers are libcurl's.
bool isTransferStatus(int status, const std::exception_ptr& cause)
{
    if (!cause) {
        return false;
    }
    try {
        std::rethrow_exception(cause);
    } catch (const TransferFailure& failure) {
        return failure.status() == status;
    } catch (...) {
        return false;
    }
}

} // namespace

Failure explainFailure(int status, const std::exception_ptr& cause, const std::string& reason)
{
    const std::string meaning =
        isTransferStatus(status, cause)
            ? "transfer status " + std::to_string(status) + ": " + transferMeaning(status)
            : "status " + std::to_string(status) + ": " + getECmsg(status);
    const std::string more = reasonOf(cause);
    const std::string detail = reason + (reason.empty() || more.empty() ? "" : "; ") + more;
    Failure failure{FailureKind::Failure, detail.empty() ? meaning : meaning + " (" + detail + ')', status};
    classify(cause, failure);
    return failure;
}

void throwExplained(const std::string& question)
{
    Failure failure;
    try {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const InputError&) {
        throw;
    } catch (const CommandFailure& error) {
        failure = error.failure();
        failure.message = error.what();
    } catch (const EC_exception& error) {
        failure = explainFailure(error.status(), std::current_exception());
    } catch (const std::exception&) {
        failure.message = reasonOf(std::current_exception());
    }
    failure.command = question;
    throw ServiceError(failure);
}

} // namespace ksrbac
