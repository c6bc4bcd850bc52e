#ifndef KSRBAC_OUTPUT_LISTING_H
#define KSRBAC_OUTPUT_LISTING_H

#include <string>
#include <vector>

#include "io/Console.h"
#include "output/Json.h"
#include "output/TextTable.h"

namespace ksrbac {

/// How records of one kind are printed: as a table for people, as JSON objects, one per line, for programs.
template <typename Record>
struct Listing {
    struct Column {
        const char* heading;
        TextTable::Align align;
        std::string (*cell)(const Record& record);
    };

    std::vector<Column> columns;
    JsonObject (*json)(const Record& record);

    template <typename Records>
    void print(const Records& records, bool asJson, Console& console) const
    {
        if (!asJson) {
            console.print(table(records));
            return;
        }
        for (const Record& record : records) {
            console.print(json(record).text() + '\n');
        }
    }

private:
    template <typename Records>
    [[nodiscard]] std::string table(const Records& records) const
    {
        std::vector<TextTable::Align> aligns;
        std::vector<std::string> headings;
        for (const Column& column : columns) {
            aligns.push_back(column.align);
            headings.emplace_back(column.heading);
        }
        TextTable table(aligns);
        table.addRow(headings);
        for (const Record& record : records) {
            std::vector<std::string> cells;
            for (const Column& column : columns) {
                cells.push_back(column.cell(record));
            }
            table.addRow(cells);
        }
        return table.text();
    }
};

} // namespace ksrbac

#endif
