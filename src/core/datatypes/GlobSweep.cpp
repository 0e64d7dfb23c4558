#include "datatypes/GlobSweep.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <utility>

// All steps that some way of reading the text so far leads to are followed at once, as bits of a
// set: one sweep over the set for each character. As steps lead forward, a step that is reached
// without taking a character lies further on in the same sweep, and no step is visited twice.

namespace kova {

namespace {

using Word = std::uint64_t;

constexpr std::size_t BITS = 64;

/// The sets of active steps while one text is read: `now_` is swept and left empty, `next_` filled.
/// Each has room for so many words, of which it uses those that the program needs.
template <std::size_t WORDS>
class Run {
public:
    Run(const std::vector<GlobStep>& steps, const std::vector<CharacterSet>& sets)
        : steps_(steps), sets_(sets) {
        const std::size_t words = (steps.size() + BITS - 1) / BITS;
        assert(words <= WORDS);
        next_ = now_ + words;
        std::fill(now_, next_ + words, Word{0});
        add(now_, 0);
    }

    bool takes(std::string_view text) {
        for (const char c : text) {
            if (!take(static_cast<unsigned char>(c))) {
                return false;
            }
        }
        return accepts();
    }

private:
    /// Takes the character `c`; false when no step is left that could go on.
    bool take(unsigned char c) {
        sweep([this, c](std::size_t index, const GlobStep& step) { takeBy(index, step, c); });
        std::swap(now_, next_);
        while (first_ < end_ && now_[first_] == 0) {
            ++first_;
        }
        return first_ < end_;
    }

    /// Whether what was taken fits as it is.
    bool accepts() {
        bool accepted = false;
        sweep([&accepted](std::size_t, const GlobStep& step) {
            accepted = accepted || step.kind == GlobStep::Kind::Accept;
        });
        return accepted;
    }

    void add(Word* set, std::size_t index) {
        const std::size_t word = index / BITS;
        set[word] |= Word{1} << index % BITS;
        end_ = std::max(end_, word + 1);
    }

    /// Visits all active steps in order, with those that they lead to without a character.
    template <typename Visit>
    void sweep(Visit visit) {
        for (std::size_t word = first_; word < end_; ++word) {
            while (now_[word] != 0) {
                const auto bit = static_cast<std::size_t>(__builtin_ctzll(now_[word]));
                now_[word] &= now_[word] - 1;
                const std::size_t index = word * BITS + bit;
                const GlobStep& step = steps_[index];
                if (step.kind == GlobStep::Kind::Fork || step.kind == GlobStep::Kind::Repeat) {
                    add(now_, index + 1);
                }
                if (step.kind == GlobStep::Kind::Fork || step.kind == GlobStep::Kind::Jump) {
                    add(now_, step.operand);
                }
                visit(index, step);
            }
        }
    }

    void takeBy(std::size_t index, const GlobStep& step, unsigned char c) {
        switch (step.kind) {
            case GlobStep::Kind::Literal:
                if (step.literal == c) {
                    add(next_, index + 1);
                }
                break;
            case GlobStep::Kind::Set:
                if (sets_[step.operand][c]) {
                    add(next_, index + 1);
                }
                break;
            case GlobStep::Kind::Repeat:
                if (sets_[step.operand][c]) {
                    add(next_, index);
                }
                break;
            case GlobStep::Kind::Fork:
            case GlobStep::Kind::Jump:
            case GlobStep::Kind::Accept:
                break;
        }
    }

    const std::vector<GlobStep>& steps_;
    const std::vector<CharacterSet>& sets_;
    /// The words that may hold active steps: steps lead forward, so that none will be active in
    /// front of `first_`, and none was behind `end_`.
    std::size_t first_ = 0;
    std::size_t end_ = 0;
    std::array<Word, 2 * WORDS> words_;
    Word* now_ = words_.data();
    Word* next_;
};

/// In a function of its own, so that it takes stack only where the sets are that large.
template <std::size_t STEPS>
[[gnu::noinline]] bool run(const std::vector<GlobStep>& steps,
                           const std::vector<CharacterSet>& sets, std::string_view text) {
    return Run<STEPS / BITS>(steps, sets).takes(text);
}

}  // namespace

bool GlobSweep::takes(const std::vector<GlobStep>& steps, const std::vector<CharacterSet>& sets,
                      std::string_view text) noexcept {
    constexpr std::size_t FEW = 256;
    return steps.size() <= FEW ? run<FEW>(steps, sets, text) : run<MAX_STEPS>(steps, sets, text);
}

}  // namespace kova
