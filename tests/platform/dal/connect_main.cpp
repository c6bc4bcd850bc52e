/// Connects with the connection string that is its argument, and prints the status.

#include <cstdio>

#include <keepsafe/platform/dal/Dal.h>

int main(int count, char** arguments)
{
    Tessara::Dal::DbConnectionSettings settings;
    settings.connectionString = count == 2 ? arguments[1] : "";
    Tessara::Dal::DbConnectionManager manager(settings);
    Tessara::Dal::SSRDbConnection* connection = nullptr;
    const Tessara::Dal::SSRGuard guard(&manager, connection);
    std::printf("%d\n", guard.status());
    return 0;
}
