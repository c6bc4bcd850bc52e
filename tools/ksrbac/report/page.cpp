#include "report/page.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "report/html.h"
#include "report/page_data.h"
#include "report/page_parts.h"

namespace ksrbac {

namespace {

using Writers = std::map<std::string_view, std::function<void()>>;

/// Writes the text and calls a writer for each "{{NAME}}" in it. What the writers write is not looked at.
void fill(std::string_view text, const Writers& writers, ByteSink& sink)
{
    constexpr std::string_view BEGIN = "{{";
    constexpr std::string_view END = "}}";
    for (std::size_t at = text.find(BEGIN); at != std::string_view::npos; at = text.find(BEGIN)) {
        const std::size_t end = text.find(END, at);
        sink.write(text.substr(0, at));
        writers.at(text.substr(at + BEGIN.size(), end - at - BEGIN.size()))();
        text.remove_prefix(end + END.size());
    }
    sink.write(text);
}

/// Nothing is loaded, sent or run but the one style and the one script, not even what somebody adds to the
/// page.
std::string securityPolicy(const std::string& style, const std::string& script)
{
    return "default-src 'none'; style-src " + hashSource(style) + "; script-src " + hashSource(script) +
           "; base-uri 'none'; form-action 'none'; require-trusted-types-for 'script'; trusted-types 'none'";
}

} // namespace

void writePage(const ReportSubject& subject, ByteSink& sink)
{
    const std::string style = page_parts::style();
    const std::string script = page_parts::script();
    const std::string html = page_parts::html();
    const Writers writers{
        {"security-policy", [&] { sink.write(securityPolicy(style, script)); }},
        {"title", [&] { sink.write(htmlText(subject.title)); }},
        {"style", [&] { sink.write(style); }},
        {"data", [&] { writePageData(subject, sink); }},
        {"script", [&] { sink.write(script); }},
    };
    fill(html, writers, sink);
}

} // namespace ksrbac
