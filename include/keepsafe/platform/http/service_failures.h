#ifndef KEEPSAFE_PLATFORM_HTTP_SERVICE_FAILURES_H
#define KEEPSAFE_PLATFORM_HTTP_SERVICE_FAILURES_H

#include <memory>
#include <string>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/platform/status/ExplainedFailure.h>

/// \file
/// How a request to a server of the product fails. Operations that report a status code catch these
/// exceptions and return `status()`; the others throw them.

namespace Tessara::Keepsafe {

/// The server answered and refused. The operation chooses `status()`: usually the server's error code, and
/// another code when the answer has none. `reason()` is "HTTP status 404: no such role (detail; detail)".
class KEEPSAFE_API ServiceRefusal : public ExplainedFailure {
public:
    /// `body`: the answer, an error document or anything else; see `extractErrorFromJSON`.
    ServiceRefusal(int status, long httpStatus, const std::string& body);
    ServiceRefusal(const ServiceRefusal&) = default;
    ServiceRefusal& operator=(const ServiceRefusal&) = default;
    ~ServiceRefusal() override;

    [[nodiscard]] long httpStatus() const noexcept { return httpStatus_; }
    /// "errorCode" and "errorMessage" of the error document; 0 and empty when the answer is not one.
    [[nodiscard]] int errorCode() const noexcept { return errorCode_; }
    [[nodiscard]] const std::string& message() const noexcept { return *message_; }

private:
    long httpStatus_;
    int errorCode_ = 0;
    std::shared_ptr<const std::string> message_;
};

/// No complete answer arrived: the server cannot be reached, the TLS handshake failed, a timeout expired, the
/// answer was too long. `status()` is the transfer status, libcurl's error code; `reason()` is what the HTTP
/// client says about it (`KSClientCURL_Base::failureReason`).
class KEEPSAFE_API TransferFailure : public ExplainedFailure {
public:
    using ExplainedFailure::ExplainedFailure;
    TransferFailure(const TransferFailure&) = default;
    TransferFailure& operator=(const TransferFailure&) = default;
    ~TransferFailure() override;
};

} // namespace Tessara::Keepsafe

#endif
