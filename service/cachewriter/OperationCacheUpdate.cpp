#include "cachewriter/OperationCacheUpdate.h"

#include <cstdio>
#include <filesystem>
#include <limits>

#include <boost/lexical_cast.hpp>

#include "errors/InputError.h"
#include "json/json_text.h"

namespace keepsafe_sandbox {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

std::string folderOf(const std::string& path) { return std::filesystem::path(path).parent_path().string(); }

/// Creates the folder first: the lock file goes there.
FileLock lockOf(FileSystem& fileSystem, const std::string& path)
{
    fileSystem.createDirectories(folderOf(path));
    return FileLockManager::instance().getLock(path + ".lck", FileLock::MissingFile::IsCreated);
}

JsonHandle parse(const std::string& document, const std::string& path)
{
    json_error_t error;
    JsonHandle root(json_loadb(document.data(), document.size(), JSON_REJECT_DUPLICATES, &error));
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
    : fileSystem_(fileSystem), path_(path), preparedPath_(path + ".new"), lock_(lockOf(fileSystem, path)),
      guard_(lock_, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL),
      published_(readOperations(path))
{
    merge(operations, renumber);
}

OperationCacheUpdate::~OperationCacheUpdate()
{
    if (isPrepared_) {
        static_cast<void>(std::remove(preparedPath_.c_str()));
    }
}

void OperationCacheUpdate::merge(const OperationBits& operations, Renumber renumber)
{
    wanted_ = operations;
    std::map<std::int32_t, const ObjectNamespace*> owners;
    for (const auto& [operation, bit] : operations) {
        owners.emplace(bit, &operation);
    }
    if (!published_) {
        return;
    }
    for (const auto& [operation, bit] : *published_) {
        const auto wanted = operations.find(operation);
        const auto owner = owners.find(bit);
        const bool isMoved = wanted != operations.end() && wanted->second != bit;
        const bool isTakenOver = wanted == operations.end() && owner != owners.end();
        if (renumber == Renumber::Refuse && isMoved) {
            throw InputError("operation " + operation.str() + ": bit " + std::to_string(wanted->second) +
                             " is asked for, but it is published with bit " + std::to_string(bit));
        }
        if (renumber == Renumber::Refuse && isTakenOver) {
            throw InputError("operation " + owner->second->str() + ": bit " + std::to_string(bit) +
                             " is asked for, but it is published as that of " + operation.str());
        }
        if (wanted == operations.end() && !isTakenOver) {
            wanted_.emplace(operation, bit);
        }
    }
}

void OperationCacheUpdate::prepare()
{
    if (wanted_ == published_) {
        return;
    }
    // The lock makes the name ours: what may be there was left by a writer that was killed.
    const OpenFile file = fileSystem_.openOrCreate(preparedPath_);
    isPrepared_ = true;
    fileSystem_.truncate(file);
    fileSystem_.write(file, 0, documentOf(wanted_));
    fileSystem_.sync(file);
}

void OperationCacheUpdate::commit()
{
    if (!isPrepared_) {
        return;
    }
    fileSystem_.rename(preparedPath_, path_);
    isPrepared_ = false;
    fileSystem_.syncDirectory(folderOf(path_));
}

} // namespace keepsafe_sandbox
