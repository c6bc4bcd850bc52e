#ifndef KSRBAC_REGISTRATION_JSONPLACE_H
#define KSRBAC_REGISTRATION_JSONPLACE_H

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include <jansson.h>

namespace ksrbac {

/// A value in a JSON document with the way to it, as in `objects.json: [3].grants[0].role`. Borrows the
/// value. What is not as wanted throws `InputError` that names the place.
class JsonPlace {
public:
    /// The document itself; `name` is that of its file.
    JsonPlace(std::string name, const json_t* document) : name_(std::move(name)), value_(document) {}

    [[noreturn]] void refuse(const std::string& what) const;

    /// Refuses what is no object, and members that are not among these.
    void expectObject(std::initializer_list<const char*> members) const;
    [[nodiscard]] JsonPlace member(const char* key) const;
    [[nodiscard]] std::optional<JsonPlace> optionalMember(const char* key) const;
    [[nodiscard]] std::vector<JsonPlace> elements() const;
    [[nodiscard]] std::string text() const;
    [[nodiscard]] bool boolean() const;
    /// A number from 0 to the greatest `int`.
    [[nodiscard]] int roleId() const;

    /// The way to the value from the beginning of the document.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// File and way, for messages.
    [[nodiscard]] std::string where() const;

private:
    JsonPlace(const JsonPlace& above, const std::string& step, const json_t* value)
        : name_(above.name_), path_(above.path_ + step), value_(value)
    {
    }

    std::string name_;
    std::string path_;
    const json_t* value_;
};

} // namespace ksrbac

#endif
