#include "ModelService.h"

#include <stdexcept>

#include "JsonHandle.h"

namespace keepsafe_test {

namespace {

struct Refusal {
    int code;
};

std::string textOf(const json_t* object, const char* key)
{
    const char* const text = json_string_value(json_object_get(object, key));
    if (text == nullptr) {
        throw std::logic_error(std::string("a request without ") + key);
    }
    return text;
}

std::string refusal(int code)
{
    return R"({"errorCode":)" + std::to_string(code) + R"(,"errorMessage":"refused"})";
}

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

std::map<std::string, std::string> ModelService::states() const
{
    const std::lock_guard<std::mutex> guard(mutex_);
    std::map<std::string, std::string> result;
    for (const auto& [object, entry] : entries_) {
        result[object] = entry.state;
    }
    return result;
}

Response ModelService::answer(const Request& request, int /*apiVersion*/)
{
    if (request.method != "POST") {
        throw std::logic_error("registration only posts");
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    const Fault fault = nextFault();
    switch (fault) {
    case Fault::Refused:
        return {0, 503, refusal(REFUSED)};
    case Fault::RequestLost:
        return {7, 0, ""};
    case Fault::Thrown:
        throw std::runtime_error("the client threw");
    default:
        break;
    }
    Response response = perform(request.path, request.body);
    if (fault == Fault::AnswerLost) {
        return {56, 0, ""};
    }
    if (response.httpStatus == 201 && fault == Fault::AnsweredOk) {
        response.httpStatus = 200;
    }
    if (response.httpStatus == 201 && fault == Fault::Nonsense) {
        response.body = "nonsense";
    }
    return response;
}

Response ModelService::perform(const std::string& path, const std::string& body)
{
    const Tessara::Keepsafe::JsonHandle document(json_loadb(body.data(), body.size(), 0, nullptr));
    json_t* const data = json_object_get(document.get(), "data");
    Entries entries = entries_; // a request that is refused has done nothing
    std::string answer;
    try {
        if (endsWith(path, "/bulk-object-registration-requests")) {
            for (std::size_t index = 0; index < json_array_size(data); ++index) {
                answer += (index == 0 ? "" : ",") + registerOne(entries, json_array_get(data, index));
            }
            answer = R"({"data":[)" + answer + "]}";
        } else if (endsWith(path, "/object-registration-requests")) {
            answer = registerOne(entries, data);
        } else if (endsWith(path, "/bulk-object-update-requests")) {
            update(entries,
                   json_object_get(json_object_get(data, "attributes"), "managedObjectsWithAttributes"));
        } else {
            throw std::logic_error("a request to " + path);
        }
    } catch (const Refusal& refused) {
        return {0, 409, refusal(refused.code)};
    }
    entries_.swap(entries);
    return {0, 201, answer};
}

std::string ModelService::registerOne(Entries& entries, json_t* record)
{
    const std::string object = textOf(record, "id");
    json_t* const attributes = json_object_get(record, "attributes");
    std::string registered;
    const auto found = entries.find(object);
    if (found != entries.end() && !json_is_true(json_object_get(attributes, "ignoreAlreadyRegistered"))) {
        throw Refusal{IS_THERE};
    }
    if (found == entries.end() || found->second.state == "PENDING") {
        entries[object] = {"PENDING", object};
        registered = R"({"id":")" + object + R"("})";
        json_t* const children = json_object_get(attributes, "relativeChildNamespaces");
        for (std::size_t index = 0; index < json_array_size(children); ++index) {
            const std::string child = object + (json_string_value(json_array_get(children, index)) + 1);
            entries[child] = {"PENDING", object};
            registered += R"(,{"id":")" + child + R"("})";
        }
    }
    return R"({"id":")" + object + R"(","relationships":{"registeredObjects":{"data":[)" + registered +
           "]}}}";
}

void ModelService::update(Entries& entries, json_t* records)
{
    for (std::size_t index = 0; index < json_array_size(records); ++index) {
        const json_t* const record = json_array_get(records, index);
        const std::string object = textOf(record, "objectId");
        if (entries.count(object) == 0) {
            throw Refusal{NOT_THERE};
        }
        for (auto& [name, entry] : entries) {
            if (name == object || entry.owner == object) {
                entry.state = textOf(record, "state");
            }
        }
    }
    for (auto entry = entries.begin(); entry != entries.end();) {
        entry = entry->second.state == "DELETED" ? entries.erase(entry) : std::next(entry);
    }
}

} // namespace keepsafe_test
