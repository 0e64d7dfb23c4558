#include "Table.h"

#include <algorithm>

#include "Text.h"

namespace kova::tool {

namespace {

using Rows = std::vector<std::vector<std::string>>;

constexpr unsigned GAP = 2;

// Returns the width of each column but the last one.
std::vector<unsigned> widthsOf(const Rows& rows) {
    std::vector<unsigned> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.empty() ? 0 : row.size() - 1));
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            widths[i] = std::max(widths[i], columnsOf(row[i]));
        }
    }
    return widths;
}

// Narrows the widest columns until their sum, with the gaps, is at most `limit`, or all have one
// column.
void narrow(std::vector<unsigned>& widths, unsigned limit) {
    unsigned sum = 0;
    for (unsigned& width : widths) {
        width = std::min(width, limit);
        sum += width + GAP;
    }
    while (sum > limit) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (widest == widths.end() || *widest <= 1) {
            return;
        }
        --*widest;
        --sum;
    }
}

std::string lineOf(const std::vector<std::string>& row, const std::vector<unsigned>& widths,
                   unsigned columns) {
    std::string line;
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
        line += padded(cut(row[i], widths[i]), widths[i] + GAP);
    }
    line += row.empty() ? "" : row.back();
    line = cut(line, columns);
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

std::vector<std::string> table(const Rows& rows, unsigned columns) {
    std::vector<unsigned> widths = widthsOf(rows);
    narrow(widths, columns - columns / 3);
    std::vector<std::string> lines;
    lines.reserve(rows.size());
    for (const auto& row : rows) {
        lines.push_back(lineOf(row, widths, columns));
    }
    return lines;
}

void printTable(const Screen& screen, const Rows& rows) {
    for (const std::string& line : table(rows, screen.size().columns)) {
        screen.stream << line << '\n';
    }
}

void LiveLines::show(const std::vector<std::string>& lines) {
    std::ostream& out = screen_.stream;
    if (shown_ > 0) {
        out << "\x1b[" << shown_ << 'A';
    }
    shown_ = std::min<std::size_t>(lines.size(), std::max(screen_.size().rows, 2U) - 1);
    for (std::size_t i = 0; i < shown_; ++i) {
        out << "\r\x1b[K" << lines[i] << '\n';
    }
    out << "\x1b[J" << std::flush;
}

}  // namespace kova::tool
