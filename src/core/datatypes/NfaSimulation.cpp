#include "datatypes/NfaSimulation.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <utility>

// The active steps are the steps at which the program may be after the characters consumed so far.
// A bit set stores the active steps, and is traversed once for each character. Transitions lead to
// later steps. Therefore a step that is reached without consuming a character comes later in the
// same traversal, and no step is visited twice.

namespace kova::detail {

namespace {

using Word = std::uint64_t;

constexpr std::size_t BITS = 64;

/// The state of one match: the set of active steps `now_`, and the set `next_` of the steps that
/// are active after the current character. Each set has a capacity of WORDS words and uses only the
/// words that the program needs.
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

    bool matches(std::string_view text) {
        for (const char c : text) {
            if (!consume(static_cast<unsigned char>(c))) {
                return false;
            }
        }
        return accepts();
    }

private:
    /// Consumes the character `c`. Returns false if no step is active afterwards.
    bool consume(unsigned char c) {
        traverse([this, c](std::size_t index, const GlobStep& step) { advance(index, step, c); });
        std::swap(now_, next_);
        while (first_ < end_ && now_[first_] == 0) {
            ++first_;
        }
        return first_ < end_;
    }

    /// Returns whether the consumed text matches.
    bool accepts() {
        bool accepted = false;
        traverse([&accepted](std::size_t, const GlobStep& step) {
            accepted = accepted || step.kind == GlobStep::Kind::Accept;
        });
        return accepted;
    }

    /// Adds the step `index` to the set.
    void add(Word* set, std::size_t index) {
        const std::size_t word = index / BITS;
        set[word] |= Word{1} << index % BITS;
        end_ = std::max(end_, word + 1);
    }

    /// Visits the active steps in order, and the steps that they reach without consuming a
    /// character. Leaves `now_` empty.
    template <typename Visit>
    void traverse(Visit visit) {
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

    /// Activates the steps that may follow `step` if `step` consumes the character `c`.
    void advance(std::size_t index, const GlobStep& step, unsigned char c) {
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
    /// The words [first_, end_) contain all active steps. Because transitions lead to later steps,
    /// no step before `first_` becomes active again.
    std::size_t first_ = 0;
    std::size_t end_ = 0;
    std::array<Word, 2 * WORDS> words_;
    Word* now_ = words_.data();
    Word* next_;
};

/// Runs a match with sets of STEPS bits. Not inlined, so that only programs that need the larger
/// sets use stack memory for them.
template <std::size_t STEPS>
[[gnu::noinline]] bool run(const std::vector<GlobStep>& steps,
                           const std::vector<CharacterSet>& sets, std::string_view text) {
    return Run<STEPS / BITS>(steps, sets).matches(text);
}

}  // namespace

bool NfaSimulation::matches(const std::vector<GlobStep>& steps,
                            const std::vector<CharacterSet>& sets, std::string_view text) noexcept {
    constexpr std::size_t FEW = 256;
    return steps.size() <= FEW ? run<FEW>(steps, sets, text) : run<MAX_STEPS>(steps, sets, text);
}

}  // namespace kova::detail
