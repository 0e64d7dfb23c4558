#include "datatypes/GlobAutomaton.h"

#include <algorithm>
#include <cstring>

// The position automaton of the program. While a text is read, `reached` are the positions whose
// character was the last one, and `next` those that may take the next one: the union of what may
// follow each of the former. So a character is taken by
//
//     reached = next & mask of the character
//
// and `next` is made again only where `reached` is not what it was before. The end of the program
// counts as a position that takes no character: the text fits if it is in `next` at the end.
//
// What may follow a position is found in one sweep over the program, from its end to its beginning,
// as all steps lead forward. The masks are kept for classes of bytes, because there are few of
// them: one for each byte that the glob names, and one for all others.

namespace kova {

namespace {

constexpr std::size_t CLASSES = 256;
constexpr std::uint8_t OTHERS = 0;
constexpr std::size_t BLOCK = 8;

std::size_t lowest(std::uint64_t bits) {
    return static_cast<std::size_t>(__builtin_ctzll(bits));
}

/// Calls `visit` with each byte that is in the set, or with each that is not.
template <typename Visit>
void forEach(const CharacterSet& set, bool in, Visit visit) {
    std::array<std::uint64_t, 4> words;
    static_assert(sizeof words == sizeof set,
                  "a bit for each byte, in order, as GlobAutomatonTest proves");
    std::memcpy(words.data(), &set, sizeof words);
    for (std::size_t i = 0; i < words.size(); ++i) {
        for (std::uint64_t bits = in ? words[i] : ~words[i]; bits != 0; bits &= bits - 1) {
            visit(static_cast<std::uint8_t>(i * 64 + lowest(bits)));
        }
    }
}

}  // namespace

/// Collects the words of an automaton. Lives on the stack.
class GlobAutomaton::Builder {
public:
    explicit Builder(std::array<std::uint8_t, CLASSES>& classOf) : classOf_(classOf) {
        classOf_.fill(OTHERS);
        masks_[OTHERS] = 0;
    }

    /// Adds the steps, the last one first; false where they are too many.
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

    /// The bit of the end.
    static constexpr Word END = 1;

private:
    /// Adds the step in front of the step `next` (of those that are added); gives the positions
    /// that may take a character there.
    Word add(const GlobStep& step, std::size_t next, std::size_t first, View<CharacterSet> sets) {
        switch (step.kind) {
            case GlobStep::Kind::Literal: {
                const Word bit = addPosition(reach_[next]);
                masks_[own(step.literal)] |= bit;
                return bit;
            }
            case GlobStep::Kind::Set: {
                const Word bit = addPosition(reach_[next]);
                take(sets[step.operand], bit);
                return bit;
            }
            case GlobStep::Kind::Repeat: {
                const Word bit = Word{1} << positions_;
                take(sets[step.operand], addPosition(reach_[next] | bit));
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

    /// Adds a position with those that may follow it; gives its bit.
    Word addPosition(Word follow) {
        follow_[positions_] = follow;
        return Word{1} << positions_++;
    }

    /// The class of that byte alone. When all bytes but one have theirs, that one is alone, too.
    std::uint8_t own(std::uint8_t byte) {
        if (classOf_[byte] == OTHERS && classes_ < CLASSES) {
            masks_[classes_] = masks_[OTHERS];
            classOf_[byte] = static_cast<std::uint8_t>(classes_++);
        }
        return classOf_[byte];
    }

    /// Lets the position `bit` take the bytes of the set. A set with the last byte is most likely
    /// one of all but a few.
    void take(const CharacterSet& set, Word bit) {
        if (!set[set.size() - 1]) {
            return forEach(set, true, [&](std::uint8_t byte) { masks_[own(byte)] |= bit; });
        }
        for (std::size_t i = 0; i < classes_; ++i) {
            masks_[i] |= bit;
        }
        forEach(set, false, [&](std::uint8_t byte) { masks_[own(byte)] &= ~bit; });
    }

    std::array<std::uint8_t, CLASSES>& classOf_;
    std::size_t positions_ = 0;
    std::size_t classes_ = 1;
    /// For each step, and for the end, the positions that may take the next character there.
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

// The last character of the whole blocks behind `at` of which each reaches just the same positions.
// Without a branch for each character that takes half the time on a long text.
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

bool GlobAutomaton::takes(std::string_view text) const noexcept {
    Word const* const follow = words_.data();
    Word const* const masks = follow + masks_;
    // No character reaches the end, so this is nothing that `reached` may be.
    Word before = Builder::END;
    Word next = start_;
    std::size_t same = 0;  // how many characters in a row have changed nothing
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
            next |= follow[lowest(left)];
        }
    }
    return (next & Builder::END) != 0;
}

}  // namespace kova
