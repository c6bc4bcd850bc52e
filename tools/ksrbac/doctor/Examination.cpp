#include "doctor/Examination.h"

#include <cerrno>
#include <exception>

#include <unistd.h>

#include "output/escape.h"
#include "read_file.h"

namespace ksrbac {

namespace Process = Tessara::Keepsafe::Process;

namespace {

constexpr std::size_t LONGEST_TEXT = 2000;

struct Check {
    const char* what;
    void (*make)(Examination& examination);
};

/// A check may rely on those before it.
constexpr Check CHECKS[] = {
    {"installation root", checkRoot},
    {"configuration", checkConfiguration},
    {"enforcement", checkEnforcement},
    {"log destination", checkLogDestination},
    {"CA certificates", checkAuthorities},
    {"client certificate", checkClientCertificate},
    {"client key", checkClientKey},
    {"token key", checkTokenKey},
    {"token", checkToken},
    {"database", checkDatabase},
    {"token session", checkTokenSession},
    {"master server", checkMasterServer},
    {"access cache", checkCache},
    {"cache lock", checkLock},
    {"reader slots", checkReaderSlots},
    {"cache structure", checkCacheStructure},
    {"cache state", checkCacheState},
    {"operation cache", checkOperations},
    {"disk space", checkSpace},
    {"open files", checkDescriptors},
};

std::string shown(const std::string& text) { return escapeForMessage(text, LONGEST_TEXT); }

} // namespace

const char* wordOf(Finding::State state) noexcept
{
    switch (state) {
    case Finding::State::Ok:
        return "ok";
    case Finding::State::Warning:
        return "warning";
    case Finding::State::Failure:
        return "failure";
    case Finding::State::Unknown:
        return "unknown";
    case Finding::State::Skipped:
        break;
    }
    return "skipped";
}

void Examination::ok(const std::string& what, const std::string& text)
{
    findings_.push_back({Finding::State::Ok, what, shown(text), ""});
}

void Examination::warn(const std::string& what, const std::string& text, const std::string& remedy)
{
    findings_.push_back({Finding::State::Warning, what, shown(text), shown(remedy)});
}

void Examination::fail(const std::string& what, const std::string& text, const std::string& remedy)
{
    findings_.push_back({Finding::State::Failure, what, shown(text), shown(remedy)});
}

void Examination::leaveOpen(const std::string& what, const std::string& text, const std::string& remedy)
{
    findings_.push_back({Finding::State::Unknown, what, shown(text), shown(remedy)});
}

void Examination::skip(const std::string& what, const std::string& because)
{
    findings_.push_back({Finding::State::Skipped, what, "because " + shown(because), ""});
}

void Examination::cannotRead(const std::string& what, const std::string& path, int failure)
{
    const std::string text = "cannot read " + path + ": " + Process::failureText(failure);
    if (failure == EACCES && geteuid() != 0) {
        leaveOpen(what, text,
                  "run the doctor as a user who may read it, such as the one of the product's processes");
    } else if (failure == Process::WORLD_WRITABLE) {
        fail(what, text, "chmod o-w " + path + ", and see whether it is still what it was");
    } else {
        fail(what, text,
             "put the file there, or correct its path in " + Tessara::Keepsafe::Platform::configPath());
    }
}

void examine(Examination& examination, const std::function<void(const char* what)>& onCheck)
{
    for (const Check& check : CHECKS) {
        onCheck(check.what);
        try {
            check.make(examination);
        } catch (const std::exception& error) {
            examination.leaveOpen(check.what, std::string("the check failed: ") + error.what(),
                                  "see what the message names, and run the doctor again");
        }
    }
}

} // namespace ksrbac
