#include "intfaddr/ask/TextTable.h"

#include <algorithm>
#include <cstddef>

#include "Zin/Format.h"
#include "intfaddr/ask/Printable.h"

namespace IntfAddr {

namespace {

// In columns of a terminal, as fmt pads it: no character takes more of them than it has bytes.
std::size_t widthOf(std::string const& text) {
    return 2 * text.size() - fmt::format("{:<{}}", text, text.size()).size();
}

}  // namespace

std::string TextTable::text() const {
    if (lines_.empty()) {
        return {};
    }
    std::vector<Line> lines{header_};
    for (Line const& line : lines_) {
        Line& cells = lines.emplace_back();
        for (auto const& cell : line) {
            cells.push_back(printable(cell));
        }
    }
    auto columns = header_.size();
    auto const isEmpty = [&columns](Line const& line) { return line[columns - 1].empty(); };
    while (columns > 1 && std::all_of(lines.begin() + 1, lines.end(), isEmpty)) {
        --columns;
    }
    std::vector<std::size_t> widths(columns);
    for (Line const& line : lines) {
        for (std::size_t column = 0; column < columns; ++column) {
            widths[column] = std::max(widths[column], widthOf(line[column]));
        }
    }
    std::string text;
    for (Line const& line : lines) {
        for (std::size_t column = 0; column < columns; ++column) {
            fmt::format_to(std::back_inserter(text), "{:<{}}", line[column], widths[column] + 2);
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

}  // namespace IntfAddr
