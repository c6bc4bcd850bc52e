#include "cachewriter/ManifestFile.h"

#include <stdexcept>

#include "load.h"
#include "json/json_text.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

bool names(const std::string& document, const ObjectNamespace& covers)
{
    json_error_t ignored;
    const JsonHandle root = Tessara::Keepsafe::loadJson(document, ignored);
    const char* text = json_string_value(json_object_get(root.get(), "namespace"));
    return text != nullptr && covers.str() == text;
}

std::string documentFor(const ObjectNamespace& covers)
{
    const JsonHandle root(json_pack("{s:s}", "namespace", covers.str().c_str()));
    return jsonText(root.get(), 0) + "\n";
}

} // namespace

void updateManifest(FileSystem& fileSystem, const OpenFile& manifest, const ObjectNamespace& covers)
{
    const std::string before = readAt(manifest, 0, fileSize(manifest));
    if (names(before, covers)) {
        return;
    }
    if (!before.empty()) {
        if (const std::size_t brace = before.rfind('}'); brace != std::string::npos) {
            fileSystem.write(manifest, brace, " ");
        }
        fileSystem.write(manifest, 0, std::string(before.size(), ' '));
    }
    const std::string document = documentFor(covers);
    fileSystem.write(manifest, before.size(), " " + document.substr(1));
    fileSystem.write(manifest, before.size(), document.substr(0, 1));
    fileSystem.sync(manifest);
}

} // namespace keepsafe_service
