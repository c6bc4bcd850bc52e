#include "report/page_data.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include <boost/optional.hpp>

#include "output/Json.h"
#include "output/utc_time.h"
#include "report/html.h"
#include "version.h"

namespace ksrbac {

namespace {

constexpr std::size_t PIECE_BYTES = std::size_t{64} * 1024;

/// Passes JSON on in pieces.
class JsonStream {
public:
    explicit JsonStream(ByteSink& sink) : sink_(sink) {}

    void add(std::string_view json)
    {
        text_ += json;
        if (text_.size() >= PIECE_BYTES) {
            flush();
        }
    }
    /// One element of an array, which `array` has begun.
    void element(std::string_view json)
    {
        add(isFirst_ ? "" : ",");
        isFirst_ = false;
        add(json);
    }
    template <typename Elements>
    void array(const char* name, const Elements& elements)
    {
        add(std::string(",\n\"") + name + "\":[");
        isFirst_ = true;
        elements();
        add("]");
    }
    void flush()
    {
        sink_.write(scriptSafe(text_));
        text_.clear();
    }

private:
    ByteSink& sink_;
    std::string text_;
    bool isFirst_ = true;
};

std::string numberOrNull(const boost::optional<std::uint64_t>& number)
{
    return number ? std::to_string(*number) : "null";
}

std::string identityJson(const CacheIdentity& identity)
{
    const auto sinceEpoch = identity.state.lastChange.time_since_epoch();
    return JsonObject()
        .add("id", identity.id)
        .add("covers", identity.covers)
        .addJson("generation", numberOrNull(identity.state.generation))
        .addJson("definitions", numberOrNull(identity.state.accessDefinitions))
        .add("changed", utcTime(std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count()))
        .add("stamp", identity.state.stamp)
        .text();
}

std::string pair(const std::string& first, const std::string& second)
{
    return '[' + first + ',' + second + ']';
}

std::string setJson(const Tessara::Keepsafe::Rbac::RoleWords& words)
{
    JsonArray array;
    for (const auto& word : words) {
        array.addJson(std::to_string(word.roleId));
        array.addJson(std::to_string(word.wordIndex));
        array.addJson(std::to_string(word.bits));
    }
    return array.text();
}

/// The kinds as the page counts them: those of the library, and the two directions of inheritance apart.
int kindNumber(const ChangeList::Change& change)
{
    const int number = static_cast<int>(change.kind);
    const int turned = static_cast<int>(ChangeList::Kind::InheritTurned);
    const bool isTurnedOff = number == turned && !change.inherits;
    return number + (number > turned || isTurnedOff ? 1 : 0);
}

void addNames(JsonStream& json, const NameTree& names)
{
    json.add(",\n\"names\":" + jsonString(names.components()));
    json.array("ascents", [&] {
        for (const std::uint32_t ascent : names.ascents()) {
            json.element(std::to_string(ascent));
        }
    });
    json.array("objects", [&] {
        for (const std::uint32_t value : names.values()) {
            json.element(std::to_string(value));
        }
    });
}

void addGrants(JsonStream& json, const StoredPolicy& policy)
{
    json.array("states", [&] {
        for (const StoredPolicy::State& state : policy.states()) {
            json.element('[' + std::to_string(state.inherits ? 1 : 0) + ',' + std::to_string(state.onObject) +
                         ',' + std::to_string(state.onChildren) + ']');
        }
    });
    json.array("sets", [&] {
        for (const auto& set : policy.sets()) {
            json.element(setJson(set));
        }
    });
}

void addChanges(JsonStream& json, const ChangeList& changes, const std::vector<std::uint32_t>& nodes)
{
    json.array("changes", [&] {
        for (const ChangeList::Change& change : changes.changes()) {
            json.element(std::to_string(nodes[change.object]) + ',' + std::to_string(kindNumber(change)) +
                         ',' + std::to_string(static_cast<int>(change.scope)) + ',' +
                         std::to_string(change.roleId) + ',' + std::to_string(change.bit));
        }
    });
}

} // namespace

void writePageData(const ReportSubject& subject, ByteSink& sink)
{
    JsonStream json(sink);
    json.add("{\"title\":" + jsonString(subject.title) + ",\"version\":" + jsonString(KSRBAC_VERSION));
    json.add(",\n\"cache\":" + identityJson(subject.cache.identity));
    json.add(",\n\"before\":" + (subject.before ? identityJson(*subject.before) : "null"));
    json.array("operations", [&] {
        for (const auto& [name, bit] : subject.operations.bits()) {
            json.element(pair(jsonString(name), std::to_string(bit)));
        }
    });
    json.array("roles", [&] {
        for (const auto& [id, name] : subject.roleNames) {
            json.element(pair(std::to_string(id), jsonString(name)));
        }
    });
    const NamesWithChanges named(subject.cache.policy.names(), subject.changes);
    addNames(json, named.names);
    addGrants(json, subject.cache.policy);
    addChanges(json, subject.changes, named.nodes);
    json.add("}\n");
    json.flush();
}

} // namespace ksrbac
