#ifndef KEEPSAFE_TESTS_SERVICE_SUPPORT_SIMULATEDDISK_H
#define KEEPSAFE_TESTS_SERVICE_SUPPORT_SIMULATEDDISK_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "service/support/LoggedFileSystem.h"

namespace keepsafe_test {

/// What a machine that stops leaves of a writer's steps. What was synced is there. Of everything else the
/// disk has any part, in any order: each block of a file, each file's size and each entry of a folder has one
/// of the values that it had since it was last synced.
class SimulatedDisk {
public:
    /// Blocks are written whole.
    static constexpr std::size_t BLOCK = 512;

    /// Steps on files below this folder, in their order.
    explicit SimulatedDisk(std::string root) : root_(std::move(root)) {}

    void take(const DiskStep& step);
    /// All of it reaches the disk.
    void syncEverything();

    /// How many of the things on the disk have more than one possible value.
    [[nodiscard]] std::size_t undecided() const;
    /// The disk as the machine leaves it, below another folder. `choose(i, n)` gives the value of undecided
    /// thing i: 0 is the synced one, n - 1 the last.
    using Choice = std::function<std::size_t(std::size_t thing, std::size_t values)>;
    void materialize(const std::string& root, const Choice& choose) const;

private:
    static constexpr int NOTHING = -1;
    static constexpr int FOLDER = -2;

    /// The synced value and the later ones.
    template <typename Value>
    using Values = std::vector<Value>;

    struct File {
        Values<std::uint64_t> size{0};
        std::map<std::uint64_t, Values<std::string>> blocks; ///< by number; a missing one is zero

        void resize(std::uint64_t bytes);
        void write(std::uint64_t offset, std::string_view bytes);
        void truncate();
        void sync();
    };

    [[nodiscard]] File& fileAt(const std::string& path);
    void setEntry(const std::string& path, int file);
    void createFile(const std::string& path);
    void syncFolder(const std::string& folder);
    void rename(const std::string& from, const std::string& to);

    std::string root_;
    std::vector<File> files_;
    std::map<std::string, Values<int>> entries_; ///< by path: the number of a file, or one of the constants
};

/// Calls `visit` with the folder of each state that a stop after these steps may leave: nothing of what is
/// undecided, all, each thing alone, all but each thing, and random mixtures.
void forEachCrash(const SimulatedDisk& disk, const std::function<void(const std::string& folder)>& visit);

} // namespace keepsafe_test

#endif
