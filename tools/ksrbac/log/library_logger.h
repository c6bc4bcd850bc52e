#ifndef KSRBAC_LOG_LIBRARY_LOGGER_H
#define KSRBAC_LOG_LIBRARY_LOGGER_H

namespace ksrbac {

/// Lets the token and database code write its debug messages when the log threshold lets messages of their
/// level through. That code speaks through `KSLogger`, whose own level decides and not the threshold: its
/// most important messages are records of level 4, all others of level 2.
void setLibraryLogger(int logThreshold);

} // namespace ksrbac

#endif
