#include "commands/follow_changes.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>

#include "io/Activity.h"
#include "process/QuietEnd.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr std::chrono::milliseconds BETWEEN{1000};
constexpr char QUESTION[] = "changes";

template <typename Request>
Rbac::ChangePage ask(const Request& request)
{
    const QuietEnd::AtOnce atOnce;
    return askService(QUESTION, request);
}

/// Behind all changes up to the revision, as `ChangeQuery::after` takes it.
std::string behind(std::int64_t revision)
{
    return std::to_string(revision) + '-' + std::to_string(std::numeric_limits<std::int32_t>::max());
}

bool isRevision(const std::string& since)
{
    return since.find_first_not_of("0123456789") == std::string::npos;
}

/// What the service has changed last.
std::int64_t lastRevision()
{
    Rbac::ChangeQuery none;
    none.since = "999999999999999999";
    none.limit = 1;
    const std::int64_t revision = ask([&none] { return Rbac::ChangeAPI().get_changes(none); }).lastRevision;
    if (revision == 0) {
        throw ServiceError(
            "changes: the service does not tell its last revision: give --since with --follow");
    }
    return revision;
}

/// Whether the service may answer later.
bool isAway(const Failure& failure)
{
    constexpr long FIRST_SERVER_ERROR = 500;
    return failure.kind == FailureKind::Unreachable || failure.httpStatus >= FIRST_SERVER_ERROR;
}

/// Asks again and again for what is behind the last change that was printed.
class Follower {
public:
    Follower(const Rbac::ChangeQuery& query, JournalLines& lines, Console& console)
        : query_(query), lines_(lines), console_(console)
    {
    }

    void begin()
    {
        if (query_.since.empty()) {
            query_.after = behind(lastRevision());
        }
        printNew();
    }

    void goOn()
    {
        try {
            printNew();
        } catch (const ServiceError& error) {
            if (!isAway(error.failure())) {
                throw;
            }
            if (!isAway_) {
                console_.note(std::string(error.what()) + "; asking again until it answers");
            }
            isAway_ = true;
        }
    }

private:
    void printNew()
    {
        Rbac::ChangePage page = ask([this] { return Rbac::ChangeAPI().get_changes(query_); });
        const std::int64_t last = page.lastRevision;
        if (isAway_) {
            isAway_ = false;
            console_.note("changes: the service answers again");
        }
        print(page);
        while (!page.next.empty() && lines_.wantsMore()) {
            page = ask([&page] { return Rbac::ChangeAPI().get_next(page); });
            print(page);
        }
        if (!isRevision(query_.since)) {
            query_.since.clear(); // what comes now is new, whatever its time
        }
        if (last > revision_) { // what is not asked for is not looked at again
            revision_ = last;
            query_.after = behind(last);
        }
    }

    void print(const Rbac::ChangePage& page)
    {
        lines_.print(page);
        console_.flush();
        if (!page.changes.empty()) {
            query_.after = page.changes.back().id;
            revision_ = page.changes.back().revision;
        }
    }

    Rbac::ChangeQuery query_;
    JournalLines& lines_;
    Console& console_;
    std::int64_t revision_ = 0; ///< up to which everything was looked at
    bool isAway_ = false;
};

} // namespace

void followChanges(const Rbac::ChangeQuery& query, JournalLines& lines, Console& console)
{
    const Activity::Pause pause; // waiting is what it is for
    const QuietEnd end;
    Follower follower(query, lines, console);
    follower.begin();
    while (lines.wantsMore() && QuietEnd::goesOnAfter(BETWEEN)) {
        follower.goOn();
    }
}

} // namespace ksrbac
