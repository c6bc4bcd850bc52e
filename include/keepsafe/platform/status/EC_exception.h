#ifndef KEEPSAFE_PLATFORM_STATUS_EC_EXCEPTION_H
#define KEEPSAFE_PLATFORM_STATUS_EC_EXCEPTION_H

#include <stdexcept>

#include <keepsafe/platform/export/export.h>

/// The product's status exception: a failure that has a status code. `what()` is the product's message text
/// for that code (see `getECmsg`). Functions that report status integers catch it and return `status()`.
class KEEPSAFE_API EC_exception : public std::runtime_error {
public:
    explicit EC_exception(int status);
    EC_exception(const EC_exception&) = default;
    EC_exception& operator=(const EC_exception&) = default;
    ~EC_exception() override;

    /// The status code; see keepsafe/platform/status/status_codes.h for the named ones.
    [[nodiscard]] int status() const noexcept { return status_; }

private:
    int status_;
};

#endif
