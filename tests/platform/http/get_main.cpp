/// Sends one GET request to a port of this host, as the configuration of a root says, and prints the status.

#include <cstdio>
#include <cstdlib>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/http/KSClientCURL.h>

int main(int count, char** arguments)
{
    constexpr bool NEVER_ABORTED = false;
    if (count != 3) {
        return 2;
    }
    Tessara::Keepsafe::Platform::setInstallationRoot(arguments[1]);
    KSClientCURL client("127.0.0.1", std::atoi(arguments[2]), CERT_TYPE_HOST, 1, nullptr, "", "", "", true,
                        false, false, false, NEVER_ABORTED, 0);
    std::printf("%d\n", client.Get("path"));
    return 0;
}
