#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "datatypes/GlobStep.h"
#include "datatypes/View.h"

namespace kova {

/// A short program made ready to run fast: a position for each step that takes a character, and a
/// bit of a word for each position.
///
/// Nothing is set up for a text, and nothing allocated. A character costs two loads where it leaves
/// the positions as they are, as most do along a star, and otherwise one more for each position
/// that is reached. Immutable, so any thread may run it.
class GlobAutomaton {
public:
    /// Steps that take a character there may be.
    static constexpr std::size_t MAX_POSITIONS = 63;
    /// Steps there may be in all.
    static constexpr std::size_t MAX_STEPS = 255;

    /// Of the steps from `first` to in front of `last`, where they end and to which none leads that
    /// is not among them. Where they are too many it is not `complete`.
    GlobAutomaton(View<GlobStep> steps, std::size_t first, std::size_t last,
                  View<CharacterSet> sets);

    /// Whether it stands for all of the steps and may run.
    bool complete() const noexcept { return !words_.empty(); }

    /// Whether the steps take the whole of `text`.
    bool takes(std::string_view text) const noexcept;

private:
    using Word = std::uint64_t;
    class Builder;

    char const* skip(char const* at, char const* end, Word next, Word reached) const noexcept;

    /// Bytes that no position tells apart share a class.
    std::array<std::uint8_t, 256> classes_;
    /// For each position those that may follow it, then for each class those that take it.
    std::vector<Word> words_;
    std::size_t masks_ = 0;  ///< where the latter begin
    Word start_ = 0;         ///< the positions that may be the first
};

}  // namespace kova
