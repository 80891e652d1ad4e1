#include "TextTable.h"

#include <algorithm>

namespace Replay {

void TextTable::addColumn(std::string heading, Align align) {
    mHeadings.push_back(std::move(heading));
    mAligns.push_back(align);
}

void TextTable::print(std::ostream& out) const {
    std::vector<size_t> widths(mHeadings.size());
    auto const widen = [&](std::vector<std::string> const& row) {
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    };
    auto const write = [&](std::vector<std::string> const& row, bool isHeading) {
        std::string line;
        for (size_t column = 0; column < row.size(); ++column) {
            std::string const fill(widths[column] - row[column].size(), ' ');
            bool const isLeft = isHeading || mAligns[column] == Align::Left;
            line += (column == 0 ? "" : "  ") + (isLeft ? row[column] + fill : fill + row[column]);
        }
        out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
    };
    widen(mHeadings);
    std::for_each(mRows.begin(), mRows.end(), widen);
    write(mHeadings, true);
    for (auto const& row : mRows) {
        write(row, false);
    }
}

}  // namespace Replay
