#include <keepsafe/rbac/questions/policy_contents.h>

#include <optional>
#include <unordered_map>
#include <utility>

#include <keepsafe/platform/status/status_codes.h>

#include "NameOrderWalk.h"
#include "WholeWalk.h"
#include "disk_client.h"
#include "fail.h"
#include "role_words.h"
#include "tell.h"
#include "visit_tree.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

/// Records of a piece: some hundred microseconds, of the millisecond that a writer may have to wait.
constexpr std::size_t STEPS_OF_A_PIECE = 8192;
constexpr std::size_t STEPS_OF_AN_OBJECT = 8;
/// Far more than the grants of one object, and little enough to be kept.
constexpr std::size_t MOST_STEPS_OF_A_TREE = std::size_t{1} << 22U;
/// Role trees that are kept because other objects may have them, too.
constexpr std::size_t MOST_TREES_KEPT = 1024;

const std::string ROOT_TEXT = "|";

/// Nothing is carried down: only names and objects are of interest.
struct Plainly {
    struct State {};
    [[nodiscard]] static State top() noexcept { return {}; }
    [[nodiscard]] static State below(const detail::SegmentNode& /*node*/, bool /*endsComponent*/,
                                     State /*above*/) noexcept
    {
        return {};
    }
};

/// One hold of the lock. What its thread would log meanwhile is logged when the lock has been released.
class Hold {
public:
    Hold(const AccessCache& cache, const std::string& after)
        : reader_(cache.lock()), walk_(reader_), inOrder_(walk_, plainly_)
    {
        inOrder_.start(ROOT_TEXT, after);
    }

    /// False at the end, and when the piece is over.
    [[nodiscard]] bool next(GrantedObject& object, std::size_t mostSteps)
    {
        while (steps() < mostSteps) {
            if (!inOrder_.next()) {
                walk_.requireWhole();
                isAtEnd_ = true;
                return false;
            }
            if (inOrder_.endsComponent() && inOrder_.node().object != 0) {
                read(walk_.managedObject(inOrder_.node().object), object);
                walk_.requireWhole();
                return true;
            }
        }
        walk_.requireWhole();
        return false;
    }

    [[nodiscard]] bool isAtEnd() const noexcept { return isAtEnd_; }
    [[nodiscard]] const std::string& place() const noexcept { return inOrder_.text(); }
    [[nodiscard]] std::size_t trieSteps() const noexcept { return inOrder_.steps(); }
    [[nodiscard]] std::size_t trieRecords() const noexcept { return walk_.segments().count(); }

private:
    [[nodiscard]] std::size_t steps() const noexcept { return inOrder_.steps() + otherSteps_; }

    void read(const ManagedObject& found, GrantedObject& object)
    {
        object.name = inOrder_.text();
        object.inherits = found.inherit != 0;
        object.onObject = wordsOf(found.ownBits);
        object.onChildren = wordsOf(found.childBits);
        otherSteps_ += STEPS_OF_AN_OBJECT;
    }

    [[nodiscard]] const RoleWords& wordsOf(NodeOffset roleTree)
    {
        if (roleTree == 0) {
            return NO_WORDS;
        }
        const auto known = trees_.find(roleTree);
        if (known != trees_.end()) {
            otherSteps_ += known->second.size();
            return known->second;
        }
        if (trees_.size() == MOST_TREES_KEPT) {
            trees_.clear();
        }
        return trees_[roleTree] = readTree(roleTree);
    }

    [[nodiscard]] RoleWords readTree(NodeOffset roleTree)
    {
        RoleWords words;
        detail::StepBudget budget(MOST_STEPS_OF_A_TREE);
        visit(roleTree, budget, [&](const detail::BitsNode& role) {
            visit(role.value, budget, [&](const detail::BitsNode& word) {
                if (word.value != 0 && word.key >= 0 && word.key <= LAST_WORD) {
                    words.push_back({role.key, word.key, word.value});
                }
            });
        });
        otherSteps_ += MOST_STEPS_OF_A_TREE - budget.left();
        return words;
    }

    template <typename Visit>
    void visit(NodeOffset tree, detail::StepBudget& budget, const Visit& visitNode) const
    {
        const detail::Damage damage = detail::visitTree(walk_.nodes(), tree, budget, visitNode);
        if (damage.what != nullptr) {
            walk_.throwDamagedNodes(damage);
        }
    }

    static constexpr std::int32_t LAST_WORD = Operation{-1}.wordIndex();

    const diagnostics::TellAfterwards tellAfterwards_;
    const AccessCache::Reader reader_;
    const detail::CacheWalk walk_;
    Plainly plainly_;
    detail::NameOrderWalk<Plainly> inOrder_;
    std::unordered_map<NodeOffset, RoleWords> trees_;
    std::size_t otherSteps_ = 0;
    bool isAtEnd_ = false;
};

} // namespace

PolicySource::~PolicySource() = default;

class CachePolicySource::State {
public:
    State(boost::shared_ptr<const AccessCache> cache, WalkLocking locking)
        : cache_(std::move(cache)), locking_(locking)
    {
    }

    bool next(GrantedObject& object)
    {
        if (locking_ == WalkLocking::OneState) {
            if (!hold_) {
                hold_.emplace(*cache_, "");
            }
            return hold_->next(object, std::numeric_limits<std::size_t>::max());
        }
        while (taken_ == piece_.size()) {
            if (isAtEnd_) {
                return false;
            }
            readPiece();
        }
        std::swap(object, piece_[taken_++]);
        return true;
    }

private:
    void readPiece()
    {
        piece_.clear();
        taken_ = 0;
        Hold hold(*cache_, place_);
        GrantedObject object;
        while (hold.next(object, STEPS_OF_A_PIECE)) {
            piece_.push_back(std::move(object));
        }
        isAtEnd_ = hold.isAtEnd();
        place_ = hold.place();
        whole_.add(hold.trieSteps(), hold.trieRecords());
    }

    const boost::shared_ptr<const AccessCache> cache_;
    const WalkLocking locking_;
    std::optional<Hold> hold_; ///< of one state
    std::vector<GrantedObject> piece_;
    std::size_t taken_ = 0;
    std::string place_;
    bool isAtEnd_ = false;
    WholeWalk whole_;
};

CachePolicySource::CachePolicySource(AccessControlClient& client, WalkLocking locking)
{
    const DiskAccessControlClient* const disk = diskClient(client);
    if (disk == nullptr) {
        diagnostics::fail(Status::INVALID_ARGUMENT, "CachePolicySource",
                          "Without enforcement there is no cache to read");
    }
    state_ = std::make_unique<State>(disk->accessCache(), locking);
}

CachePolicySource::~CachePolicySource() = default;

bool CachePolicySource::next(GrantedObject& object) { return state_->next(object); }

} // namespace Tessara::Keepsafe::Rbac
