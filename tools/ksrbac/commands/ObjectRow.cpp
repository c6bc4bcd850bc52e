#include "commands/ObjectRow.h"

#include <utility>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/questions/bulk_check.h>

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr std::size_t MOST_OBJECTS = 4096;
constexpr std::size_t MOST_BYTES = std::size_t{256} * 1024;

/// Nothing when the row has no answer: then the objects are asked one by one, up to the one that fails.
std::vector<Rbac::Answer> ask(const Rbac::AccessChecker& checker, const std::vector<std::string_view>& texts)
{
    try {
        return checkRow(checker, texts);
    } catch (const EC_exception&) {
        return {};
    }
}

} // namespace

ObjectRow::ObjectRow(const Rbac::AccessChecker& checker, Decider& decider,
                     std::function<std::string(std::size_t number)> where)
    : checker_(checker), decider_(decider), where_(std::move(where))
{
}

void ObjectRow::add(std::string_view text, std::size_t number)
{
    if (items_.size() == MOST_OBJECTS || bytes_.size() >= MOST_BYTES) {
        finish();
    }
    items_.push_back({bytes_.size(), text.size(), number});
    bytes_ += text;
}

void ObjectRow::finish()
{
    // Taken away first: what fails is not asked again.
    const std::vector<Item> items = std::exchange(items_, {});
    const std::string bytes = std::exchange(bytes_, {});
    std::vector<std::string_view> texts;
    texts.reserve(items.size());
    for (const Item& item : items) {
        texts.push_back(std::string_view(bytes).substr(item.begin, item.size));
    }
    const std::vector<Rbac::Answer> answers =
        decider_.isExplaining() ? std::vector<Rbac::Answer>() : ask(checker_, texts);
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (answers.empty() || answers[i] == Rbac::Answer::NotAName) {
            decider_.decide(std::string(texts[i]), [&] { return where_(items[i].number); });
        } else {
            decider_.print(texts[i], answers[i] == Rbac::Answer::Allowed);
        }
    }
}

} // namespace ksrbac
