#ifndef KSRBAC_DOCTOR_EXAMINATION_H
#define KSRBAC_DOCTOR_EXAMINATION_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/filelock/lock_state.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "doctor/Finding.h"

namespace ksrbac {

/// What is examined, from the arguments.
struct ExaminationScope {
    std::optional<std::string> cache; ///< an id or a directory; nothing: the one that the service names
    Tessara::Keepsafe::Rbac::ObjectNamespace coveredBy; ///< the namespace that the service is asked about
    std::string coveredByText;                          ///< its text form
    std::optional<std::string> token;
    std::chrono::seconds timeout{10}; ///< bound of each wait
};

/// One examination of the host: its findings in order, and what earlier checks leave to later ones.
class Examination {
public:
    explicit Examination(ExaminationScope examined) : scope(std::move(examined)) {}

    void ok(const std::string& what, const std::string& text);
    void warn(const std::string& what, const std::string& text, const std::string& remedy);
    void fail(const std::string& what, const std::string& text, const std::string& remedy);
    /// It cannot be told.
    void leaveOpen(const std::string& what, const std::string& text, const std::string& remedy);
    void skip(const std::string& what, const std::string& because);
    /// A file that cannot be opened: for an error of the system, or a failure of `openTrustedFile`. What this
    /// user may not read is left open.
    void cannotRead(const std::string& what, const std::string& path, int failure);

    [[nodiscard]] const std::vector<Finding>& findings() const noexcept { return findings_; }

    const ExaminationScope scope;

    /// The configuration, if it can be used.
    std::optional<Tessara::Keepsafe::Platform::Config> config;
    bool isEnforcing = true;
    /// Whether the session token has passed the checks that need no database.
    bool isTokenValid = false;
    bool areTablesUsable = false;
    /// The id of the cache that the service names; nothing if it did not answer.
    std::optional<std::string> serviceCache;
    bool hasServiceAnswered = false;
    bool isServiceCacheOutdated = false;
    /// The cache that is examined, if there is one.
    std::optional<std::string> cacheDirectory;
    /// The readers' folder before this process took the cache's lock, and whether it could be taken in time.
    std::optional<Tessara::Keepsafe::Platform::ReaderSlotsState> slots;
    bool isLockFree = false;

private:
    std::vector<Finding> findings_;
};

// The checks, one file per subject. None throws for what it finds.
void checkRoot(Examination& examination);
void checkConfiguration(Examination& examination);
void checkEnforcement(Examination& examination);
void checkLogDestination(Examination& examination);
void checkAuthorities(Examination& examination);
void checkClientCertificate(Examination& examination);
void checkClientKey(Examination& examination);
void checkTokenKey(Examination& examination);
void checkToken(Examination& examination);
void checkDatabase(Examination& examination);
void checkTokenSession(Examination& examination);
void checkMasterServer(Examination& examination);
void checkCache(Examination& examination);
void checkLock(Examination& examination);
void checkReaderSlots(Examination& examination);
void checkCacheStructure(Examination& examination);
void checkCacheState(Examination& examination);
void checkOperations(Examination& examination);
void checkSpace(Examination& examination);
void checkDescriptors(Examination& examination);

/// Runs all checks in the order above. The result of a check that throws is "unknown". Calls `onCheck` before
/// each check with the name of what it examines.
void examine(Examination& examination, const std::function<void(const char* what)>& onCheck);

} // namespace ksrbac

#endif
