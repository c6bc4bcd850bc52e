#include "peers/HashTable.h"

#include <array>
#include <string>
#include <unordered_map>
#include <utility>

#include "peers/RoleGrants.h"
#include "peers/object_tree.h"

namespace keepsafe_bench {

namespace {

struct Node {
    const Node* parent;
    bool inherit;
    RoleGrants own;
    RoleGrants child;
};

using Table = std::unordered_map<std::string, Node>;

bool anyGranted(const RoleGrants& grants, const PeerCaller& caller)
{
    return anyGranted(reinterpret_cast<const char*>(grants.data()), grants.size(), caller);
}

Table makeTable(std::uint64_t leaves)
{
    Table table;
    table.reserve(keepsafe_sandbox::GeneratedCache(leaves, SEED).objectCount());
    std::array<const Node*, LEVELS> path{};
    visitObjects(leaves, [&](const keepsafe_service::CacheObject& object, std::size_t level) {
        const Node* parent = level == 0 ? nullptr : path[level - 1];
        const auto entry = table.emplace(
            object.ns.str(), Node{parent, object.inherit, flattened(object.own), flattened(object.child)});
        path[level] = &entry.first->second;
    });
    return table;
}

class HashTable : public Contender {
public:
    explicit HashTable(std::shared_ptr<const Table> table) : table_(std::move(table)) {}

    void answer(QuestionRange questions, char* answers) override
    {
        for (const PeerQuestion& question : questions) {
            *answers++ = decide(question) ? 1 : 0;
        }
    }

private:
    [[nodiscard]] bool decide(const PeerQuestion& question)
    {
        const auto named = table_->find(question.object.str());
        if (named == table_->end()) {
            return allowsBelow(nearestAncestor(question.object.str()), *question.caller);
        }
        const Node& node = named->second;
        return anyGranted(node.own, *question.caller) ||
               (node.inherit && allowsBelow(node.parent, *question.caller));
    }

    [[nodiscard]] static bool allowsBelow(const Node* node, const PeerCaller& caller)
    {
        for (; node != nullptr; node = node->inherit ? node->parent : nullptr) {
            if (anyGranted(node->child, caller)) {
                return true;
            }
        }
        return false;
    }

    [[nodiscard]] const Node* nearestAncestor(const std::string& text)
    {
        for (auto parent = parentText(text); !parent.empty(); parent = parentText(parent)) {
            key_.assign(parent);
            if (const auto found = table_->find(key_); found != table_->end()) {
                return &found->second;
            }
        }
        return nullptr;
    }

    std::shared_ptr<const Table> table_;
    std::string key_; ///< kept to reuse its memory
};

} // namespace

ContenderKind hashTable(std::uint64_t leaves)
{
    auto table = std::make_shared<const Table>(makeTable(leaves));
    return {"hash table", [table] { return std::make_unique<HashTable>(table); }};
}

} // namespace keepsafe_bench
