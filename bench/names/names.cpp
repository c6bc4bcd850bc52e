// Parsing and printing of object namespaces, beside a hand-written equivalent: the same list of components
// read from the same kind of stream and printed into a string, without the class around it.

#include <cstdio>
#include <functional>
#include <istream>
#include <list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <boost/lexical_cast.hpp>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "workloads.h"

namespace keepsafe_bench {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

const std::vector<std::string>& texts()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> result;
        for (int i = 0; i < 1000; ++i) {
            char text[96];
            std::snprintf(text, sizeof text, "|KEEPSAFE|area-%d|kind-%02d|vm+%07d%%2Fprod.example|", i % 8,
                          i % 16, i);
            result.emplace_back(text);
        }
        return result;
    }();
    return names;
}

int hexDigit(char digit)
{
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

bool decodeByHand(const std::string& segment, std::string& decoded)
{
    decoded.reserve(segment.size());
    for (std::size_t i = 0; i < segment.size(); ++i) {
        if (segment[i] == '%') {
            if (i + 2 >= segment.size()) {
                return false;
            }
            const int high = hexDigit(segment[i + 1]);
            const int low = hexDigit(segment[i + 2]);
            if (high < 0 || low < 0) {
                return false;
            }
            decoded.push_back(static_cast<char>(high * 16 + low));
            i += 2;
        } else {
            decoded.push_back(segment[i] == '+' ? ' ' : segment[i]);
        }
    }
    return true;
}

bool parseByHand(std::istream& stream, std::list<std::string>& components)
{
    components.clear();
    if (stream.get() != '|') {
        return false;
    }
    std::string segment;
    while (std::getline(stream, segment, '|')) {
        std::string decoded;
        if (stream.eof() || !decodeByHand(segment, decoded)) {
            return false;
        }
        components.push_back(std::move(decoded));
    }
    return true;
}

bool isPlain(unsigned char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
           byte == '-' || byte == '*' || byte == '_' || byte == '.';
}

std::string printByHand(const std::list<std::string>& components)
{
    static const char digits[] = "0123456789ABCDEF";
    std::size_t atMost = 1;
    for (const std::string& component : components) {
        atMost += 3 * component.size() + 1;
    }
    std::string text;
    text.reserve(atMost);
    text.push_back('|');
    for (const std::string& component : components) {
        for (const char character : component) {
            const auto byte = static_cast<unsigned char>(character);
            if (isPlain(byte)) {
                text.push_back(character);
            } else if (byte == ' ') {
                text.push_back('+');
            } else {
                text.push_back('%');
                text.push_back(digits[byte >> 4U]);
                text.push_back(digits[byte & 15U]);
            }
        }
        text.push_back('|');
    }
    return text;
}

template <typename Parse>
std::function<void()> parsing(Parse parse)
{
    return [parse] {
        std::istringstream stream;
        for (const std::string& text : texts()) {
            stream.clear();
            stream.str(text);
            require(parse(stream), "the name can be parsed");
        }
    };
}

/// Printing computes the text once per object, so each round prints copies that have none yet.
template <typename Name, typename Print>
std::function<void()> printing(std::vector<Name> names, Print print)
{
    return [names = std::move(names), print] {
        for (const Name& name : names) {
            const Name copy = name; // NOLINT(performance-unnecessary-copy-initialization)
            require(!print(copy).empty(), "the name can be printed");
        }
    };
}

std::vector<std::list<std::string>> componentsByHand()
{
    std::vector<std::list<std::string>> names;
    for (const std::string& text : texts()) {
        std::istringstream stream(text);
        parseByHand(stream, names.emplace_back());
    }
    return names;
}

std::vector<ObjectNamespace> namespaces()
{
    std::vector<ObjectNamespace> names;
    for (const std::string& text : texts()) {
        names.push_back(boost::lexical_cast<ObjectNamespace>(text));
    }
    return names;
}

} // namespace

void measureNames(const Settings& settings, Report& report)
{
    const std::size_t count = texts().size();
    Turns turns(settings.rounds * 30);
    const auto parseFloor = turns.add(count, parsing([](std::istream& stream) {
                                          std::list<std::string> components;
                                          return parseByHand(stream, components);
                                      }));
    const auto parse = turns.add(count, parsing([](std::istream& stream) {
                                     ObjectNamespace ns;
                                     return static_cast<bool>(stream >> ns);
                                 }));
    const auto cast = turns.add(count, [] {
        for (const std::string& text : texts()) {
            require(!boost::lexical_cast<ObjectNamespace>(text).is_root(), "the name can be parsed");
        }
    });
    const auto printFloor = turns.add(count, printing(componentsByHand(), printByHand));
    const auto print =
        turns.add(count, printing(namespaces(),
                                  [](const ObjectNamespace& ns) -> const std::string& { return ns.str(); }));
    turns.run();
    report.line("names/parse from a stream", turns.figures(parse), turns.figures(parseFloor));
    report.line("names/parse by lexical_cast", turns.figures(cast));
    report.line("names/text form", turns.figures(print), turns.figures(printFloor));
}

} // namespace keepsafe_bench
