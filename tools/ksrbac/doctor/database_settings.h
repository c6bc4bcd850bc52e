#ifndef KSRBAC_DOCTOR_DATABASE_SETTINGS_H
#define KSRBAC_DOCTOR_DATABASE_SETTINGS_H

#include <keepsafe/platform/dal/Dal.h>

#include "doctor/Examination.h"

namespace ksrbac {

/// One connection to the database of the configuration, which has to be known, within the bound of each wait.
inline Tessara::Dal::DbConnectionSettings databaseSettings(const Examination& examination)
{
    const auto seconds = static_cast<unsigned>(examination.scope.timeout.count());
    Tessara::Dal::DbConnectionSettings settings;
    settings.connectionString = examination.config->databaseConnection;
    settings.onConnect = examination.config->databaseOnConnect;
    settings.maximumConnections = 1;
    settings.connectTimeoutSeconds = seconds;
    settings.queryTimeoutSeconds = seconds;
    return settings;
}

} // namespace ksrbac

#endif
