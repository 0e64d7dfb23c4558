#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "datatypes/GlobStep.h"
#include "datatypes/View.h"

namespace kova::detail {

/// A Glushkov automaton (position automaton) of a short program, simulated with one bit of a word
/// for each position (V. M. Glushkov, "The abstract theory of automata", Russian Mathematical
/// Surveys 16, 1961). A position is a step that consumes a character.
///
/// Matching needs no preparation and allocates nothing. A character that does not change the state
/// costs two loads; this is the case for most characters that a star matches. Any other character
/// costs one more load for each position that is reached. Immutable, so any thread may match with
/// it.
class GlobAutomaton {
public:
    /// Maximum number of steps that consume a character.
    static constexpr std::size_t MAX_POSITIONS = 63;
    /// Maximum number of steps of all kinds.
    static constexpr std::size_t MAX_STEPS = 255;

    /// Builds the automaton for the steps [first, last). No step outside the range may jump into
    /// the range; a jump to `last` ends the match. If the range is too large, `complete` returns
    /// false.
    GlobAutomaton(View<GlobStep> steps, std::size_t first, std::size_t last,
                  View<CharacterSet> sets);

    /// Returns whether the automaton was built. Call `matches` only if it was.
    bool complete() const noexcept { return !words_.empty(); }

    /// Returns whether the steps match the whole of `text`.
    bool matches(std::string_view text) const noexcept;

private:
    using Word = std::uint64_t;
    class Builder;

    char const* skip(char const* at, char const* end, Word next, Word reached) const noexcept;

    /// The class of each byte. Bytes that no position distinguishes share a class.
    std::array<std::uint8_t, 256> classes_;
    /// The follow set of each position, followed by the mask of each class. A mask contains the
    /// positions that consume the bytes of the class.
    std::vector<Word> words_;
    std::size_t masks_ = 0;  ///< index of the first mask
    Word start_ = 0;         ///< positions that may consume the first character
};

}  // namespace kova::detail
