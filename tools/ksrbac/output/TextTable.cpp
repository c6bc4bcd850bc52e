#include "output/TextTable.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "output/escape.h"
#include "output/text_width.h"

namespace ksrbac {

namespace {

constexpr std::size_t GAP = 2;

} // namespace

TextTable::TextTable(std::vector<Align> columns, std::vector<std::size_t> leastWidths)
    : columns_(std::move(columns)), leastWidths_(std::move(leastWidths))
{
    leastWidths_.resize(columns_.size(), 0);
}

void TextTable::addRow(std::vector<std::string> cells)
{
    columns_.resize(std::max(columns_.size(), cells.size()), Align::Left);
    for (std::string& cell : cells) {
        cell = printable(cell);
    }
    rows_.push_back(std::move(cells));
}

std::vector<std::size_t> TextTable::widths() const
{
    std::vector<std::size_t> widths = leastWidths_;
    widths.resize(columns_.size(), 0);
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], columnsOf(row[i]));
        }
    }
    return widths;
}

std::string TextTable::text() const
{
    const std::vector<std::size_t> widths = this->widths();
    std::string out;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - columnsOf(row[i]), ' ');
            line += columns_[i] == Align::Left ? row[i] + padding : padding + row[i];
            line.append(GAP, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + '\n';
    }
    return out;
}

} // namespace ksrbac
