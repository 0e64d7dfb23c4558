#include "datatypes/GlobAutomaton.h"

#include <algorithm>
#include <cstring>

// `reached` is the set of positions that consumed the latest character. `next` is the set of
// positions that may consume the next character: the union of the follow sets of `reached`. One
// character is consumed by
//
//     reached = next & mask of the character
//
// `next` is computed again only when `reached` changes. The end of the program counts as a position
// that consumes no character. The text matches if the end is in `next` after the last character.
//
// All transitions lead to later steps, so one pass from the end of the program to its beginning
// computes all follow sets. The masks are stored for classes of bytes. Each byte that the glob
// names has a class of its own; all other bytes share one class.

namespace kova::detail {

namespace {

constexpr std::size_t CLASSES = 256;
constexpr std::uint8_t OTHERS = 0;
constexpr std::size_t BLOCK = 8;

std::size_t lowestBit(std::uint64_t bits) {
    return static_cast<std::size_t>(__builtin_ctzll(bits));
}

/// Calls `visit` with each byte of the set if `in` is true, or with each byte that is not in the
/// set if `in` is false.
template <typename Visit>
void forEach(const CharacterSet& set, bool in, Visit visit) {
    std::array<std::uint64_t, 4> words;
    static_assert(sizeof words == sizeof set,
                  "one bit for each byte, in order; GlobAutomatonTest tests the order");
    std::memcpy(words.data(), &set, sizeof words);
    for (std::size_t i = 0; i < words.size(); ++i) {
        for (std::uint64_t bits = in ? words[i] : ~words[i]; bits != 0; bits &= bits - 1) {
            visit(static_cast<std::uint8_t>(i * 64 + lowestBit(bits)));
        }
    }
}

}  // namespace

/// Builds the words of an automaton in arrays on the stack.
class GlobAutomaton::Builder {
public:
    explicit Builder(std::array<std::uint8_t, CLASSES>& classOf) : classOf_(classOf) {
        classOf_.fill(OTHERS);
        masks_[OTHERS] = 0;
    }

    /// Adds the steps [first, last), from the last one to the first one. Returns false if there are
    /// too many steps.
    bool addAll(GlobStep const* steps, std::size_t first, std::size_t last,
                View<CharacterSet> sets) {
        const std::size_t count = last - first;
        if (count > MAX_STEPS) {
            return false;
        }
        addPosition(0);
        reach_[count] = END;
        for (std::size_t i = count; i > 0; --i) {
            if (positions_ > MAX_POSITIONS) {
                return false;
            }
            reach_[i - 1] = add(steps[first + i - 1], i, first, sets);
        }
        return true;
    }

    Word start() const { return reach_[0]; }
    std::size_t positions() const { return positions_; }

    std::vector<Word> words() const {
        std::vector<Word> words(positions_ + classes_);
        std::copy_n(masks_.data(), classes_, std::copy_n(follow_.data(), positions_, words.data()));
        return words;
    }

    /// The bit of the position that stands for the end of the program.
    static constexpr Word END = 1;

private:
    /// Adds the step before the step `next`; both indexes are relative to the step `first`. Returns
    /// the positions that may consume the next character when the program is at the added step.
    Word add(const GlobStep& step, std::size_t next, std::size_t first, View<CharacterSet> sets) {
        switch (step.kind) {
            case GlobStep::Kind::Literal: {
                const Word bit = addPosition(reach_[next]);
                masks_[ownClass(step.literal)] |= bit;
                return bit;
            }
            case GlobStep::Kind::Set: {
                const Word bit = addPosition(reach_[next]);
                addToMasks(sets[step.operand], bit);
                return bit;
            }
            case GlobStep::Kind::Repeat: {
                const Word bit = Word{1} << positions_;
                addToMasks(sets[step.operand], addPosition(reach_[next] | bit));
                return reach_[next] | bit;
            }
            case GlobStep::Kind::Fork:
                return reach_[next] | reach_[step.operand - first];
            case GlobStep::Kind::Jump:
                return reach_[step.operand - first];
            case GlobStep::Kind::Accept:
                break;
        }
        return END;
    }

    /// Adds a position with its follow set. Returns the bit of the position.
    Word addPosition(Word follow) {
        follow_[positions_] = follow;
        return Word{1} << positions_++;
    }

    /// Returns the class that contains only this byte. Creates the class if necessary. If 255 of
    /// the 256 bytes have a class of their own, OTHERS is the class of the remaining byte.
    std::uint8_t ownClass(std::uint8_t byte) {
        if (classOf_[byte] == OTHERS && classes_ < CLASSES) {
            masks_[classes_] = masks_[OTHERS];
            classOf_[byte] = static_cast<std::uint8_t>(classes_++);
        }
        return classOf_[byte];
    }

    /// Adds the position `bit` to the masks of the bytes of the set. A set with the byte 255 most
    /// likely contains nearly all bytes. For such a set, the function visits only the bytes that
    /// are not in the set.
    void addToMasks(const CharacterSet& set, Word bit) {
        if (!set[set.size() - 1]) {
            return forEach(set, true, [&](std::uint8_t byte) { masks_[ownClass(byte)] |= bit; });
        }
        for (std::size_t i = 0; i < classes_; ++i) {
            masks_[i] |= bit;
        }
        forEach(set, false, [&](std::uint8_t byte) { masks_[ownClass(byte)] &= ~bit; });
    }

    std::array<std::uint8_t, CLASSES>& classOf_;
    std::size_t positions_ = 0;
    std::size_t classes_ = 1;
    /// The positions that may consume the next character, for each step and for the end.
    std::array<Word, MAX_STEPS + 1> reach_;
    std::array<Word, MAX_POSITIONS + 1> follow_;
    std::array<Word, CLASSES> masks_;
};

GlobAutomaton::GlobAutomaton(View<GlobStep> steps, std::size_t first, std::size_t last,
                             View<CharacterSet> sets) {
    Builder builder(classes_);
    if (builder.addAll(steps.data(), first, last, sets)) {
        words_ = builder.words();
        masks_ = builder.positions();
        start_ = builder.start();
    }
}

// Skips whole 8-byte blocks after `at` that leave the state set unchanged. Returns the last skipped
// character. Branch-free; halves the time on long inputs.
char const* GlobAutomaton::skip(char const* at, char const* end, Word next,
                                Word reached) const noexcept {
    Word const* const masks = words_.data() + masks_;
    while (static_cast<std::size_t>(end - at) > BLOCK) {
        Word each = next;
        Word any = 0;
        for (std::size_t i = 1; i <= BLOCK; ++i) {
            const Word mask = masks[classes_[static_cast<unsigned char>(at[i])]];
            each &= mask;
            any |= mask;
        }
        if (each != reached || (next & any) != reached) {
            break;
        }
        at += BLOCK;
    }
    return at;
}

bool GlobAutomaton::matches(std::string_view text) const noexcept {
    Word const* const follow = words_.data();
    Word const* const masks = follow + masks_;
    // An initial value that `reached` never has, because the end consumes no character.
    Word before = Builder::END;
    Word next = start_;
    std::size_t same = 0;  // number of characters in a row that did not change `reached`
    char const* const end = text.data() + text.size();
    for (char const* at = text.data(); at != end; ++at) {
        const Word reached = next & masks[classes_[static_cast<unsigned char>(*at)]];
        if (reached == before) {
            if (++same == BLOCK) {
                at = skip(at, end, next, reached);
                same = 0;
            }
            continue;
        }
        if (reached == 0) {
            return false;
        }
        same = 0;
        before = reached;
        next = 0;
        for (Word left = reached; left != 0; left &= left - 1) {
            next |= follow[lowestBit(left)];
        }
    }
    return (next & Builder::END) != 0;
}

}  // namespace kova::detail
