#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include <algorithm>
#include <iterator>

namespace Tessara::Keepsafe::Rbac {

ObjectNamespace::ObjectNamespace(const std::string& first) : components_{first} {}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second)
    : components_{first, second}
{
}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second,
                                 const std::string& third)
    : components_{first, second, third}
{
}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second,
                                 const std::string& third, const std::string& fourth)
    : components_{first, second, third, fourth}
{
}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second,
                                 const std::string& third, const std::string& fourth,
                                 const std::string& fifth)
    : components_{first, second, third, fourth, fifth}
{
}

ObjectNamespace::ObjectNamespace(const std::string& first, const std::string& second,
                                 const std::string& third, const std::string& fourth,
                                 const std::string& fifth, const std::string& sixth)
    : components_{first, second, third, fourth, fifth, sixth}
{
}

ObjectNamespace ObjectNamespace::operator|(const std::string& component) const
{
    ObjectNamespace result;
    result.components_ = components_;
    result.components_.push_back(component);
    return result;
}

ObjectNamespace ObjectNamespace::operator|(ObjectNamespace other) const
{
    ObjectNamespace result;
    result.components_ = components_;
    result.components_.splice(result.components_.end(), other.components_);
    return result;
}

boost::optional<ObjectNamespace> ObjectNamespace::parentNamespace() const
{
    if (components_.empty()) {
        return boost::none;
    }
    ObjectNamespace parent;
    parent.components_.assign(components_.begin(), std::prev(components_.end()));
    return parent;
}

bool ObjectNamespace::is_ancestor_of(const ObjectNamespace& other) const noexcept
{
    return components_.size() <= other.components_.size() &&
           std::equal(components_.begin(), components_.end(), other.components_.begin());
}

bool operator==(const ObjectNamespace& left, const ObjectNamespace& right) noexcept
{
    return left.components_ == right.components_;
}

bool operator<(const ObjectNamespace& left, const ObjectNamespace& right) noexcept
{
    // Not the operator of lists, which compares equal components twice.
    auto other = right.components_.begin();
    for (const std::string& component : left.components_) {
        if (other == right.components_.end()) {
            return false;
        }
        const int order = component.compare(*other);
        if (order != 0) {
            return order < 0;
        }
        ++other;
    }
    return other != right.components_.end();
}

} // namespace Tessara::Keepsafe::Rbac
