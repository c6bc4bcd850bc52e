#ifndef KEEPSAFE_SERVICE_CACHEWRITER_RECORDFILE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_RECORDFILE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

#include <keepsafe/cache/detail/records.h>

#include "cachewriter/CacheContent.h"
#include "cachewriter/CacheImage.h"

namespace keepsafe_service {

/// The content of a record file, and which records differ from the published file. Records are addressed by
/// their byte offset, as in the file; record 0 is there from the start.
///
/// Memory comes in chunks: records never move, and growing copies nothing. Looking for the changes costs a
/// look at each chunk and at the words of the bit map of those that have changed.
template <typename Record>
class RecordFile {
    static_assert(std::is_trivially_copyable_v<Record>);
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;

public:
    /// `name` is that of the file, for messages. Tests give a smaller number of records than an offset can
    /// reach.
    explicit RecordFile(const char* name, std::size_t maxRecords = SIZE_MAX)
        : name_(name), maxRecords_(maxRecords)
    {
        reserve(1);
        append();
    }

    /// Number of records, the reserved one included.
    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] const Record& operator[](NodeOffset at) const noexcept
    {
        return chunkOf(at).records[number(at) % CHUNK];
    }

    /// Makes room, so that as many calls of `append` cannot fail. Throws `InputError`, with everything as it
    /// was, when the file would outgrow its format.
    void reserve(std::size_t count)
    {
        if (count == 0) {
            return;
        }
        if (count > maxRecords_ || size_ > maxRecords_ - count) {
            failOutgrown(name_);
        }
        static_cast<void>(recordOffset<Record>(size_ + count - 1, name_));
        while (chunks_.size() * CHUNK < size_ + count) {
            chunks_.push_back(std::make_unique<Chunk>());
        }
    }

    /// A new record, all zero.
    NodeOffset append() noexcept
    {
        const auto at = static_cast<NodeOffset>(size_ * sizeof(Record));
        ++size_;
        mark(at);
        return at;
    }

    void set(NodeOffset at, const Record& record) noexcept
    {
        Record& known = chunkOf(at).records[number(at) % CHUNK];
        if (std::memcmp(&known, &record, sizeof(Record)) != 0) {
            known = record;
            mark(at);
        }
    }

    /// Everything. Refers to the records, as `changes` does, and is valid until one of them changes.
    [[nodiscard]] FileContent whole() const
    {
        FileContent content{size_, sizeof(Record), {}};
        for (std::size_t first = 0; first < size_; first += CHUNK) {
            content.ranges.push_back(range(first, std::min(size_, first + CHUNK)));
        }
        return content;
    }

    /// A copy of all records.
    [[nodiscard]] std::vector<Record> records() const
    {
        std::vector<Record> copy;
        copy.reserve(size_);
        for (const std::unique_ptr<Chunk>& chunk : chunks_) {
            const std::size_t count = std::min(CHUNK, size_ - copy.size());
            copy.insert(copy.end(), chunk->records.begin(), chunk->records.begin() + count);
        }
        return copy;
    }

    /// What has changed since `forgetChanges` was called last.
    [[nodiscard]] FileContent changes() const
    {
        FileContent content{size_, sizeof(Record), {}};
        for (std::size_t chunk = 0; chunk < chunks_.size(); ++chunk) {
            if (chunks_[chunk]->isChanged) {
                addChanges(content.ranges, chunk);
            }
        }
        return content;
    }

    void forgetChanges() noexcept
    {
        for (const std::unique_ptr<Chunk>& chunk : chunks_) {
            if (chunk->isChanged) {
                chunk->isChanged = false;
                chunk->changed.fill(0);
            }
        }
    }

private:
    static constexpr std::size_t CHUNK = 4096;
    static constexpr std::size_t WORD = 64;
    /// Unchanged bytes between two changes that are written with them: cheaper than one more system call.
    static constexpr std::size_t GAP = 512;

    struct Chunk {
        std::array<Record, CHUNK> records{};
        std::array<std::uint64_t, CHUNK / WORD> changed{};
        bool isChanged = false;
    };

    static std::size_t number(NodeOffset at) noexcept { return at / sizeof(Record); }
    [[nodiscard]] Chunk& chunkOf(NodeOffset at) const noexcept { return *chunks_[number(at) / CHUNK]; }

    void mark(NodeOffset at) noexcept
    {
        Chunk& chunk = chunkOf(at);
        const std::size_t index = number(at) % CHUNK;
        chunk.changed[index / WORD] |= std::uint64_t{1} << (index % WORD);
        chunk.isChanged = true;
    }

    /// Records `begin` to `end` - 1, all in one chunk.
    [[nodiscard]] FileRange range(std::size_t begin, std::size_t end) const
    {
        const Record* records = &chunks_[begin / CHUNK]->records[begin % CHUNK];
        return {begin * sizeof(Record),
                std::string_view(reinterpret_cast<const char*>(records), (end - begin) * sizeof(Record))};
    }

    void addChanges(std::vector<FileRange>& ranges, std::size_t chunk) const
    {
        std::size_t begin = 0;
        std::size_t end = 0; // of a range to come; 0: there is none yet
        for (std::size_t word = 0; word < CHUNK / WORD; ++word) {
            for (std::uint64_t bits = chunks_[chunk]->changed[word]; bits != 0; bits &= bits - 1) {
                const std::size_t record =
                    chunk * CHUNK + word * WORD + static_cast<unsigned>(__builtin_ctzll(bits));
                if (end != 0 && (record - end) * sizeof(Record) > GAP) {
                    ranges.push_back(range(begin, end));
                    end = 0;
                }
                begin = end == 0 ? record : begin;
                end = record + 1;
            }
        }
        ranges.push_back(range(begin, end));
    }

    const char* name_;
    std::size_t maxRecords_;
    std::size_t size_ = 0;
    std::vector<std::unique_ptr<Chunk>> chunks_;
};

} // namespace keepsafe_service

#endif
