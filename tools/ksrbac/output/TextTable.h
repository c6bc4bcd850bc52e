#ifndef KSRBAC_OUTPUT_TEXTTABLE_H
#define KSRBAC_OUTPUT_TEXTTABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace ksrbac {

/// Lines up columns for people: two spaces between them, nothing after the last. Of a cell only what is
/// printable reaches the terminal (output/escape.h).
class TextTable {
public:
    enum class Align { Left, Right };

    /// `leastWidths` are those of the first columns.
    explicit TextTable(std::vector<Align> columns, std::vector<std::size_t> leastWidths = {});

    /// A row may be shorter than the table is wide; cells past the last column make new columns, set left.
    void addRow(std::vector<std::string> cells);
    [[nodiscard]] std::string text() const;
    /// Of all columns, without what is between them.
    [[nodiscard]] std::vector<std::size_t> widths() const;

private:
    std::vector<Align> columns_;
    std::vector<std::size_t> leastWidths_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace ksrbac

#endif
