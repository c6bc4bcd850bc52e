#include "service/ask_service.h"

#include <cstddef>
#include <new>

#include <boost/lexical_cast/bad_lexical_cast.hpp>

#include <keepsafe/platform/http/service_failures.h>
#include <keepsafe/platform/status/status_codes.h>

#include "output/escape.h"
#include "service/transfer_meaning.h"

namespace ksrbac {

using Tessara::Keepsafe::ExplainedFailure;
using Tessara::Keepsafe::TransferFailure;

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

std::string explainFailure(int status, const std::exception_ptr& cause, const std::string& reason)
{
    const std::string meaning =
        isTransferStatus(status, cause)
            ? "transfer status " + std::to_string(status) + ": " + transferMeaning(status)
            : "status " + std::to_string(status) + ": " + getECmsg(status);
    const std::string more = reasonOf(cause);
    const std::string detail = reason + (reason.empty() || more.empty() ? "" : "; ") + more;
    return detail.empty() ? meaning : meaning + " (" + detail + ')';
}

void throwExplained(const std::string& question)
{
    try {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const EC_exception& error) {
        throw ServiceError(question + ": " + explainFailure(error.status(), std::current_exception()));
    } catch (const std::exception&) {
        throw ServiceError(question + ": " + reasonOf(std::current_exception()));
    }
}

} // namespace ksrbac
