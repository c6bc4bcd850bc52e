#include "report/NameTree.h"

#include <algorithm>

namespace ksrbac {

std::uint32_t NameTree::add(std::string_view name, std::uint32_t value)
{
    const std::size_t shortest = std::min(last_.size(), name.size());
    const auto common = static_cast<std::size_t>(
        std::mismatch(last_.begin(), last_.begin() + static_cast<std::ptrdiff_t>(shortest), name.begin())
            .first -
        last_.begin());
    std::uint32_t ascent = 0;
    while (ends_.back() > common) {
        ends_.pop_back();
        ++ascent;
    }
    for (std::size_t begin = ends_.back(); begin < name.size(); begin = ends_.back()) {
        const std::size_t end = name.find('|', begin) + 1;
        components_ += name.substr(begin, end - begin);
        ascents_.push_back(ascent);
        values_.push_back(NO_VALUE);
        ends_.push_back(end);
        ascent = 0;
    }
    last_ = name;
    values_.back() = value;
    return static_cast<std::uint32_t>(values_.size() - 1);
}

void NameTree::Walk::step()
{
    if (node_ == 0) {
        ends_.push_back(name_.size());
    } else {
        ends_.resize(ends_.size() - tree_.ascents_[node_]);
        const std::size_t end = tree_.components_.find('|', component_) + 1;
        name_.resize(ends_.back());
        name_.append(tree_.components_, component_, end - component_);
        component_ = end;
        ends_.push_back(name_.size());
    }
    ++node_;
}

bool NameTree::Walk::next()
{
    while (node_ < tree_.values_.size()) {
        step();
        if (value() != NO_VALUE) {
            return true;
        }
    }
    return false;
}

} // namespace ksrbac
