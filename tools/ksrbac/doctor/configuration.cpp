#include <cerrno>
#include <set>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/config/installation.h>

#include "doctor/Examination.h"
#include "read_file.h"

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;
namespace Process = Tessara::Keepsafe::Process;

namespace {

constexpr int ENFORCEMENT_FEATURE = 1;

std::string userName(uid_t user) { return user == 0 ? "root" : "user " + std::to_string(user); }

void loadConfiguration(const struct stat& status, Examination& examination)
{
    const char* const what = "configuration";
    const std::string path = Platform::configPath();
    try {
        examination.config = Platform::loadConfig();
    } catch (const Platform::ConfigError& error) {
        examination.fail(what, error.what(),
                         "correct it: until then enforcement counts as on and no request is made");
        return;
    }
    if ((status.st_mode & S_IWGRP) != 0) {
        examination.warn(what,
                         path + " may be written by group " + std::to_string(status.st_gid) +
                             ", who could switch enforcement off",
                         "chmod g-w " + path);
        return;
    }
    examination.ok(what, path + " is well-formed; " + userName(status.st_uid) + " may write it");
}

std::string listed(const std::set<int>& features)
{
    std::string text;
    for (const int feature : features) {
        text += (text.empty() ? "" : ", ") + std::to_string(feature);
    }
    return text;
}

} // namespace

void checkRoot(Examination& examination)
{
    const char* const what = "installation root";
    const std::string root = Platform::installationRoot().empty() ? "/" : Platform::installationRoot();
    const char* const remedy = "name the root with --root, or install the product there";
    struct stat status {};
    if (::stat(root.c_str(), &status) != 0) {
        examination.fail(what, root + ": " + Process::failureText(errno), remedy);
    } else if (!S_ISDIR(status.st_mode)) {
        examination.fail(what, root + ": not a directory", remedy);
    } else if ((status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0) {
        examination.warn(what, root + " may be written by everybody, who could replace all that is in it",
                         "chmod o-w " + root);
    } else {
        examination.ok(what, root);
    }
}

void checkConfiguration(Examination& examination)
{
    const char* const what = "configuration";
    const std::string path = Platform::configPath();
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 && errno == ENOENT) {
        examination.config = Platform::Config();
        examination.warn(what, path + " is missing: there is no master server, and enforcement is off",
                         "write it; docs/configuration.md describes it");
        return;
    }
    int failure = 0;
    if (!Process::openTrustedFile(path, failure).isOpen()) {
        examination.cannotRead(what, path, failure);
        return;
    }
    loadConfiguration(status, examination);
}

void checkEnforcement(Examination& examination)
{
    const char* const what = "enforcement";
    if (!examination.config) {
        examination.skip(what, "there is no configuration to read; the libraries take it for on");
        return;
    }
    const std::set<int>& features = examination.config->enabledFeatures;
    examination.isEnforcing = features.count(ENFORCEMENT_FEATURE) != 0;
    if (examination.isEnforcing) {
        examination.ok(what, "on; features that are enabled: " + listed(features));
    } else {
        examination.warn(what, "off: every check is allowed",
                         "add 1 to features.enabled in " + Platform::configPath());
    }
}

} // namespace ksrbac
