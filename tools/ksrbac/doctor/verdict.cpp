#include "doctor/verdict.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "output/Json.h"

namespace ksrbac {

namespace {

using State = Finding::State;

std::size_t count(const std::vector<Finding>& findings, State state)
{
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [state](const Finding& finding) { return finding.state == state; }));
}

const char* wordOf(PlugInStatus status)
{
    switch (status) {
    case PlugInStatus::Ok:
        return "OK";
    case PlugInStatus::Warning:
        return "WARNING";
    case PlugInStatus::Critical:
        return "CRITICAL";
    case PlugInStatus::Unknown:
        break;
    }
    return "UNKNOWN";
}

/// What decides the status; null if all is well.
const Finding* weightiest(const std::vector<Finding>& findings)
{
    for (const State state : {State::Failure, State::Warning, State::Unknown}) {
        const auto found = std::find_if(findings.begin(), findings.end(),
                                        [state](const Finding& finding) { return finding.state == state; });
        if (found != findings.end()) {
            return &*found;
        }
    }
    return nullptr;
}

/// "2 warnings, "; nothing for none.
std::string counted(std::size_t number, const char* one, const char* more)
{
    return number == 0 ? "" : std::to_string(number) + ' ' + (number == 1 ? one : more) + ", ";
}

std::string painted(const std::string& word, State state, const Console& console)
{
    switch (state) {
    case State::Ok:
        return console.paint(word, Colour::Good);
    case State::Failure:
        return console.paint(word, Colour::Bad);
    case State::Warning:
    case State::Unknown:
        return console.paint(word, Colour::Attention);
    case State::Skipped:
        break;
    }
    return word;
}

/// What follows the status in the summary.
std::string detailsOf(const std::vector<Finding>& findings)
{
    const Finding* const finding = weightiest(findings);
    return ": " + counted(count(findings, State::Failure), "failure", "failures") +
           counted(count(findings, State::Warning), "warning", "warnings") +
           counted(count(findings, State::Unknown), "unknown", "unknown") +
           std::to_string(count(findings, State::Ok)) + " ok" +
           (finding == nullptr ? "" : ": " + finding->what + ": " + finding->text);
}

} // namespace

PlugInStatus statusOf(const std::vector<Finding>& findings)
{
    const Finding* const finding = weightiest(findings);
    if (finding == nullptr) {
        return PlugInStatus::Ok;
    }
    if (finding->state == State::Failure) {
        return PlugInStatus::Critical;
    }
    return finding->state == State::Warning ? PlugInStatus::Warning : PlugInStatus::Unknown;
}

ExitStatus exitStatusOf(PlugInStatus status) { return static_cast<ExitStatus>(status); }

std::string summaryOf(const std::vector<Finding>& findings)
{
    return wordOf(statusOf(findings)) + detailsOf(findings);
}

std::string reportText(const std::vector<Finding>& findings, const Console& console)
{
    constexpr std::size_t WIDTH = 9; // "warning" and two blanks
    const Finding* const worst = weightiest(findings);
    std::string text =
        painted(wordOf(statusOf(findings)), worst == nullptr ? State::Ok : worst->state, console) +
        detailsOf(findings) + '\n';
    for (const Finding& finding : findings) {
        const std::string word = ksrbac::wordOf(finding.state);
        text += painted(word, finding.state, console) + std::string(WIDTH - word.size(), ' ') + finding.what +
                ": " + finding.text + '\n';
        if (!finding.remedy.empty()) {
            text += std::string(WIDTH, ' ') + finding.remedy + '\n';
        }
    }
    return text;
}

std::string reportJson(const std::vector<Finding>& findings)
{
    JsonObject summary;
    summary.add("status", wordOf(statusOf(findings)));
    for (const State state : {State::Failure, State::Warning, State::Unknown, State::Ok, State::Skipped}) {
        summary.add(ksrbac::wordOf(state), std::uint64_t{count(findings, state)});
    }
    std::string text = summary.add("summary", summaryOf(findings)).text() + '\n';
    for (const Finding& finding : findings) {
        JsonObject line;
        line.add("state", ksrbac::wordOf(finding.state))
            .add("check", finding.what)
            .add("finding", finding.text);
        if (!finding.remedy.empty()) {
            line.add("remedy", finding.remedy);
        }
        text += line.text() + '\n';
    }
    return text;
}

} // namespace ksrbac
