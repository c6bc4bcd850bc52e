#ifndef KEEPSAFE_SERVICE_MONITOR_SERVICEHEALTH_H
#define KEEPSAFE_SERVICE_MONITOR_SERVICEHEALTH_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "accesscontrol/ControlFigures.h"

namespace keepsafe_service {

/// Whether the service does what it is there for. Any thread.
class ServiceHealth {
public:
    enum class Phase { Starting, Serving, Ending };

    /// `control` outlives the object.
    explicit ServiceHealth(const ControlFigures& control) : control_(control) {}

    void enter(Phase phase) noexcept { phase_ = phase; }
    [[nodiscard]] Phase phase() const noexcept { return phase_; }

    /// What the database's last answer was: nothing when it was one, or why there was none.
    void setDatabaseFault(std::optional<std::string> fault);
    [[nodiscard]] bool isDatabaseThere() const;

    /// The journal's last revision, as the database had it when it was last asked.
    void setRevision(std::int64_t revision) noexcept { revision_ = revision; }
    [[nodiscard]] std::int64_t revision() const noexcept { return revision_; }

    /// Everything that is wrong; empty when all is well.
    [[nodiscard]] std::vector<std::string> faults() const;

private:
    const ControlFigures& control_;
    std::atomic<Phase> phase_ = Phase::Starting;
    std::atomic<std::int64_t> revision_ = 0;
    mutable std::mutex mutex_;
    std::optional<std::string> databaseFault_;
};

} // namespace keepsafe_service

#endif
