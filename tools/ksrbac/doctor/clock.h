#ifndef KSRBAC_DOCTOR_CLOCK_H
#define KSRBAC_DOCTOR_CLOCK_H

#include "doctor/Examination.h"
#include "doctor/ServiceProbe.h"

namespace ksrbac {

/// Compares the host's clock, by which session tokens expire, with the master server's.
void checkClock(const ServiceProbe& probe, Examination& examination);

} // namespace ksrbac

#endif
