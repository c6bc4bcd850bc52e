#include "verify/manifest_check.h"

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Manifest.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

#include "cli/arguments.h"
#include "load.h"
#include "log/SilencedLog.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

/// Why the library did not take the manifest, and where: it tells a status only.
Fault explain(const std::string& path, int status)
{
    const std::string& file = Rbac::AccessCache::MANIFEST_FILE_NAME;
    json_error_t error = {};
    const Tessara::Keepsafe::JsonHandle root = Tessara::Keepsafe::loadJsonFile(path, error);
    if (!root) {
        const auto byte = static_cast<std::uint64_t>(error.position < 0 ? 0 : error.position);
        return {file, byte, "not a JSON document: " + escapeForMessage(error.text), ""};
    }
    const json_t* member = json_object_get(root.get(), "namespace");
    if (!json_is_string(member)) {
        return {file, 0, "no member \"namespace\" that is a string", ""};
    }
    if (status != Tessara::Keepsafe::Status::MALFORMED_DOCUMENT) {
        return {file, 0, "the library does not take it: status " + std::to_string(status), ""};
    }
    const std::string text = json_string_value(member);
    Rbac::NamespaceFault fault;
    (void)Rbac::parseNamespace(text, fault);
    return {file, 0, "member \"namespace\" is not a namespace: " + faultyNamespace(text, fault), ""};
}

} // namespace

std::optional<std::string> checkManifest(const std::string& directory, FaultList& faults)
{
    try {
        const SilencedLog silence;
        const Rbac::Manifest manifest("", directory);
        return manifest.ns.str();
    } catch (const EC_exception& error) {
        const std::string path = directory + '/' + Rbac::AccessCache::MANIFEST_FILE_NAME;
        faults.add([&] { return explain(path, error.status()); });
        return std::nullopt;
    }
}

} // namespace ksrbac
