// The journal of changes.

#include <algorithm>
#include <system_error>

#include <keepsafe/platform/uri/percent_encode.h>

#include "decimal.h"
#include "journal/times.h"
#include "resources/Router.h"
#include "resources/response_documents.h"

namespace keepsafe_service {

namespace {

constexpr std::size_t MOST_CHANGES = 1000;

using Parameters = std::map<std::string, std::string>;

/// Nothing unless the whole text is a decimal number of at most 18 digits, which fits.
std::optional<std::int64_t> numberOf(const std::string& text)
{
    constexpr std::size_t MOST_DIGITS = 18;
    std::uint64_t number = 0;
    if (text.size() > MOST_DIGITS || Tessara::Keepsafe::Text::parseDecimal(text, number) != std::errc()) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number);
}

[[noreturn]] void refuse(const char* parameter, const std::string& value, const std::string& expected)
{
    throw Refusal(Refusal::Invalid, std::string("the query parameter \"") + parameter +
                                        "\": " + shown(value) + " is not " + expected);
}

/// A revision means what was changed after it, a time what was changed then or later.
void readSince(const std::string& text, JournalQuery& query)
{
    if (const std::optional<std::int64_t> revision = numberOf(text)) {
        query.after = {*revision, LAST_PLACE};
        return;
    }
    query.since = journalTimeOf(text);
    if (!query.since) {
        refuse("since", text, "a revision or a time as 2026-01-31T23:59:59Z, in which a plus sign is %2B");
    }
}

void readCursor(const std::string& text, JournalQuery& query)
{
    const std::size_t dash = text.find('-');
    const std::optional<std::int64_t> revision = numberOf(text.substr(0, dash));
    const std::optional<std::int64_t> place =
        dash == std::string::npos ? std::nullopt : numberOf(text.substr(dash + 1));
    if (!revision || !place || *place > LAST_PLACE) {
        refuse("after", text, "the id of a change");
    }
    // A cursor of a page that began later, as all do, is behind what `since` says.
    if (*revision >= query.after.revision) {
        const bool isSameRevision = *revision == query.after.revision;
        query.after = {*revision,
                       static_cast<std::int32_t>(
                           isSameRevision ? std::max<std::int64_t>(*place, query.after.place) : *place)};
    }
}

JournalQuery queryOf(const Parameters& parameters)
{
    JournalQuery query;
    for (const auto& [name, value] : parameters) {
        if (name == "object") {
            query.object = namespaceOf(value).str();
        } else if (name == "role") {
            query.roleId = idOf(value, "the query parameter \"role\"");
        } else if (name == "limit") {
            const std::optional<std::int64_t> limit = numberOf(value);
            if (!limit || *limit == 0 || *limit > static_cast<std::int64_t>(MOST_CHANGES)) {
                refuse("limit", value, "a number from 1 to " + std::to_string(MOST_CHANGES));
            }
            query.limit = static_cast<std::size_t>(*limit);
        } else if (name == "since") {
            readSince(value, query);
        }
    }
    const auto cursor = parameters.find("after");
    if (cursor != parameters.end()) {
        readCursor(cursor->second, query);
    }
    return query;
}

/// The same question about what is behind the page.
std::string nextLink(Parameters parameters, const RecordedEntry& last)
{
    parameters["after"] = std::to_string(last.at.revision) + '-' + std::to_string(last.at.place);
    std::string link = "/access-control/changes";
    char separator = '?';
    for (const auto& [name, value] : parameters) {
        std::string encoded;
        (void)percentEncodeUriPart(value, encoded); // every text can be encoded
        link.append(1, separator).append(name).append(1, '=').append(encoded);
        separator = '&';
    }
    return link;
}

ServiceResponse getChanges(const ResourceCall& call)
{
    const Parameters parameters = call.target.parameters({"after", "limit", "object", "role", "since"});
    const JournalPage page = call.accessControl.journal(queryOf(parameters));
    return {200, changesDocument(page, page.hasMore ? nextLink(parameters, page.entries.back()) : ""), ""};
}

} // namespace

std::vector<Route> changeRoutes() { return {{"GET", {"changes"}, getChanges}}; }

} // namespace keepsafe_service
