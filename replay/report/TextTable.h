// A table of plain text.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Replay {

class TextTable {
  public:
    enum class Align { Left, Right };

    /// A column; all of them have to be there before the first row. Headings stand on the left.
    void addColumn(std::string heading, Align align = Align::Left);

    /// A row, a text a column.
    void addRow(std::vector<std::string> row) { mRows.push_back(std::move(row)); }

    bool hasRows() const { return !mRows.empty(); }

    /// The headings and the rows, a line each: columns two blanks apart, no blank at a line's end.
    void print(std::ostream& out) const;

  private:
    std::vector<std::string> mHeadings;
    std::vector<Align> mAligns;
    std::vector<std::vector<std::string>> mRows;
};

}  // namespace Replay
