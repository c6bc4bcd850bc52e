#include "service/support/SimulatedDisk.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <stdexcept>

#include "support/TempDir.h"

namespace keepsafe_test {

namespace {

template <typename Value>
void keepLast(std::vector<Value>& values)
{
    values.erase(values.begin(), values.end() - 1);
}

} // namespace

SimulatedDisk::File& SimulatedDisk::fileAt(const std::string& path)
{
    const auto found = entries_.find(path);
    if (found == entries_.end() || found->second.back() < 0) {
        throw std::logic_error("a step on a file that is not there: " + path);
    }
    return files_[static_cast<std::size_t>(found->second.back())];
}

void SimulatedDisk::setEntry(const std::string& path, int file)
{
    const auto entry = entries_.emplace(path, Values<int>{NOTHING}).first;
    entry->second.push_back(file);
}

void SimulatedDisk::File::resize(std::uint64_t bytes)
{
    if (size.back() != bytes) {
        size.push_back(bytes);
    }
}

void SimulatedDisk::File::write(std::uint64_t offset, std::string_view bytes)
{
    for (std::uint64_t number = offset / BLOCK; !bytes.empty(); ++number) {
        auto& values = blocks.emplace(number, Values<std::string>{std::string(BLOCK, '\0')}).first->second;
        std::string block = values.back();
        const std::size_t begin = offset % BLOCK;
        const std::size_t count = std::min(bytes.size(), BLOCK - begin);
        block.replace(begin, count, bytes.substr(0, count));
        values.push_back(std::move(block));
        bytes.remove_prefix(count);
        offset += count;
    }
    resize(std::max(size.back(), offset));
}

void SimulatedDisk::File::truncate()
{
    resize(0);
    for (auto& [number, values] : blocks) {
        values.emplace_back(BLOCK, '\0');
    }
}

void SimulatedDisk::File::sync()
{
    keepLast(size);
    for (auto& [number, values] : blocks) {
        keepLast(values);
    }
}

void SimulatedDisk::createFile(const std::string& path)
{
    files_.emplace_back();
    setEntry(path, static_cast<int>(files_.size()) - 1);
}

void SimulatedDisk::syncFolder(const std::string& folder)
{
    for (auto& [path, values] : entries_) {
        if (std::filesystem::path(path).parent_path() == folder) {
            keepLast(values);
        }
    }
}

void SimulatedDisk::rename(const std::string& from, const std::string& to)
{
    const int file = entries_.at(from).back();
    setEntry(from, NOTHING);
    setEntry(to, file);
}

void SimulatedDisk::take(const DiskStep& step)
{
    switch (step.kind) {
    case DiskStep::CreateFolder:
        return setEntry(step.path, FOLDER);
    case DiskStep::CreateFile:
        return createFile(step.path);
    case DiskStep::Grow: {
        File& file = fileAt(step.path);
        return file.resize(std::max(file.size.back(), step.offset));
    }
    case DiskStep::Write:
        return fileAt(step.path).write(step.offset, step.bytes);
    case DiskStep::Truncate:
        return fileAt(step.path).truncate();
    case DiskStep::Sync:
        return fileAt(step.path).sync();
    case DiskStep::SyncFolder:
        return syncFolder(step.path);
    case DiskStep::Rename:
        return rename(step.path, step.newPath);
    }
}

void SimulatedDisk::syncEverything()
{
    for (auto& [path, values] : entries_) {
        keepLast(values);
    }
    for (File& file : files_) {
        file.sync();
    }
}

std::size_t SimulatedDisk::undecided() const
{
    std::size_t count = 0;
    const auto add = [&count](const auto& values) { count += values.size() > 1 ? 1U : 0U; };
    for (const auto& [path, values] : entries_) {
        add(values);
    }
    for (const File& file : files_) {
        add(file.size);
        for (const auto& [number, values] : file.blocks) {
            add(values);
        }
    }
    return count;
}

void SimulatedDisk::materialize(const std::string& root, const Choice& choose) const
{
    std::size_t thing = 0;
    const auto chosen = [&](const auto& values) {
        return values.size() == 1 ? values[0] : values[choose(thing++, values.size())];
    };
    std::vector<std::string> contents;
    for (const File& file : files_) {
        std::string content(chosen(file.size), '\0');
        for (const auto& [number, values] : file.blocks) {
            const std::string block = chosen(values);
            const std::size_t begin = number * BLOCK;
            if (begin < content.size()) {
                content.replace(begin, BLOCK, block.substr(0, content.size() - begin));
            }
        }
        contents.push_back(std::move(content));
    }
    // A folder comes before what is in it.
    for (const auto& [path, values] : entries_) {
        const int file = chosen(values);
        const std::string target = root + path.substr(root_.size());
        if (file == NOTHING || !std::filesystem::exists(std::filesystem::path(target).parent_path())) {
            continue;
        }
        if (file == FOLDER) {
            std::filesystem::create_directory(target);
        } else {
            writeFile(target, contents[static_cast<std::size_t>(file)]);
        }
    }
}

void forEachCrash(const SimulatedDisk& disk, const std::function<void(const std::string& folder)>& visit)
{
    const auto crash = [&](const SimulatedDisk::Choice& choose) {
        const TempDir folder(memoryFolder());
        disk.materialize(folder.path(), choose);
        visit(folder.path());
    };
    crash([](std::size_t, std::size_t) { return 0; });
    const std::size_t undecided = disk.undecided();
    if (undecided == 0) {
        return;
    }
    crash([](std::size_t, std::size_t values) { return values - 1; });
    for (std::size_t one = 0; one < undecided; ++one) {
        crash([one](std::size_t thing, std::size_t values) { return thing == one ? values - 1 : 0; });
        crash([one](std::size_t thing, std::size_t values) { return thing == one ? 0 : values - 1; });
    }
    std::mt19937 random(static_cast<unsigned>(undecided)); // the same in each run
    for (std::size_t mixture = 0; mixture < 2 * undecided; ++mixture) {
        crash([&random](std::size_t, std::size_t values) { return random() % values; });
    }
}

} // namespace keepsafe_test
