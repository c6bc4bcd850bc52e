#include <keepsafe/jwt/extract_subject.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <keepsafe/jwt/JWT.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

namespace {

using Tessara::Keepsafe::JWT;

struct MallocRelease {
    void operator()(char* text) const noexcept { std::free(text); }
};
using MallocedText = std::unique_ptr<char, MallocRelease>;

/// The first three fields; null for a field that the subject does not have.
using Fields = std::array<const char*, 3>;

/// Splits in place, so that the fields point into `subject`. Empty fields vanish.
Fields splitAtColons(char* subject)
{
    Fields fields{};
    char* rest = nullptr;
    std::size_t count = 0;
    for (char* field = strtok_r(subject, ":", &rest); field != nullptr && count < fields.size();
         field = strtok_r(nullptr, ":", &rest)) {
        fields[count++] = field;
    }
    return fields;
}

Fields machineFields(const char* subject)
{
    logmsgf(Tessara::Keepsafe::Platform::LOG_LEVEL_INFORMATION, "JWT::extractSubject_C",
            "Machine certificate found");
    return {subject, "", "ts"};
}

void deliver(const char* text, char** output)
{
    if (text != nullptr && output != nullptr) {
        *output = strdup(text);
    }
}

std::string textOf(const char* token) { return token == nullptr ? std::string() : std::string(token); }

} // namespace

void extractSubject_C(const char* token, char** fieldTwo, char** fieldOne, char** fieldThree)
try {
    const std::string text = textOf(token);
    const MallocedText subject(JWT::extractSubject(text));
    bool isMachine = false;
    if (!subject || JWT::isMachineCheck(text, isMachine) != Tessara::Keepsafe::Status::SUCCESS) {
        return;
    }
    const Fields fields = isMachine ? machineFields(subject.get()) : splitAtColons(subject.get());
    deliver(fields[0], fieldOne);
    deliver(fields[1], fieldTwo);
    deliver(fields[2], fieldThree);
} catch (const std::bad_alloc&) {
    // Callers in C cannot catch exceptions; the outputs show that nothing was produced.
    return;
}

void extractSubjectNT_C(const char* token, char** subject)
try {
    const MallocedText extracted(JWT::extractSubject(textOf(token)));
    deliver(extracted.get(), subject);
} catch (const std::bad_alloc&) {
    return;
}
