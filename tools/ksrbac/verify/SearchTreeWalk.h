#ifndef KSRBAC_VERIFY_SEARCHTREEWALK_H
#define KSRBAC_VERIFY_SEARCHTREEWALK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <keepsafe/cache/detail/ReadOnlyBlockAllocator.h>

#include "verify/Fault.h"
#include "verify/Reference.h"
#include "verify/SparseArray.h"
#include "verify/Whereabouts.h"

namespace ksrbac {

/// Walks the search trees of one kind and reports offsets that no record answers to, keys out of order and
/// cycles.
///
/// Every record is examined once, however often it is referred to: trees may share parts. A record keeps the
/// smallest and the largest key below it, so a second reference is judged by these alone, and the time is
/// linear in the number of records. The path to the current record is kept in its own stack, not the call
/// stack: a tree may be as deep as it has records.
///
/// Order: a search comes to a record with a key between the bounds that its ancestors in the tree set. A key
/// outside them can never be found. It is reported once and sets no bounds itself, or everything below it
/// would be reported too.
template <typename Record>
class SearchTreeWalk : public Whereabouts {
public:
    using View = Tessara::Keepsafe::Rbac::detail::RecordView<Record>;

    /// `file` is the name of the file that holds the records; it must live on.
    SearchTreeWalk(const View& records, const char* file, FaultList& faults)
        : records_(records), target_{file, sizeof(Record), records.count()}, faults_(faults)
    {
    }

    /// Records that were reached so far.
    [[nodiscard]] std::size_t reachedCount() const noexcept { return reachedCount_; }
    [[nodiscard]] bool isReached(std::size_t index) const noexcept
    {
        return states_.get(index) != State::New;
    }
    /// Records of one file that two walks have reached.
    [[nodiscard]] static std::size_t reachedByEither(const SearchTreeWalk& left, const SearchTreeWalk& right)
    {
        std::size_t byBoth = 0;
        left.states_.forEach([&](std::size_t index, State state) {
            byBoth += state != State::New && right.isReached(index) ? 1 : 0;
        });
        return left.reachedCount() + right.reachedCount() - byBoth;
    }
    /// Nodes on the longest way down within one search tree.
    [[nodiscard]] std::size_t deepestTree() const noexcept { return deepestTree_; }
    /// Search trees on the longest way through levels.
    [[nodiscard]] std::size_t deepestLevel() const noexcept { return deepestLevel_; }

protected:
    /// How one record refers to another one of the file.
    enum class Edge : std::uint8_t { Root, Left, Right, NextLevel };

    struct Frame {
        std::uint32_t index;
        Edge edge;         ///< by which the record was reached
        Edge nextEdge;     ///< to be followed next; `Edge::Root` when all were
        std::int64_t low;  ///< the key must be greater
        std::int64_t high; ///< the key must be less
    };

    /// Walks the tree that `root` refers to. Not reentrant.
    void walk(const Reference& root)
    {
        follow(root, Edge::Root, NO_LOW, NO_HIGH);
        while (!frames_.empty()) {
            if (frames_.back().nextEdge == Edge::Root) {
                leave();
            } else {
                followNextEdge();
            }
        }
    }

    [[nodiscard]] const std::vector<Frame>& frames() const noexcept { return frames_; }
    [[nodiscard]] const Record& record(std::uint32_t index) const noexcept
    {
        return *records_.find(static_cast<Tessara::Keepsafe::Rbac::NodeOffset>(index * sizeof(Record)));
    }
    [[nodiscard]] std::uint64_t byteOf(std::uint32_t index, std::size_t member) const noexcept
    {
        return std::uint64_t{index} * sizeof(Record) + member;
    }
    [[nodiscard]] const char* file() const noexcept { return target_.name; }
    FaultList& faults() noexcept { return faults_; }

    /// Steps from the root of the current search tree down to the current record, as a text for `reached()`;
    /// empty at the root.
    [[nodiscard]] std::string stepsDown() const
    {
        const auto root = std::find_if(frames_.rbegin(), frames_.rend(), [](const Frame& frame) {
            return frame.edge == Edge::Root || frame.edge == Edge::NextLevel;
        });
        const auto steps = root == frames_.rend() ? 0 : root - frames_.rbegin();
        return steps == 0
                   ? ""
                   : ", " + std::to_string(steps) + (steps == 1 ? " step" : " steps") + " down its tree";
    }

private:
    /// Examines what is particular to the kind of record. Called once per record.
    virtual void examine(std::uint32_t index) = 0;
    [[nodiscard]] virtual std::string keyText(std::int64_t key) const { return std::to_string(key); }
    /// The reference to the root of the next level; 0 for kinds without levels.
    [[nodiscard]] virtual Reference nextLevel(std::uint32_t index) const
    {
        return {0, file(), byteOf(index, 0), ""};
    }

    enum class State : std::uint8_t { New, OnTheWay, Done };

    /// What lies at and below a record that is done.
    struct Summary {
        std::int32_t smallest;
        std::int32_t largest; ///< less than `smallest` when every key is out of order
        std::uint32_t treeHeight;
        std::uint32_t levels;
    };

    static constexpr std::int64_t NO_LOW = std::numeric_limits<std::int64_t>::min();
    static constexpr std::int64_t NO_HIGH = std::numeric_limits<std::int64_t>::max();

    [[nodiscard]] Reference reference(std::uint32_t index, Edge edge) const
    {
        const Record& from = record(index);
        if (edge == Edge::Left) {
            return {from.left, file(), byteOf(index, offsetof(Record, left)), "left"};
        }
        if (edge == Edge::Right) {
            return {from.right, file(), byteOf(index, offsetof(Record, right)), "right"};
        }
        return nextLevel(index);
    }

    void addFault(std::uint64_t byte, const char* inFile, const std::string& what)
    {
        faults_.add([&] { return Fault{inFile, byte, what, reached()}; });
    }

    [[nodiscard]] static bool isInOrder(const Frame& frame, std::int64_t key) noexcept
    {
        return key > frame.low && key < frame.high;
    }

    void followNextEdge()
    {
        Frame& frame = frames_.back();
        const Edge edge = frame.nextEdge;
        frame.nextEdge = edge == Edge::Left    ? Edge::Right
                         : edge == Edge::Right ? Edge::NextLevel
                                               : Edge::Root;
        const Frame here = frame; // following may move the frames
        const std::int64_t key = record(here.index).key;
        const Reference to = reference(here.index, edge);
        if (edge == Edge::NextLevel) {
            follow(to, edge, NO_LOW, NO_HIGH);
            return;
        }
        const bool bounds = isInOrder(here, key);
        const bool left = edge == Edge::Left;
        follow(to, edge, bounds && !left ? key : here.low, bounds && left ? key : here.high);
    }

    void follow(const Reference& to, Edge edge, std::int64_t low, std::int64_t high)
    {
        if (to.target == 0) {
            return;
        }
        std::string complaint;
        const auto index = resolve(to, target_, complaint);
        if (!index) {
            addFault(to.byte, to.file, complaint);
        } else if (!isReached(*index)) {
            enter({*index, edge, Edge::Left, low, high});
        } else if (states_.get(*index) == State::OnTheWay) {
            addFault(to.byte, to.file,
                     std::string(to.field) + " is " + std::to_string(to.target) +
                         ", a record on the way to this one: a cycle");
        } else {
            requireBetween(to, summaries_.get(*index), low, high);
        }
    }

    /// Judges a part of a tree that was examined before by the keys in it.
    void requireBetween(const Reference& to, const Summary& shared, std::int64_t low, std::int64_t high)
    {
        const bool isEmpty = shared.smallest > shared.largest;
        if (isEmpty || (shared.smallest > low && shared.largest < high)) {
            return;
        }
        addFault(to.byte, to.file,
                 std::string(to.field) + " is " + std::to_string(to.target) +
                     ", a shared tree with keys from " + keyText(shared.smallest) + " to " +
                     keyText(shared.largest) + ", which must be " + boundsText(low, high));
    }

    void enter(const Frame& frame)
    {
        states_.set(frame.index, State::OnTheWay);
        ++reachedCount_;
        frames_.push_back(frame);
        const std::int64_t key = record(frame.index).key;
        if (!isInOrder(frame, key)) {
            addFault(byteOf(frame.index, offsetof(Record, key)), file(),
                     "key " + keyText(key) + " is out of order: it must be " +
                         boundsText(frame.low, frame.high));
        }
        examine(frame.index);
    }

    [[nodiscard]] std::string boundsText(std::int64_t low, std::int64_t high) const
    {
        std::string text;
        if (low != NO_LOW) {
            text = "greater than " + keyText(low);
        }
        if (high != NO_HIGH) {
            text += (text.empty() ? "less than " : " and less than ") + keyText(high);
        }
        return text;
    }

    void leave()
    {
        const Frame frame = frames_.back();
        frames_.pop_back();
        const Summary summary = summarise(frame);
        summaries_.set(frame.index, summary);
        states_.set(frame.index, State::Done);
        deepestTree_ = std::max<std::size_t>(deepestTree_, summary.treeHeight);
        deepestLevel_ = std::max<std::size_t>(deepestLevel_, summary.levels);
    }

    [[nodiscard]] Summary summarise(const Frame& frame) const
    {
        Summary sum{std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min(), 1, 1};
        const std::int32_t key = record(frame.index).key;
        if (isInOrder(frame, key)) {
            sum.smallest = key;
            sum.largest = key;
        }
        for (const Edge edge : {Edge::Left, Edge::Right, Edge::NextLevel}) {
            const std::optional<Summary> below = doneBelow(reference(frame.index, edge).target);
            if (below && edge == Edge::NextLevel) {
                sum.levels = std::max(sum.levels, below->levels + 1);
            } else if (below) {
                sum.smallest = std::min(sum.smallest, below->smallest);
                sum.largest = std::max(sum.largest, below->largest);
                sum.treeHeight = std::max(sum.treeHeight, below->treeHeight + 1);
                sum.levels = std::max(sum.levels, below->levels);
            }
        }
        return sum;
    }

    [[nodiscard]] std::optional<Summary> doneBelow(Tessara::Keepsafe::Rbac::NodeOffset offset) const noexcept
    {
        const std::size_t index = offset / sizeof(Record);
        const bool isDone = index != 0 && index < target_.recordCount && states_.get(index) == State::Done;
        return isDone ? std::optional<Summary>(summaries_.get(index)) : std::nullopt;
    }

    View records_;
    TargetFile target_;
    FaultList& faults_;
    SparseArray<State> states_;
    SparseArray<Summary> summaries_;
    std::vector<Frame> frames_;
    std::size_t reachedCount_ = 0;
    std::size_t deepestTree_ = 0;
    std::size_t deepestLevel_ = 0;
};

} // namespace ksrbac

#endif
