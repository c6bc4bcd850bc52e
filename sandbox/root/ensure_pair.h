#ifndef KEEPSAFE_SANDBOX_ROOT_ENSURE_PAIR_H
#define KEEPSAFE_SANDBOX_ROOT_ENSURE_PAIR_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "errors/InputError.h"
#include "files/FileSystem.h"
#include "files/new_file.h"

/// \file
/// Pairs of files: a private key and its public companion.

namespace keepsafe_sandbox {

/// A file that was created, or already existed.
struct EnsuredFile {
    bool isMade = false;
    std::string path;
};

struct PairPaths {
    std::string key;
    std::string companion;
    const char* companionName; ///< what it is, for messages: "certificate"
};

/// The content of a file in PEM form; empty if there is no file. Throws `InputError` with the path.
template <typename Content>
std::optional<Content> findPem(const std::string& path)
{
    const std::optional<std::string> pem = keepsafe_service::readWhole(path);
    if (!pem) {
        return std::nullopt;
    }
    try {
        return Content::fromPem(*pem);
    } catch (const keepsafe_service::InputError& error) {
        throw keepsafe_service::InputError(path + ": " + error.what());
    }
}

/// The same for a private key, which only its owner may be able to read.
template <typename Key>
std::optional<Key> findKey(const std::string& path)
{
    std::optional<Key> key = findPem<Key>(path);
    if (key) {
        keepsafe_service::requireOwnerOnly(path);
    }
    return key;
}

/// The content of the file after this call: what was found there, or what `make` creates. `find` is called
/// again if another process has created the file meanwhile.
template <typename Content, typename Find, typename Make>
Content ensureContent(std::optional<Content> found, const std::string& path, mode_t mode, Find find,
                      Make make, std::vector<EnsuredFile>& ensured)
{
    bool isMade = false;
    if (!found) {
        found = make();
        isMade = keepsafe_service::createFile(path, mode, found->pem());
        if (!isMade && !(found = find(path))) {
            throw keepsafe_service::InputError(path + " came and went meanwhile: run init again");
        }
    }
    ensured.push_back({isMade, path});
    return *std::move(found);
}

/// Creates the missing part of a pair; `make` creates the companion of a key. A companion without its key, or
/// of another key, throws `InputError`.
template <typename Key, typename Make>
auto ensurePair(const PairPaths& paths, Make make, std::vector<EnsuredFile>& ensured)
    -> std::pair<Key, decltype(make(std::declval<const Key&>()))>
{
    using Companion = decltype(make(std::declval<const Key&>()));
    const std::string name = paths.companionName;
    // In this order, the reverse of that in which they are made: a companion that another process has just
    // made then has its key.
    std::optional<Companion> foundCompanion = findPem<Companion>(paths.companion);
    std::optional<Key> foundKey = findKey<Key>(paths.key);
    if (foundCompanion && !foundKey) {
        throw keepsafe_service::InputError(
            paths.companion + " is there, but not the private key that belongs to it, " + paths.key +
            ": move the " + name + " away, or bring the private key back");
    }
    Key key = ensureContent(
        std::move(foundKey), paths.key, keepsafe_service::OWNER_ONLY, findKey<Key>,
        [] { return Key::generate(); }, ensured);
    Companion companion = ensureContent(
        std::move(foundCompanion), paths.companion, keepsafe_service::EVERYBODY, findPem<Companion>,
        [&] { return make(key); }, ensured);
    if (!companion.belongsTo(key)) {
        throw keepsafe_service::InputError(paths.companion + " does not belong to the private key " +
                                           paths.key + ": move the one away that is wrong");
    }
    return {std::move(key), std::move(companion)};
}

} // namespace keepsafe_sandbox

#endif
