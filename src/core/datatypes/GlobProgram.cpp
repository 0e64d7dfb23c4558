#include "datatypes/GlobProgram.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <memory>
#include <utility>

// All steps that some way of reading the text so far leads to are followed at once, as bits of a
// set: one sweep over the set for each character. As steps lead forward, a step that is reached
// without taking a character lies further on in the same sweep, and no step is visited twice.

namespace kova {

namespace {

using Word = std::uint64_t;

constexpr std::size_t BITS = 64;
// Programs of up to 256 steps run without allocating.
constexpr std::size_t INLINE_WORDS = 4;

}  // namespace

/// The sets of active steps while one text is read: `now_` is swept and left empty, `next_` filled.
class GlobProgram::Run {
public:
    explicit Run(const GlobProgram& program) : program_(program) {
        const std::size_t words = (program.steps_.size() + BITS - 1) / BITS;
        if (words > INLINE_WORDS) {
            large_ = std::make_unique<Word[]>(2 * words);
        }
        now_ = large_ ? large_.get() : inline_.data();
        next_ = now_ + words;
        add(now_, 0);
    }

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

private:
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
                const GlobStep& step = program_.steps_[index];
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
                if (program_.sets_[step.operand][c]) {
                    add(next_, index + 1);
                }
                break;
            case GlobStep::Kind::Repeat:
                if (program_.sets_[step.operand][c]) {
                    add(next_, index);
                }
                break;
            case GlobStep::Kind::Fork:
            case GlobStep::Kind::Jump:
            case GlobStep::Kind::Accept:
                break;
        }
    }

    const GlobProgram& program_;
    /// The words that may hold active steps: steps lead forward, so that none will be active in
    /// front of `first_`, and none was behind `end_`.
    std::size_t first_ = 0;
    std::size_t end_ = 0;
    std::array<Word, 2 * INLINE_WORDS> inline_{};
    std::unique_ptr<Word[]> large_;
    Word* now_;
    Word* next_;
};

GlobProgram::GlobProgram(std::vector<GlobStep> steps, std::vector<CharacterSet> sets)
    : steps_(std::move(steps)), sets_(std::move(sets)) {
    assert(!steps_.empty() && steps_.back().kind == GlobStep::Kind::Accept);
}

bool GlobProgram::matches(std::string_view text) const {
    Run run(*this);
    for (const char c : text) {
        if (!run.take(static_cast<unsigned char>(c))) {
            return false;
        }
    }
    return run.accepts();
}

}  // namespace kova
