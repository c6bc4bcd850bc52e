// Many objects at once, beside the same questions to a hash table: rows of 1,000 objects for one caller each.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <keepsafe/rbac/questions/bulk_check.h>

#include "generate/GeneratedCache.h"
#include "peers/HashTable.h"
#include "questions/PublishedCache.h"
#include "workloads.h"

namespace keepsafe_bench {

using keepsafe_sandbox::GeneratedCache;
using Tessara::Keepsafe::Rbac::Answer;
using Tessara::Keepsafe::Rbac::checkRow;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

constexpr std::size_t ROW = 1000;

/// Objects by rows, each with one caller.
class Rows {
public:
    Rows(const Questions& questions, bool sorted)
    {
        for (const PeerQuestion& question : questions.all()) {
            objects_.push_back(question.object);
        }
        if (sorted) {
            std::sort(objects_.begin(), objects_.end(),
                      [](const ObjectNamespace& left, const ObjectNamespace& right) {
                          return left.str() < right.str();
                      });
        }
        for (std::size_t i = 0; i < objects_.size(); ++i) {
            texts_.emplace_back(objects_[i].str());
            questions_.push_back({questions.all()[i / ROW * ROW].caller, objects_[i]});
            questions_.back().object.str();
        }
        answers_.resize(objects_.size());
        others_.resize(objects_.size());
    }

    void askByObjects()
    {
        forRows([&](const PeerCaller& caller, std::size_t first, std::size_t count) {
            checkRow(*caller.checker, objects_.data() + first, count, answers_.data() + first);
        });
    }
    void askByTexts()
    {
        forRows([&](const PeerCaller& caller, std::size_t first, std::size_t count) {
            checkRow(*caller.checker, texts_.data() + first, count, answers_.data() + first);
        });
    }
    void ask(Contender& other) { other.answer({questions_.data(), questions_.size()}, others_.data()); }

    void requireSame() const
    {
        for (std::size_t i = 0; i < answers_.size(); ++i) {
            if ((answers_[i] == Answer::Allowed) != (others_[i] != 0)) {
                throw std::runtime_error("a row and the hash table answer differently about " +
                                         std::string(texts_[i]));
            }
        }
    }
    [[nodiscard]] std::size_t size() const noexcept { return objects_.size(); }

private:
    template <typename Ask>
    void forRows(const Ask& ask) const
    {
        for (std::size_t first = 0; first < questions_.size(); first += ROW) {
            ask(*questions_[first].caller, first, std::min(ROW, questions_.size() - first));
        }
    }

    std::vector<ObjectNamespace> objects_;
    std::vector<std::string_view> texts_;
    std::vector<PeerQuestion> questions_;
    std::vector<Answer> answers_;
    std::vector<char> others_;
};

void measureOrder(Rows& rows, Contender& hashed, const std::string& name, double goal,
                  const Settings& settings, Report& report)
{
    rows.ask(hashed);
    rows.askByObjects();
    rows.requireSame();
    rows.askByTexts();
    rows.requireSame();
    Turns turns(settings.rounds);
    const std::size_t table = turns.add(rows.size(), [&] { rows.ask(hashed); });
    const std::size_t objects = turns.add(rows.size(), [&] { rows.askByObjects(); });
    const std::size_t texts = turns.add(rows.size(), [&] { rows.askByTexts(); });
    turns.run();
    report.line("rows/" + name + "/objects", turns.figures(objects), turns.figures(table));
    report.line("rows/" + name + "/texts", turns.figures(texts), turns.figures(table));
    report.goal("rows/" + name + " / hash table", turns.figures(objects).median / turns.figures(table).median,
                Report::Bound::AtMost, goal, "");
}

} // namespace

void measureRows(const Settings& settings, Report& report)
{
    constexpr std::uint64_t SMALL = 10000;
    for (const std::uint64_t leaves : settings.objects) {
        const PublishedCache published(GeneratedCache(leaves, SEED).build());
        const Questions questions(published.cache(), {settings.questions, settings.roles, Callers::Shared},
                                  drawLeaf(leaves));
        const auto hashed = hashTable(leaves).open();
        const std::string size = std::to_string(leaves) + " objects";
        Rows random(questions, false);
        measureOrder(random, *hashed, size + ", any order", leaves < SMALL ? 2.5 : 1.0, settings, report);
        Rows sorted(questions, true);
        measureOrder(sorted, *hashed, size + ", ascending", leaves < SMALL ? 2.5 : 0.5, settings, report);
    }
}

} // namespace keepsafe_bench
