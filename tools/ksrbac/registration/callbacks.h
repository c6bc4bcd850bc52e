#ifndef KSRBAC_REGISTRATION_CALLBACKS_H
#define KSRBAC_REGISTRATION_CALLBACKS_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <keepsafe/rbac/registration/ObjectRegistrationCallbacks.h>

#include "registration/Work.h"

namespace ksrbac {

/// The callback of one object, for the base class of registering or of unregistering.
template <typename Base>
class SingleCallback final : public Base {
public:
    SingleCallback(const Work& work, Tessara::Keepsafe::Rbac::ObjectNamespace object)
        : work_(work), object_(std::move(object))
    {
    }

    [[nodiscard]] int invoke() override
    {
        constexpr int failed = 1;
        failure_ = work_.doFor(object_);
        return failure_.empty() ? 0 : failed;
    }
    void notifyFailure(int /*status*/) override {} // the operation returns it

    /// Why the work failed, if it did.
    [[nodiscard]] const std::string& failure() const noexcept { return failure_; }

private:
    const Work& work_;
    Tessara::Keepsafe::Rbac::ObjectNamespace object_;
    std::string failure_;
};

using RegistrationCallback = SingleCallback<Tessara::Keepsafe::Rbac::ObjectRegistrationCallback>;
using UnregistrationCallback = SingleCallback<Tessara::Keepsafe::Rbac::ObjectUnregistrationCallback>;

/// Does the work for one object after the other, in order, and prints each failure as it happens.
class BulkCallback final : public Tessara::Keepsafe::Rbac::BulkObjectRegistrationCallback {
public:
    using Objects = std::vector<Tessara::Keepsafe::Rbac::ObjectNamespace>;
    using Tell = std::function<void(const std::string& message)>;

    /// `onDone` is called after each object's work.
    BulkCallback(const Work& work, Objects objects, Tell tell, std::function<void()> onDone)
        : work_(work), objects_(std::move(objects)), tell_(std::move(tell)), onDone_(std::move(onDone))
    {
    }

    int invoke(std::set<Tessara::Keepsafe::Rbac::ObjectNamespace>& successful) override
    {
        for (std::size_t i = 0; i < objects_.size(); ++i) {
            if (!work_.interruption().empty()) {
                failures_ += objects_.size() - i;
                tell_(work_.interruption() + ": " + objects_[i].str() + " and all that follow are left out");
                break;
            }
            const std::string failure = work_.doFor(objects_[i]);
            if (failure.empty()) {
                successful.insert(objects_[i]);
            } else {
                ++failures_;
                tell_(objects_[i].str() + ": " + failure);
            }
            onDone_();
        }
        return 0;
    }
    void notifyFailure(int /*status*/) override {} // the operation returns it

    /// How many objects failed, for a message; nothing if none did.
    [[nodiscard]] std::string failure() const
    {
        return failures_ == 0
                   ? ""
                   : std::to_string(failures_) + " of " + std::to_string(objects_.size()) + " objects failed";
    }

private:
    const Work& work_;
    Objects objects_;
    Tell tell_;
    std::function<void()> onDone_;
    std::size_t failures_ = 0;
};

} // namespace ksrbac

#endif
