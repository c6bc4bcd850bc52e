#ifndef KSRBAC_DOCTOR_FINDING_H
#define KSRBAC_DOCTOR_FINDING_H

#include <string>

namespace ksrbac {

/// What one check found.
struct Finding {
    enum class State {
        Ok,
        Warning,
        Failure,
        Unknown, ///< this user may not look, or the check itself failed
        Skipped, ///< an earlier finding, or the configuration, left nothing to look at
    };

    State state;
    std::string what;   ///< the subject
    std::string text;   ///< what was found; for a skipped check, why
    std::string remedy; ///< what to do; empty for what is good, and for what was skipped
};

/// The state's word in lines and in JSON: "ok", "warning", "failure", "unknown", "skipped".
const char* wordOf(Finding::State state) noexcept;

} // namespace ksrbac

#endif
