#ifndef KEEPSAFE_SANDBOX_POLICY_ELEMENT_H
#define KEEPSAFE_SANDBOX_POLICY_ELEMENT_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <jansson.h>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace keepsafe_sandbox {

/// A value of a document and its place there. Refers to the document. What is not as it is asked for throws
/// `InputError` with the place.
class Element {
public:
    explicit Element(json_t* root) : value_(root) {}

    /// Refuses what is no object.
    void expectObject() const;
    /// The same, and members other than these.
    void expectObject(std::initializer_list<const char*> memberNames) const;
    /// The member of that name, which has to be there.
    [[nodiscard]] Element member(const char* name) const;
    [[nodiscard]] bool hasMember(const char* name) const;

    [[nodiscard]] bool isNull() const;

    [[nodiscard]] std::vector<Element> items() const;
    /// The members of an object that is used as a map, in the order of the document.
    [[nodiscard]] std::vector<std::pair<std::string, Element>> entries() const;

    [[nodiscard]] std::string text() const;
    [[nodiscard]] bool boolean() const;
    /// An integer from `least` to INT32_MAX.
    [[nodiscard]] std::int32_t integer(std::int32_t least) const;
    /// A text that is a namespace.
    [[nodiscard]] Tessara::Keepsafe::Rbac::ObjectNamespace objectNamespace() const;

    [[nodiscard]] const std::string& place() const noexcept { return place_; }
    [[noreturn]] void fail(const std::string& what) const;

private:
    Element(json_t* value, std::string place) : value_(value), place_(std::move(place)) {}
    void expect(bool isExpected, const char* type) const;

    json_t* value_;
    std::string place_;
};

/// The text as a JSON string, and no longer than a line of a message can bear.
[[nodiscard]] std::string quoted(const std::string& text);

/// The text as a namespace. False when it is none.
[[nodiscard]] bool parseNamespace(const std::string& text, Tessara::Keepsafe::Rbac::ObjectNamespace& ns);

} // namespace keepsafe_sandbox

#endif
