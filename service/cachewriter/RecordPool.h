#ifndef KEEPSAFE_SERVICE_CACHEWRITER_RECORDPOOL_H
#define KEEPSAFE_SERVICE_CACHEWRITER_RECORDPOOL_H

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "cachewriter/RecordFile.h"

namespace keepsafe_service {

/// A record file whose records are taken and given back one by one; what was given back last is taken first,
/// and the file only grows when nothing is free.
///
/// A free record is all zero, so that a damaged offset grants nothing, except for its first four bytes, which
/// readers do not know: they hold the offset of the next free record.
template <typename Record>
class RecordPool : private RecordFile<Record> {
    using File = RecordFile<Record>;
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;
    static_assert(offsetof(Record, writerPrivate) == 0 &&
                  sizeof(Record::writerPrivate) >= sizeof(NodeOffset));

public:
    using File::changes;
    using File::File;
    using File::forgetChanges;
    using File::records;
    using File::set;
    using File::size;
    using File::whole;
    using File::operator[];

    /// Makes room, so that as many calls of `take` cannot fail. Throws as `RecordFile::reserve` does.
    void reserve(std::size_t count) { File::reserve(count > freeCount_ ? count - freeCount_ : 0); }

    /// A record of one's own, all zero.
    NodeOffset take() noexcept
    {
        if (firstFree_ == 0) {
            return File::append();
        }
        const NodeOffset taken = firstFree_;
        std::memcpy(&firstFree_, &(*this)[taken], sizeof firstFree_);
        --freeCount_;
        set(taken, Record{});
        return taken;
    }

    void release(NodeOffset record) noexcept
    {
        Record wiped = {};
        std::memcpy(&wiped, &firstFree_, sizeof firstFree_);
        set(record, wiped);
        firstFree_ = record;
        ++freeCount_;
    }

    /// Sets one field.
    template <typename Value>
    void set(NodeOffset at, Value Record::*field, std::common_type_t<Value> value) noexcept
    {
        Record record = (*this)[at];
        record.*field = value;
        set(at, record);
    }

    [[nodiscard]] std::size_t freeCount() const noexcept { return freeCount_; }

private:
    NodeOffset firstFree_ = 0;
    std::size_t freeCount_ = 0;
};

} // namespace keepsafe_service

#endif
