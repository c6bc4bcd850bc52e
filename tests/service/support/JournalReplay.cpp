#include "service/support/JournalReplay.h"

#include <unordered_map>

#include <gtest/gtest.h>

#include "accesscontrol/item_texts.h"
#include "json/json_text.h"

namespace keepsafe_test {

namespace {

using keepsafe_service::JsonHandle;

std::string memberOf(const json_t* document, const char* name)
{
    const char* const text = json_string_value(json_object_get(document, name));
    return text == nullptr ? "" : text;
}

/// What an entry is about; empty for the whole.
std::string keyOf(const std::string& item)
{
    const JsonHandle document(json_loads(item.c_str(), JSON_DECODE_ANY, nullptr));
    if (json_object_get(document.get(), "propagation") != nullptr) {
        return "definition " + memberOf(document.get(), "id");
    }
    if (json_object_get(document.get(), "objectType") != nullptr) {
        return "object " + memberOf(document.get(), "object");
    }
    if (json_object_get(document.get(), "operation") != nullptr) {
        return "operation " + memberOf(document.get(), "operation");
    }
    const json_t* const id = json_object_get(document.get(), "id");
    return id == nullptr ? "" : "role " + std::to_string(json_integer_value(id));
}

void put(Items& items, const std::string& item) { items[keyOf(item)] = item; }

} // namespace

Items itemsOf(const keepsafe_service::Content& content)
{
    Items items;
    std::unordered_map<std::int32_t, std::string> operations;
    std::unordered_map<std::int32_t, std::string> names;
    for (const auto& role : content.roles) {
        put(items, keepsafe_service::roleText(role));
    }
    for (const auto& [operation, bit] : content.operations) {
        operations[bit] = operation.str();
        put(items, keepsafe_service::operationText(operation.str(), bit));
    }
    for (const auto& object : content.objects) {
        names[object.number] = object.name;
    }
    for (const auto& object : content.objects) {
        put(items, keepsafe_service::objectText(
                       object, object.registeredWith == 0 ? nullptr : &names.at(object.registeredWith)));
    }
    for (const auto& definition : content.definitions) {
        put(items, keepsafe_service::definitionText(
                       definition, names.at(definition.object),
                       [&](std::int32_t bit) -> const std::string& { return operations.at(bit); }));
    }
    return items;
}

JournalReplay::JournalReplay()
{
    put(items_,
        R"({"description":"Allowed every operation on every object, whatever the access definitions say",)"
        R"("id":0,"name":"Administrator"})");
}

void JournalReplay::add(std::int64_t revision, const std::string& what, const std::string& before,
                        const std::string& after)
{
    EXPECT_TRUE(revision == lastRevision_ || revision == lastRevision_ + 1)
        << revision << " behind " << lastRevision_;
    lastRevision_ = revision;
    const std::string key = keyOf(before == "null" ? after : before);
    if (key.empty()) {
        EXPECT_TRUE(what == "journalBegun" || what == "imported") << what << ' ' << before << ' ' << after;
        return;
    }
    const auto known = items_.find(key);
    EXPECT_EQ(known == items_.end() ? "null" : known->second, before) << revision << ' ' << what;
    if (after == "null") {
        items_.erase(key);
    } else {
        EXPECT_EQ(keyOf(after), key);
        items_[key] = after;
    }
}

} // namespace keepsafe_test
