#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <set>

#include <boost/algorithm/string/predicate.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/questions/reachable_objects.h>

#include "cli/arguments.h"
#include "cli/cache_location.h"
#include "cli/options.h"
#include "commands/clients.h"
#include "commands/load_operations.h"
#include "completion/Completion.h"
#include "completion/object_levels.h"
#include "service/RoleNames.h"
#include "split.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
using boost::algorithm::starts_with;
using Tessara::Keepsafe::Text::split;

namespace {

using Candidates = std::vector<Candidate>;

constexpr std::size_t MOST_CANDIDATES = 1000;

/// Where the last element of a list with the separator begins.
std::size_t lastElement(const std::string& list, char separator)
{
    const std::size_t at = list.rfind(separator);
    return at == std::string::npos ? 0 : at + 1;
}

void keepBeginning(Candidates& candidates, const std::string& typed)
{
    candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                    [&](const Candidate& one) { return !starts_with(one.text, typed); }),
                     candidates.end());
}

Candidates withBefore(const std::string& before, Candidates candidates)
{
    for (Candidate& candidate : candidates) {
        candidate.text.insert(0, before);
    }
    return candidates;
}

Candidates words(const std::vector<std::string>& texts, const std::string& typed)
{
    Candidates candidates;
    for (const std::string& text : texts) {
        candidates.push_back({text, ""});
    }
    keepBeginning(candidates, typed);
    return candidates;
}

Candidates caches(const std::string& typed)
{
    namespace fs = std::filesystem;
    std::vector<std::string> names;
    const fs::path folder = fs::path(locateCache("x").directory).parent_path();
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        if (entry.is_directory(error)) {
            names.push_back(entry.path().filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    return words(names, typed);
}

Candidates operations(const std::string& typed)
{
    Rbac::OperationCache cache;
    loadOperations(cache);
    std::vector<std::string> names;
    for (const auto& [operation, bit] : cache.operations()) {
        names.push_back(operation.str());
    }
    std::sort(names.begin(), names.end());
    return words(names, typed);
}

/// A name as an argument has it: with its separators and control characters encoded.
std::string encoded(const std::string& name)
{
    constexpr char digits[] = "0123456789ABCDEF";
    const std::string special = "%,:@";
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F || special.find(c) != std::string::npos) {
            text += '%';
            text += digits[byte >> 4U];
            text += digits[byte & 0xFU];
        } else {
            text += c;
        }
    }
    return text;
}

/// By their names; those whose ids begin like that by their ids, when a number is typed.
Candidates roles(const std::string& typed)
{
    RoleNames names("complete");
    names.ask();
    const bool isNumber = !typed.empty() && typed.find_first_not_of("0123456789") == std::string::npos;
    Candidates candidates;
    for (const auto& [id, name] : names.names()) {
        const std::string number = std::to_string(id);
        const std::string text = encoded(name);
        candidates.push_back(isNumber ? Candidate{number, text} : Candidate{text, "role " + number});
    }
    keepBeginning(candidates, typed);
    return candidates;
}

/// What continues the name in one of the caches.
void addObjects(const std::string& cache, Rbac::OperationCache& operations, const std::string& typed,
                std::set<std::string>& names)
{
    const auto known = operations.operations();
    if (known.empty()) {
        return;
    }
    const auto client = openClient(cache, operations);
    // A holder of role 0 reaches everything.
    names.merge(nextLevels(Rbac::ReachableObjects(*client, {0}, known.begin()->first), typed));
}

Candidates objects(const std::optional<std::string>& cache, const std::string& typed)
{
    Rbac::OperationCache operations;
    loadOperations(operations);
    std::set<std::string> names;
    if (cache) {
        addObjects(*cache, operations, typed, names);
    } else {
        for (const Candidate& candidate : caches("")) {
            addObjects(candidate.text, operations, typed, names);
        }
    }
    return words({names.begin(), names.end()}, "");
}

Candidates listOf(Candidates (*elements)(const std::string& typed), const std::string& typed)
{
    const std::size_t begin = lastElement(typed, ',');
    return withBefore(typed.substr(0, begin), elements(typed.substr(begin)));
}

/// ROLE:OPERATION,...[:PROPAGATION], and behind that @OBJECT, which is for `simulate`.
Candidates grant(const Question& question, const std::string& typed)
{
    if (const std::size_t at = typed.find('@'); at != std::string::npos) {
        return withBefore(typed.substr(0, at + 1), objects(question.cache, typed.substr(at + 1)));
    }
    const std::size_t begin = lastElement(typed, ':');
    const std::string before = typed.substr(0, begin);
    const auto part = std::count(before.begin(), before.end(), ':');
    if (part == 1) {
        return withBefore(before, listOf(operations, typed.substr(begin)));
    }
    if (part == 2) {
        return withBefore(before, words({"OBJECT", "CHILDREN", "OBJECT_AND_CHILDREN"}, typed.substr(begin)));
    }
    Candidates candidates = roles(typed);
    for (Candidate& candidate : candidates) {
        candidate.text += ':';
    }
    // A shell would take a single one for the whole word.
    if (candidates.size() == 1) {
        const std::string role = candidates.front().text;
        const Candidates whole = withBefore(role, operations(""));
        candidates.insert(candidates.end(), whole.begin(), whole.end());
    }
    return candidates;
}

/// OBJECT=on|off
Candidates inheritance(const Question& question)
{
    const std::size_t equals = question.value.find('=');
    if (equals == std::string::npos) {
        return objects(question.cache, question.value);
    }
    return withBefore(question.value.substr(0, equals + 1),
                      words({"on", "off"}, question.value.substr(equals + 1)));
}

Completion valuesOf(const Question& question)
{
    using Also = Completion::Also;
    const std::string& kind = question.kind;
    const std::string& typed = question.value;
    const std::map<std::string, Also> paths{{value_name::FILE_OR_STDIN, Also::Files},
                                            {value_name::DIRECTORY, Also::Directories},
                                            {value_name::PROGRAM, Also::Programs}};
    if (const auto path = paths.find(kind); path != paths.end()) {
        return {{}, path->second};
    }
    if (kind == value_name::CACHE) {
        return {typed.find('/') == std::string::npos ? caches(typed) : Candidates(), Also::Directories};
    }
    if (kind == value_name::OBJECT) {
        return {objects(question.cache, typed), Also::Nothing};
    }
    if (kind == value_name::OPERATION) {
        return {operations(typed), Also::Nothing};
    }
    if (kind == value_name::OPERATIONS) {
        return {listOf(operations, typed), Also::Nothing};
    }
    if (kind == value_name::ROLE) {
        return {roles(typed), Also::Nothing};
    }
    if (kind == value_name::ROLES) {
        return {listOf(roles, typed), Also::Nothing};
    }
    if (kind == value_name::GRANT) {
        return {grant(question, typed), Also::Nothing};
    }
    if (kind == value_name::INHERITANCE) {
        return {inheritance(question), Also::Nothing};
    }
    if (kind == value_name::PROPAGATION) {
        return {words({"OBJECT", "CHILDREN", "OBJECT_AND_CHILDREN"}, typed), Also::Nothing};
    }
    return {kind.find('|') == std::string::npos ? Candidates() : words(split(kind, '|'), typed),
            Also::Nothing};
}

} // namespace

Completion answer(const Question& question)
{
    Completion completion;
    if (question.kind.empty()) {
        completion.candidates = question.words;
        keepBeginning(completion.candidates, question.value);
    } else {
        completion = valuesOf(question);
    }
    completion.candidates = withBefore(question.before, std::move(completion.candidates));
    completion.candidates.resize(std::min(completion.candidates.size(), MOST_CANDIDATES));
    return completion;
}

} // namespace ksrbac
