#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_CHANGE_ENTRIES_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_CHANGE_ENTRIES_H

#include <functional>

#include "accesscontrol/Model.h"
#include "journal/JournalEntry.h"

namespace keepsafe_service {

/// What a change was asked for by. A change of an object does not say so itself.
enum class Occasion { Roles, Inheritance, Access, Registration, States };

using TakeEntry = std::function<void(const JournalEntry&)>;

/// Hands over what a change does to each role, object and access definition, one after the other, in an order
/// in which it can be done again: what is removed, and then what is there instead. `model` is that before the
/// change.
void forEachEntry(const Model& model, const Changes& changes, Occasion occasion, const TakeEntry& take);

/// The same for content that replaces all other: first an entry for the whole, then what is different.
void forEachEntry(const Content& before, const Content& after, const TakeEntry& take);

} // namespace keepsafe_service

#endif
