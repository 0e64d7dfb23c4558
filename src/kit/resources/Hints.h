#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kova::kit::detail {

/// Returns the candidate that is most similar to a text, by the Levenshtein distance; "" if no
/// candidate is similar. Texts of more than 64 bytes are never similar.
std::string_view mostSimilar(std::string_view text,
                             const std::vector<std::string_view>& candidates);

/// Returns the texts in their order, without repetitions, separated by ", ".
std::string enumerate(const std::vector<std::string_view>& texts);

}  // namespace kova::kit::detail
