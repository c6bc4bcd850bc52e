#include "commands/JournalLines.h"

#include <optional>
#include <string>

#include "commands/change_text.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "output/escape.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

JsonObject toJson(const Rbac::Change& change)
{
    return JsonObject()
        .add("revision", change.revision)
        .add("id", change.id)
        .add("time", change.time)
        .add("who", change.who)
        .add("what", change.what)
        .addJson("object", change.object ? jsonString(change.object->str()) : "null")
        .addJson("roleId", change.roleId ? std::to_string(*change.roleId) : "null")
        .addJson("before", change.before)
        .addJson("after", change.after);
}

/// "2026-01-31T23:59:59Z", without the fraction.
std::string toTheSecond(const std::string& time)
{
    constexpr std::size_t SECONDS = sizeof "2026-01-31T23:59:59" - 1;
    return escapeForMessage(time.size() > SECONDS && time.back() == 'Z' ? time.substr(0, SECONDS) + 'Z'
                                                                        : time);
}

} // namespace

void JournalLines::print(const Rbac::ChangePage& page)
{
    using Align = TextTable::Align;
    TextTable table({Align::Right, Align::Left, Align::Left, Align::Left}, widths_);
    if (isFirst_) {
        table.addRow({"REVISION", "TIME", "WHO", "WHAT"});
    }
    isFirst_ = false;
    for (const Rbac::Change& change : page.changes) {
        if (left_ == 0) {
            break;
        }
        --left_;
        if (json_) {
            console_.print(toJson(change).text() + '\n');
        } else {
            table.addRow({std::to_string(change.revision), toTheSecond(change.time),
                          escapeForMessage(change.who), changeText(change)});
        }
    }
    if (!json_) {
        widths_ = table.widths();
        console_.print(table.text());
    }
}

} // namespace ksrbac
