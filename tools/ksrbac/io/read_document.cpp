#include "io/read_document.h"

#include "exit_status.h"
#include "fault_text.h"
#include "io/input.h"
#include "load.h"
#include "output/escape.h"

namespace ksrbac {

using Tessara::Keepsafe::JsonHandle;

namespace {

JsonHandle load(const std::string& path, const DocumentLimit& limit)
{
    const std::string text = readUpToLimit(path, limit.bytes);
    if (text.size() > limit.bytes) {
        throw InputError(inputName(path) + ": more than " + limit.text);
    }
    json_error_t error = {};
    JsonHandle document = Tessara::Keepsafe::loadJson(text, error, JSON_REJECT_DUPLICATES,
                                                      Tessara::Keepsafe::JsonBounds::ofAnySize());
    if (!document) {
        throw InputError(inputName(path) + ": " + escapeForMessage(Tessara::Keepsafe::faultText(error)));
    }
    return document;
}

} // namespace

void readDocument(const std::string& path, const DocumentLimit& limit,
                  const std::function<void(json_t* document)>& read)
{
    const JsonHandle document = load(path, limit);
    try {
        read(document.get());
    } catch (const InputError& error) {
        throw InputError(inputName(path) + ": " + error.what());
    }
}

} // namespace ksrbac
