#include "doctor/clock.h"

#include <cstdlib>
#include <string>

namespace ksrbac {

namespace {

constexpr char WHAT[] = "clock";
constexpr long long MOST_SECONDS = 60;

} // namespace

void checkClock(const ServiceProbe& probe, Examination& examination)
{
    if (!probe.isAnswered) {
        examination.skip(WHAT, "the master server was asked again and did not answer");
        return;
    }
    if (!probe.dateMilliseconds) {
        examination.skip(WHAT, "the master server's answers have no date");
        return;
    }
    // The header's time is cut to a whole second: on average it is half a second behind.
    const long long ahead = (probe.askedMilliseconds - (*probe.dateMilliseconds + 500)) / 1000;
    if (std::llabs(ahead) <= MOST_SECONDS) {
        examination.ok(WHAT, "within " + std::to_string(std::llabs(ahead) + 1) + " s of the master server's");
        return;
    }
    examination.warn(WHAT,
                     std::to_string(std::llabs(ahead)) + " s " + (ahead > 0 ? "ahead of" : "behind") +
                         " the master server's: session tokens expire too " + (ahead > 0 ? "early" : "late"),
                     "set the clock of this host, and keep it by a time service");
}

} // namespace ksrbac
