#include "support/CacheWriter.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <utility>

#include "support/TempDir.h"

namespace keepsafe_test {

namespace {

/// One level of the trie: what follows a common beginning.
struct Level {
    struct Entry {
        CacheWriter::NodeOffset object = 0;
        std::unique_ptr<Level> next;
    };
    std::map<std::int32_t, Entry> entries;
};

void insert(Level& root, const std::vector<std::int32_t>& segments, CacheWriter::NodeOffset object)
{
    Level* level = &root;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        Level::Entry& entry = level->entries[segments[i]];
        if (i + 1 == segments.size()) {
            entry.object = object;
            return;
        }
        if (!entry.next) {
            entry.next = std::make_unique<Level>();
        }
        level = entry.next.get();
    }
}

class TreeBuilder {
public:
    using AddNode =
        std::function<CacheWriter::NodeOffset(std::size_t, CacheWriter::NodeOffset, CacheWriter::NodeOffset)>;

    TreeBuilder(TreeShape shape, std::uint32_t seed, const AddNode& addNode)
        : shape_(shape), random_(seed), addNode_(addNode)
    {
    }

    CacheWriter::NodeOffset build(std::size_t first, std::size_t last)
    {
        if (first == last) {
            return 0;
        }
        const std::size_t middle = pick(first, last);
        const CacheWriter::NodeOffset left = build(first, middle);
        const CacheWriter::NodeOffset right = build(middle + 1, last);
        return addNode_(middle, left, right);
    }

private:
    std::size_t pick(std::size_t first, std::size_t last)
    {
        switch (shape_) {
        case TreeShape::LeftList:
            return last - 1;
        case TreeShape::RightList:
            return first;
        case TreeShape::Random:
            return std::uniform_int_distribution<std::size_t>(first, last - 1)(random_);
        case TreeShape::Balanced:
            break;
        }
        return first + (last - first) / 2;
    }

    TreeShape shape_;
    std::mt19937 random_;
    const AddNode& addNode_;
};

template <typename Record>
CacheWriter::NodeOffset append(std::vector<Record>& records, const Record& record)
{
    records.push_back(record);
    return static_cast<CacheWriter::NodeOffset>((records.size() - 1) * sizeof(Record));
}

template <typename Record>
std::string bytesOf(const std::vector<Record>& records)
{
    return {reinterpret_cast<const char*>(records.data()), records.size() * sizeof(Record)};
}

} // namespace

CacheWriter::CacheWriter(const AccessModel& model, const Options& options)
    : unusedRecords(options.unusedRecords)
{
    Level root;
    for (const auto& [ns, object] : model.objects) {
        insert(root, segmentValues(ns.str()), addObject(object, options));
    }
    const std::function<NodeOffset(const Level&)> addLevel = [&](const Level& level) {
        std::vector<const std::pair<const std::int32_t, Level::Entry>*> entries;
        entries.reserve(level.entries.size());
        for (const auto& entry : level.entries) {
            entries.push_back(&entry);
        }
        return buildTree(entries.size(), options, [&](std::size_t i, NodeOffset left, NodeOffset right) {
            const auto& [key, entry] = *entries[i];
            const NodeOffset next = entry.next ? addLevel(*entry.next) : 0;
            return add(segmentNode(key, left, right, entry.object, next));
        });
    };
    metadata.segmentRoot = addLevel(root);
    if (options.offsetsInsideRecords) {
        std::mt19937 random(options.seed);
        const auto blur = [&](NodeOffset& offset, std::size_t recordSize) {
            if (offset != 0) {
                offset += std::uniform_int_distribution<NodeOffset>(
                    0, static_cast<NodeOffset>(recordSize - 1))(random);
            }
        };
        blur(metadata.segmentRoot, sizeof(SegmentNode));
        for (SegmentNode& node : segments) {
            blur(node.left, sizeof(SegmentNode));
            blur(node.right, sizeof(SegmentNode));
            blur(node.nextLevel, sizeof(SegmentNode));
            blur(node.object, sizeof(ManagedObject));
        }
        for (ManagedObject& object : objects) {
            blur(object.ownBits, sizeof(BitsNode));
            blur(object.childBits, sizeof(BitsNode));
        }
        for (BitsNode& node : nodes) {
            blur(node.left, sizeof(BitsNode));
            blur(node.right, sizeof(BitsNode));
        }
    }
}

CacheWriter::NodeOffset CacheWriter::add(const SegmentNode& record) { return append(segments, record); }
CacheWriter::NodeOffset CacheWriter::add(const ManagedObject& record) { return append(objects, record); }
CacheWriter::NodeOffset CacheWriter::add(const BitsNode& record) { return append(nodes, record); }

CacheWriter::NodeOffset
CacheWriter::buildTree(std::size_t size, const Options& options,
                       const std::function<NodeOffset(std::size_t, NodeOffset, NodeOffset)>& addNode)
{
    return TreeBuilder(options.shape, options.seed, addNode).build(0, size);
}

CacheWriter::NodeOffset CacheWriter::addGrants(const Grants& grants, const Options& options)
{
    std::vector<std::pair<std::int32_t, std::map<std::int32_t, std::uint32_t>>> roles;
    for (const auto& [role, bits] : grants) {
        auto& words = roles.emplace_back(role, std::map<std::int32_t, std::uint32_t>{}).second;
        for (const std::int32_t bit : bits) {
            const auto number = static_cast<std::uint32_t>(bit);
            words[static_cast<std::int32_t>(number / 32)] |= std::uint32_t{1} << number % 32;
        }
    }
    return buildTree(roles.size(), options, [&](std::size_t i, NodeOffset left, NodeOffset right) {
        const auto& [role, wordMap] = roles[i];
        const std::vector<std::pair<std::int32_t, std::uint32_t>> words(wordMap.begin(), wordMap.end());
        const NodeOffset wordTree =
            buildTree(words.size(), options, [&](std::size_t w, NodeOffset wordLeft, NodeOffset wordRight) {
                return add(bitsNode(words[w].first, words[w].second, wordLeft, wordRight));
            });
        const auto inside = static_cast<NodeOffset>(options.offsetsInsideRecords ? i % sizeof(BitsNode) : 0);
        return add(bitsNode(role, wordTree + inside, left, right));
    });
}

CacheWriter::NodeOffset CacheWriter::addObject(const ModelObject& object, const Options& options)
{
    const NodeOffset own = addGrants(object.own, options);
    const NodeOffset children = addGrants(object.children, options);
    return add(managedObject(object.inherit, own, children));
}

void CacheWriter::write(const std::string& directory, const std::string& namespaceText) const
{
    writeFile(directory + "/metadata", {reinterpret_cast<const char*>(&metadata), sizeof metadata});
    writeFile(directory + "/objects", bytesOf(objects));
    writeFile(directory + "/nodes", bytesOf(nodes));
    writeFile(directory + "/segments", bytesOf(segments));
    if (unusedRecords) {
        addUnusedRecords(directory);
    }
    writeFile(directory + "/manifest.json", "{\"namespace\": \"" + namespaceText + "\"}\n");
}

void addUnusedRecords(const std::string& directory)
{
    constexpr std::uintmax_t BYTES = std::uintmax_t{2} << 20U; // they take no space
    const std::string file = directory + "/segments";
    std::filesystem::resize_file(file, std::filesystem::file_size(file) + BYTES);
}

std::vector<std::int32_t> segmentValues(const std::string& text)
{
    std::vector<std::int32_t> values;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t bar = text.find('|', position);
        const std::size_t length = std::min<std::size_t>(4, bar - position + 1);
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            value = value << 8U | (i < length ? static_cast<unsigned char>(text[position + i]) : 0U);
        }
        values.push_back(static_cast<std::int32_t>(value));
        position += length;
    }
    return values;
}

CacheWriter::SegmentNode segmentNode(std::int32_t key, CacheWriter::NodeOffset left,
                                     CacheWriter::NodeOffset right, CacheWriter::NodeOffset object,
                                     CacheWriter::NodeOffset nextLevel)
{
    CacheWriter::SegmentNode node{};
    node.key = key;
    node.left = left;
    node.right = right;
    node.object = object;
    node.nextLevel = nextLevel;
    return node;
}

CacheWriter::BitsNode bitsNode(std::int32_t key, std::uint32_t value, CacheWriter::NodeOffset left,
                               CacheWriter::NodeOffset right)
{
    CacheWriter::BitsNode node{};
    node.key = key;
    node.value = value;
    node.left = left;
    node.right = right;
    return node;
}

CacheWriter::ManagedObject managedObject(bool inherit, CacheWriter::NodeOffset ownBits,
                                         CacheWriter::NodeOffset childBits)
{
    CacheWriter::ManagedObject object{};
    object.inherit = inherit ? 1 : 0;
    object.ownBits = ownBits;
    object.childBits = childBits;
    return object;
}

} // namespace keepsafe_test
