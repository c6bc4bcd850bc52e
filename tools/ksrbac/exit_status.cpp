#include "exit_status.h"

#include <exception>
#include <new>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/ExplainedFailure.h>
#include <keepsafe/platform/status/status_codes.h>

#include "output/escape.h"

namespace ksrbac {

namespace Status = Tessara::Keepsafe::Status;

namespace {

FailureKind kindOf(int status) noexcept
{
    switch (status) {
    case Status::CACHE_UNUSABLE:
    case Status::FILE_UNREADABLE:
    case Status::MALFORMED_DOCUMENT:
        return FailureKind::Cache;
    default:
        return FailureKind::Failure;
    }
}

ExitStatus detailedStatusOf(FailureKind kind) noexcept
{
    switch (kind) {
    case FailureKind::NotFound:
        return ExitStatus::NotFound;
    case FailureKind::Refused:
        return ExitStatus::Refused;
    case FailureKind::Unreachable:
        return ExitStatus::Unreachable;
    case FailureKind::Cache:
        return ExitStatus::CacheUnusable;
    default:
        return ExitStatus::LibraryFailed;
    }
}

Failure failureOf(const EC_exception& error, const std::string& reason)
{
    const std::string text = "status " + std::to_string(error.status()) + ": " + error.what();
    return {kindOf(error.status()), reason.empty() ? text : text + " (" + printable(reason) + ')',
            error.status()};
}

} // namespace

const char* nameOf(FailureKind kind) noexcept
{
    switch (kind) {
    case FailureKind::Usage:
        return "usage";
    case FailureKind::Input:
        return "input";
    case FailureKind::Configuration:
        return "configuration";
    case FailureKind::NotFound:
        return "not-found";
    case FailureKind::Refused:
        return "refused";
    case FailureKind::Unreachable:
        return "unreachable";
    case FailureKind::Cache:
        return "cache";
    case FailureKind::Token:
        return "token";
    case FailureKind::Database:
        return "database";
    case FailureKind::Output:
        return "output";
    case FailureKind::Failure:
        break;
    }
    return "failure";
}

ExitStatus exitStatusOf(const Failure& failure, bool detailed) noexcept
{
    if (failure.isBadInput) {
        return ExitStatus::BadInput;
    }
    if (failure.kind == FailureKind::Output) {
        return ExitStatus::OutputFailed;
    }
    return detailed ? detailedStatusOf(failure.kind) : ExitStatus::LibraryFailed;
}

Failure currentFailure(const std::string& loggedError)
{
    try {
        throw;
    } catch (const CommandFailure& error) {
        return error.failure();
    } catch (const Tessara::Keepsafe::ExplainedFailure& error) {
        return failureOf(error, error.reason());
    } catch (const EC_exception& error) {
        return failureOf(error, loggedError);
    } catch (const std::bad_alloc&) {
        return {FailureKind::Failure, "out of memory"};
    } catch (const std::exception& error) {
        return {FailureKind::Failure, error.what()};
    } catch (...) {
        return {FailureKind::Failure, "failed for a reason that is not known"};
    }
}

} // namespace ksrbac
