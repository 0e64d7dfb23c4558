#include "resources/Hints.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace kova::kit::detail {

namespace {

constexpr std::size_t LONGEST = 64;

// Returns the Levenshtein distance. Uses the algorithm of Wagner and Fischer, and stores only one
// row of its table.
std::size_t distance(std::string_view left, std::string_view right) noexcept {
    std::array<std::size_t, LONGEST + 1> row{};
    for (std::size_t i = 0; i <= right.size(); ++i) {
        row[i] = i;
    }
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t k = 0; k < right.size(); ++k) {
            const std::size_t replaced = diagonal + (left[i] == right[k] ? 0 : 1);
            diagonal = row[k + 1];
            row[k + 1] = std::min({replaced, row[k] + 1, row[k + 1] + 1});
        }
    }
    return row[right.size()];
}

}  // namespace

std::string_view mostSimilar(std::string_view text,
                             const std::vector<std::string_view>& candidates) {
    std::string_view best;
    std::size_t least = text.size() / 3 + 2;
    for (const std::string_view candidate : candidates) {
        if (text.size() <= LONGEST && candidate.size() <= LONGEST) {
            const std::size_t cost = distance(text, candidate);
            if (cost < least && cost < candidate.size()) {
                least = cost;
                best = candidate;
            }
        }
    }
    return best;
}

std::string enumerate(const std::vector<std::string_view>& texts) {
    std::string result;
    for (auto text = texts.begin(); text != texts.end(); ++text) {
        if (std::find(texts.begin(), text, *text) == text) {
            result += (result.empty() ? "" : ", ");
            result += *text;
        }
    }
    return result;
}

}  // namespace kova::kit::detail
