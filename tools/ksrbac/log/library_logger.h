#ifndef KSRBAC_LOG_LIBRARY_LOGGER_H
#define KSRBAC_LOG_LIBRARY_LOGGER_H

namespace ksrbac {

/// Makes the token and database code write its debug messages if the log threshold permits their level. That
/// code logs through `KSLogger`, whose own level decides and not the threshold: its most important messages
/// are records of level 4, all others of level 2.
void setLibraryLogger(int logThreshold);

} // namespace ksrbac

#endif
