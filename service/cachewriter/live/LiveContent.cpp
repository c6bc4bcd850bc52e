#include "cachewriter/live/LiveContent.h"

#include <string>

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ManagedObject;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

LiveContent::LiveContent(const Limits& limits)
    : objects_("objects", limits.objects), counts_("counts"), grants_(limits.nodes), names_(limits.segments)
{
}

void LiveContent::put(const CacheObject& object)
{
    const std::string& text = object.ns.str();
    GrantTrees::Use own(grants_, object.own);
    GrantTrees::Use child(grants_, object.child);
    NodeOffset place = names_.find(text);
    if (place == 0) {
        place = add(text);
    }
    // Nothing fails from here on.
    ManagedObject record = {};
    record.inherit = object.inherit ? 1 : 0;
    record.ownBits = own.exchange(objects_[place].ownBits);
    record.childBits = child.exchange(objects_[place].childBits);
    objects_.set(place, record);
    setCount(place, object.accessDefinitionCount);
}

LiveContent::NodeOffset LiveContent::add(const std::string& text)
{
    objects_.reserve(1);
    counts_.reserve(1);
    names_.reserveFor(text);
    const NodeOffset place = objects_.take();
    if (counts_.size() < objects_.size()) {
        counts_.append();
    }
    names_.insert(text, place);
    return place;
}

void LiveContent::remove(const ObjectNamespace& ns)
{
    const NodeOffset place = names_.remove(ns.str());
    if (place == 0) {
        return;
    }
    grants_.release(objects_[place].ownBits);
    grants_.release(objects_[place].childBits);
    setCount(place, 0);
    objects_.release(place);
}

void LiveContent::setCount(NodeOffset object, std::uint32_t accessDefinitions) noexcept
{
    const auto place = static_cast<NodeOffset>(object / sizeof(ManagedObject) * sizeof(std::uint32_t));
    accessDefinitions_ += accessDefinitions;
    accessDefinitions_ -= counts_[place];
    counts_.set(place, accessDefinitions);
}

CacheContent LiveContent::header() const noexcept
{
    CacheContent content;
    content.segmentRoot = names_.root();
    content.accessDefinitions = accessDefinitions_;
    return content;
}

CacheContent LiveContent::whole() const
{
    CacheContent content = header();
    content.objects = objects_.whole();
    content.nodes = grants_.nodes().whole();
    content.segments = names_.nodes().whole();
    content.counts = counts_.whole();
    return content;
}

CacheContent LiveContent::changes() const
{
    CacheContent content = header();
    content.isWhole = false;
    content.objects = objects_.changes();
    content.nodes = grants_.nodes().changes();
    content.segments = names_.nodes().changes();
    content.counts = counts_.changes();
    return content;
}

void LiveContent::forgetChanges() noexcept
{
    objects_.forgetChanges();
    counts_.forgetChanges();
    grants_.forgetChanges();
    names_.forgetChanges();
}

} // namespace keepsafe_service
