// Parsing and printing of object namespaces, beside a hand-written equivalent: the same list of components
// read from the same kind of stream and printed into a string, without the class around it.

#include <cstdio>
#include <istream>
#include <list>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/lexical_cast.hpp>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

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

void parseHandWritten(benchmark::State& state)
{
    std::size_t i = 0;
    std::istringstream stream;
    for (auto _ : state) {
        stream.clear();
        stream.str(texts()[i++ % 1000]);
        std::list<std::string> components;
        benchmark::DoNotOptimize(parseByHand(stream, components));
    }
}
BENCHMARK(parseHandWritten);

void parseNamespace(benchmark::State& state)
{
    std::size_t i = 0;
    std::istringstream stream;
    for (auto _ : state) {
        stream.clear();
        stream.str(texts()[i++ % 1000]);
        ObjectNamespace ns;
        benchmark::DoNotOptimize(static_cast<bool>(stream >> ns));
    }
}
BENCHMARK(parseNamespace);

void parseNamespaceByLexicalCast(benchmark::State& state)
{
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(boost::lexical_cast<ObjectNamespace>(texts()[i++ % 1000]));
    }
}
BENCHMARK(parseNamespaceByLexicalCast);

void printHandWritten(benchmark::State& state)
{
    std::vector<std::list<std::string>> names(1000);
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::istringstream stream(texts()[i]);
        parseByHand(stream, names[i]);
    }
    std::size_t i = 0;
    for (auto _ : state) {
        const std::list<std::string> copy = names[i++ % 1000];
        benchmark::DoNotOptimize(printByHand(copy));
    }
}
BENCHMARK(printHandWritten);

void printNamespace(benchmark::State& state)
{
    std::vector<ObjectNamespace> names;
    for (const std::string& text : texts()) {
        names.push_back(boost::lexical_cast<ObjectNamespace>(text));
    }
    std::size_t i = 0;
    for (auto _ : state) {
        const ObjectNamespace copy =
            names[i++ % 1000]; // the text is computed once per object: take a fresh one
        benchmark::DoNotOptimize(copy.str().data());
    }
}
BENCHMARK(printNamespace);

} // namespace

BENCHMARK_MAIN();
