#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Context.h"

namespace kova::tool {

/// Returns rows of texts as lines. Each column but the last is as wide as its longest text; the
/// last one is cut at the edge of the screen. If the other columns leave less than a third of the
/// screen to the last one, they are cut, too.
///
///     table({{"/level", "30"}, {"/tracks/1", "\"blue\""}}, 80);
///     // "/level     30"
///     // "/tracks/1  \"blue\""
std::vector<std::string> table(const std::vector<std::vector<std::string>>& rows, unsigned columns);

/// Prints the rows of a table to a screen.
void printTable(const Screen& screen, const std::vector<std::vector<std::string>>& rows);

/// Lines at the bottom of a terminal that are replaced in place. Nothing else may be written to the
/// terminal meanwhile.
class LiveLines {
public:
    /// Creates no lines. The screen must outlive the object.
    explicit LiveLines(const Screen& screen) : screen_(screen) {}

    /// Replaces the lines of the former call. Shows as many lines as the screen has, except one.
    /// No line may be longer than the columns of the screen.
    void show(const std::vector<std::string>& lines);

private:
    const Screen& screen_;
    std::size_t shown_ = 0;
};

}  // namespace kova::tool
