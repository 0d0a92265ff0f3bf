// A table of texts, of which each column is as wide as its widest cell.
#pragma once

#include <string>
#include <vector>

namespace IntfAddr {

class TextTable {
public:
    using Line = std::vector<std::string>;

    // As many cells in each line as in the header.
    explicit TextTable(Line header) : header_(std::move(header)) {}

    void add(Line line) { lines_.push_back(std::move(line)); }

    // Two blanks between columns, none at the ends of lines. Cells are made fit for a terminal. A
    // last column that has no text is left out. Empty where no line has been added.
    std::string text() const;

private:
    Line const header_;
    std::vector<Line> lines_;
};

}  // namespace IntfAddr
