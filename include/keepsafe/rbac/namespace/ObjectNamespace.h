#ifndef KEEPSAFE_RBAC_NAMESPACE_OBJECTNAMESPACE_H
#define KEEPSAFE_RBAC_NAMESPACE_OBJECTNAMESPACE_H

#include <iosfwd>
#include <list>
#include <string>

#include <boost/optional.hpp>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Rbac {

/// The hierarchical name of an object or an operation: a list of components, the most general first. A
/// component is any string of bytes, the empty one included. The namespace without components is the root.
///
/// Text form: a bar, then each component escaped and followed by a bar: `|` is the root,
/// `|KEEPSAFE|PROTECTION|` has two components. The text form is exact to the byte and is the key under which
/// access caches store a name.
///
/// Text becomes a namespace through `operator>>`, usually as `boost::lexical_cast<ObjectNamespace>(text)`,
/// which throws `boost::bad_lexical_cast` for a malformed text. `parseNamespace` (parse_namespace.h) also
/// says what is wrong with it.
///
/// Threads: a value without a lock. `str()`, `toLogStr()`, `operator<<` and `namespaceToString` compute the
/// text form of a const object on first use and store it, so two threads must not make that first use of one
/// object at the same time: call `str()` once before sharing it. Distinct objects are independent.
///
/// Every operation may throw `std::bad_alloc`.
class KEEPSAFE_API ObjectNamespace {
public:
    /// The root.
    ObjectNamespace() = default;
    /// One to six components, stored as given: nothing is decoded or checked.
    explicit ObjectNamespace(const std::string& first);
    ObjectNamespace(const std::string& first, const std::string& second);
    ObjectNamespace(const std::string& first, const std::string& second, const std::string& third);
    ObjectNamespace(const std::string& first, const std::string& second, const std::string& third,
                    const std::string& fourth);
    ObjectNamespace(const std::string& first, const std::string& second, const std::string& third,
                    const std::string& fourth, const std::string& fifth);
    ObjectNamespace(const std::string& first, const std::string& second, const std::string& third,
                    const std::string& fourth, const std::string& fifth, const std::string& sixth);

    /// This namespace with one more component.
    ObjectNamespace operator|(const std::string& component) const;
    /// This namespace followed by all components of `other`.
    ObjectNamespace operator|(ObjectNamespace other) const;

    /// This namespace without its last component; nothing for the root.
    [[nodiscard]] boost::optional<ObjectNamespace> parentNamespace() const;

    [[nodiscard]] bool is_root() const noexcept { return components_.empty(); }

    /// Whether this namespace's components are a prefix of `other`'s. Every namespace is an ancestor of
    /// itself, and the root is an ancestor of every namespace.
    [[nodiscard]] bool is_ancestor_of(const ObjectNamespace& other) const noexcept;

    /// The text form. Valid until the object changes or is destroyed.
    const std::string& str() const;

    /// As `str()`, for log lines: a failure that would throw `EC_exception` yields "[conversion failed]".
    [[nodiscard]] const std::string& toLogStr() const;

    /// One component escaped as in the text form: letters, digits and `-*_.` stay, a space becomes `+`, every
    /// other byte becomes `%` and two upper-case hex digits (the form encoding of HTML, not the unreserved
    /// set of RFC 3986).
    static std::string encode_component(const std::string& component);

    KEEPSAFE_API friend bool operator==(const ObjectNamespace& left, const ObjectNamespace& right) noexcept;
    /// Orders component by component, bytes as unsigned values; a prefix comes before what it is a prefix of.
    KEEPSAFE_API friend bool operator<(const ObjectNamespace& left, const ObjectNamespace& right) noexcept;
    /// Reads to the end of the stream, which must hold one text form and nothing after it; then the stream's
    /// state is good. Anything else sets failbit, and the target holds the components read so far.
    KEEPSAFE_API friend std::istream& operator>>(std::istream& stream, ObjectNamespace& target);

private:
    static void parse(std::istream& stream, std::list<std::string>& components);

    std::list<std::string> components_;
    /// INVARIANT: empty (not computed yet) or the text form of `components_`.
    mutable std::string text_;
};

KEEPSAFE_API bool operator==(const ObjectNamespace& left, const ObjectNamespace& right) noexcept;
KEEPSAFE_API bool operator<(const ObjectNamespace& left, const ObjectNamespace& right) noexcept;
KEEPSAFE_API std::istream& operator>>(std::istream& stream, ObjectNamespace& target);

inline bool operator!=(const ObjectNamespace& left, const ObjectNamespace& right) noexcept
{
    return !(left == right);
}

/// Writes the text form. An `EC_exception` sets the stream's failbit.
KEEPSAFE_API std::ostream& operator<<(std::ostream& stream, const ObjectNamespace& value);

/// The text form through the stream operator. Returns 0, or 114 when the conversion failed; `out` is then
/// unchanged.
KEEPSAFE_API int namespaceToString(const ObjectNamespace& value, std::string& out);

} // namespace Tessara::Keepsafe::Rbac

#endif
