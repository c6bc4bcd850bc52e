// The input as a token and as the payload of one: the functions for callers in C deliver the subject and its
// fields as a plain walk finds them, and do not touch outputs that they do not produce.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <jansson.h>

#include <keepsafe/jwt/extract_subject.h>
#include <keepsafe/platform/log/log_sink.h>

#include "require.h"
#include "tokens/TokenSigner.h"

namespace {

using keepsafe_sandbox::base64Url;
using Output = std::optional<std::string>;

char untouched = 'x';

Output taken(char* text)
{
    if (text == &untouched) {
        return {};
    }
    require(text != nullptr, "an output is untouched or a text");
    Output output(text);
    std::free(text);
    return output;
}

/// What both functions deliver: the outputs of `extractSubject_C` in their order, then the whole subject.
std::array<Output, 4> delivered(const std::string& token)
{
    std::array<char*, 4> outputs{&untouched, &untouched, &untouched, &untouched};
    extractSubject_C(token.c_str(), &outputs[0], &outputs[1], &outputs[2]);
    extractSubjectNT_C(token.c_str(), &outputs[3]);
    return {taken(outputs[0]), taken(outputs[1]), taken(outputs[2]), taken(outputs[3])};
}

std::vector<std::string> fieldsOf(const std::string& subject)
{
    std::vector<std::string> fields;
    for (std::size_t at = 0; at < subject.size();) {
        const std::size_t end = std::min(subject.find(':', at), subject.size());
        if (end > at) {
            fields.push_back(subject.substr(at, end - at));
        }
        at = end + 1;
    }
    return fields;
}

Output stringOf(const json_t* payload, const char* name)
{
    const json_t* const claim = json_object_get(payload, name);
    return json_is_string(claim) ? Output(json_string_value(claim)) : Output();
}

std::array<Output, 4> plainly(const std::string& payload)
{
    json_error_t error;
    json_t* const root = json_loads(payload.c_str(), 0, &error);
    const Output subject = stringOf(root, "sub");
    const Output machine = stringOf(root, "is_machine");
    json_decref(root);
    if (!subject || !machine) {
        return {Output(), Output(), Output(), subject};
    }
    if (*machine == "true") {
        return {"", subject, "ts", subject};
    }
    const std::vector<std::string> fields = fieldsOf(*subject);
    const auto field = [&](std::size_t i) { return i < fields.size() ? Output(fields[i]) : Output(); };
    return {field(1), field(0), field(2), subject};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Tessara::Keepsafe::Platform::setLogThreshold(1000);
    const std::string input(data, data + size);
    (void)delivered(input);
    if (!input.empty()) {
        require(delivered("e30." + base64Url(input) + ".AAAA") == plainly(input),
                "the outputs are those of a plain walk");
    }
    return 0;
}
