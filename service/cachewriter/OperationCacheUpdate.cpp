#include "cachewriter/OperationCacheUpdate.h"

#include <cstdio>
#include <filesystem>
#include <limits>
#include <optional>

#include <boost/lexical_cast.hpp>

#include "errors/InputError.h"
#include "load.h"
#include "json/json_text.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

std::string folderOf(const std::string& path) { return std::filesystem::path(path).parent_path().string(); }

JsonHandle parse(const std::string& document, const std::string& path)
{
    json_error_t error;
    JsonHandle root = Tessara::Keepsafe::loadJson(document, error, JSON_REJECT_DUPLICATES);
    if (root == nullptr) {
        throw InputError(path + ":" + std::to_string(error.line) + ":" + std::to_string(error.column) + ": " +
                         error.text);
    }
    if (!json_is_object(root.get())) {
        throw InputError(path + ": not an operation cache: the document is not an object");
    }
    return root;
}

std::optional<OperationBits> readOperations(const std::string& path)
{
    const std::optional<std::string> document = readWhole(path);
    if (!document) {
        return std::nullopt;
    }
    OperationBits operations;
    const JsonHandle root = parse(*document, path);
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(root.get(), key, value)
    {
        ObjectNamespace operation;
        const json_int_t bit = json_integer_value(value);
        if (!boost::conversion::try_lexical_convert(key, operation) || !json_is_integer(value) ||
            bit < std::numeric_limits<std::int32_t>::min() ||
            bit > std::numeric_limits<std::int32_t>::max()) {
            throw InputError(path + ": not an operation cache: the member \"" + key +
                             "\" is not an operation with a bit of 32 bits");
        }
        operations.emplace(operation, static_cast<std::int32_t>(bit));
    }
    return operations;
}

std::string documentOf(const OperationBits& operations)
{
    const JsonHandle root(json_object());
    for (const auto& [operation, bit] : operations) {
        if (json_object_set_new(root.get(), operation.str().c_str(), json_integer(bit)) != 0) {
            throw std::bad_alloc();
        }
    }
    return jsonText(root.get(), JSON_INDENT(2)) + "\n";
}

} // namespace

OperationCacheUpdate::OperationCacheUpdate(FileSystem& fileSystem, const std::string& path,
                                           const OperationBits& operations, Renumber renumber)
    : fileSystem_(fileSystem), path_(path), operations_(operations), renumber_(renumber), merged_(merge())
{
}

OperationCacheUpdate::Merged OperationCacheUpdate::merge() const
{
    const std::optional<OperationBits> published = readOperations(path_);
    if (!published) {
        return {operations_, OperationChange::Renewal};
    }
    std::map<std::int32_t, const ObjectNamespace*> owners;
    for (const auto& [operation, bit] : operations_) {
        owners.emplace(bit, &operation);
    }
    Merged merged{operations_, OperationChange::None};
    for (const auto& [operation, bit] : *published) {
        const auto wanted = operations_.find(operation);
        const auto owner = owners.find(bit);
        const bool isMoved = wanted != operations_.end() && wanted->second != bit;
        const bool isTakenOver = wanted == operations_.end() && owner != owners.end();
        if (renumber_ == Renumber::Refuse && isMoved) {
            throw InputError("operation " + operation.str() + ": bit " + std::to_string(wanted->second) +
                             " is asked for, but it is published with bit " + std::to_string(bit));
        }
        if (renumber_ == Renumber::Refuse && isTakenOver) {
            throw InputError("operation " + owner->second->str() + ": bit " + std::to_string(bit) +
                             " is asked for, but it is published as that of " + operation.str());
        }
        if (isMoved || isTakenOver) {
            merged.change = OperationChange::Renewal;
        } else {
            merged.wanted.emplace(operation, bit);
        }
    }
    if (merged.change == OperationChange::None && merged.wanted != *published) {
        merged.change = OperationChange::Addition;
    }
    return merged;
}

void OperationCacheUpdate::carryOut(const LockPatience& patience)
{
    fileSystem_.createDirectories(folderOf(path_));
    const std::string lockPath = path_ + ".lck";
    const bool isNewLock = !readWhole(lockPath);
    const OpenFile lockFile = fileSystem_.openOrCreate(lockPath);
    if (isNewLock) {
        fileSystem_.restrictLike(lockFile, path_);
    }
    const ExclusiveLock lock(lockFile.path(), patience);
    const Merged now = merge();
    if (now.change != OperationChange::None && now.change != merged_.change) {
        throw PublishError(path_ + " was changed by others meanwhile");
    }
    if (now.change != OperationChange::None) {
        replaceBy(now.wanted);
    }
}

void OperationCacheUpdate::replaceBy(const OperationBits& wanted)
{
    // The lock makes the name ours: what may be there was left by a writer that was killed.
    const std::string prepared = path_ + ".new";
    try {
        const OpenFile file = fileSystem_.openOrCreate(prepared);
        fileSystem_.restrictLike(file, path_);
        fileSystem_.truncate(file);
        fileSystem_.write(file, 0, documentOf(wanted));
        fileSystem_.sync(file);
        fileSystem_.rename(prepared, path_);
    } catch (...) {
        static_cast<void>(std::remove(prepared.c_str()));
        throw;
    }
    fileSystem_.syncDirectory(folderOf(path_));
}

} // namespace keepsafe_service
