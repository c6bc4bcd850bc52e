#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_OUTAGE_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_OUTAGE_H

#include <chrono>
#include <string>

namespace keepsafe_service {

/// The time in which the access cache is not what the store says, and what the log says of it: a line when it
/// begins, one when its reason changes, and one when it is over, however many attempts are made meanwhile.
/// One thread at a time.
class Outage {
public:
    [[nodiscard]] bool isOn() const noexcept { return attempts_ != 0; }

    /// An attempt to publish has failed. Returns the line to log, empty if there is none.
    [[nodiscard]] std::string failed(const std::string& reason);
    /// One has succeeded. The same.
    [[nodiscard]] std::string succeeded();

    [[nodiscard]] const std::string& reason() const noexcept { return reason_; }
    /// Since when, and why: "since 2026-01-31T23:59:59Z the access cache cannot be published: no space".
    [[nodiscard]] std::string text() const;

private:
    std::chrono::system_clock::time_point since_;
    std::string reason_;
    unsigned long attempts_ = 0;
};

} // namespace keepsafe_service

#endif
