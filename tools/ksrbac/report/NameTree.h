#ifndef KSRBAC_REPORT_NAMETREE_H
#define KSRBAC_REPORT_NAMETREE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ksrbac {

/// Names as a tree whose nodes are numbered from the root downwards, each before what is below it, with a
/// value for each name. A node that is only on the way to others has no value.
class NameTree {
public:
    static constexpr std::uint32_t NO_VALUE = 0;

    /// Adds a text form, which comes after those that were added before, in the order of bytes. Returns the
    /// number of its node; the root is 0.
    std::uint32_t add(std::string_view name, std::uint32_t value);

    /// The last components of the nodes without the root, as they are in text forms, each with its bar.
    [[nodiscard]] const std::string& components() const noexcept { return components_; }
    /// For each node how many levels its parent is above the node before it.
    [[nodiscard]] const std::vector<std::uint32_t>& ascents() const noexcept { return ascents_; }
    [[nodiscard]] const std::vector<std::uint32_t>& values() const noexcept { return values_; }

    /// The names that have a value, in their order. The tree must not change meanwhile.
    class Walk {
    public:
        explicit Walk(const NameTree& tree) noexcept : tree_(tree) {}
        /// False at the end.
        [[nodiscard]] bool next();
        /// The text form.
        [[nodiscard]] const std::string& name() const noexcept { return name_; }
        [[nodiscard]] std::uint32_t value() const { return tree_.values_[node_ - 1]; }

    private:
        void step();

        const NameTree& tree_;
        std::size_t node_ = 0; ///< the next one
        std::size_t component_ = 0;
        std::string name_ = "|";
        std::vector<std::size_t> ends_; ///< of the names on the way to this one
    };

private:
    std::string components_;
    std::vector<std::uint32_t> ascents_{0};
    std::vector<std::uint32_t> values_{NO_VALUE};
    std::string last_ = "|";
    std::vector<std::size_t> ends_{1}; ///< of the names on the way to the last one, in its text form
};

} // namespace ksrbac

#endif
