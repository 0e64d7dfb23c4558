#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string_view>
#include <vector>

#include "datatypes/GlobProgram.h"

namespace kova::detail {

/// A compiler of the expressions that `GlobTranslator` emits: literal and escaped characters, ".",
/// brackets, "*" after "." and after brackets, groups and "|". It accepts, rejects and interprets
/// them like the standard library's ECMAScript engine. Unlike that engine, it does not recurse: its
/// stack usage does not depend on the expression.
class ExpressionCompiler {
public:
    /// Returns the program of an expression. Throws `std::regex_error`, with the engine's text, if
    /// the expression is not valid. The expression must not end with an unescaped backslash.
    static GlobProgram compile(std::string_view expression);

private:
    static constexpr std::uint32_t NONE = UINT32_MAX;

    /// An open group.
    struct Group {
        /// The fork before the latest alternative. Its operand becomes the next alternative.
        std::uint32_t fork;
        /// The jump at the end of the previous alternative, or `NONE` in the first alternative. Its
        /// operand is set to the end of the group when the group is closed. Until then, the operand
        /// is the index of the jump of the alternative before, so the jumps form a linked list.
        std::uint32_t jump;
    };

    explicit ExpressionCompiler(std::string_view expression);

    void readAll();
    void readOne(char c);
    void openGroup();
    void nextAlternative();
    void closeGroup();
    void endAlternatives();
    void readSet();

    /// Returns the index of the character set that contains all bytes except `characters`. The
    /// first call creates the set and stores its index in `known`, which must be `NONE` before that
    /// call.
    std::uint32_t allBut(std::string_view characters, std::uint32_t& known);

    void emitLiteral(char c);
    void emitSet(std::uint32_t set);
    std::uint32_t emit(GlobStep::Kind kind, std::uint32_t operand);
    std::uint32_t here() const { return static_cast<std::uint32_t>(steps_.size()); }
    /// Skips `text` if the rest of the expression begins with it. Returns whether `text` was
    /// skipped.
    template <std::size_t SIZE>
    bool skip(char const (&text)[SIZE]);
    char consume();

    std::string_view rest_;
    /// Inline arena, large enough for typical globs. Not initialized, because it is written before
    /// it is read.
    std::array<std::byte, 1024> arena_;
    std::pmr::monotonic_buffer_resource memory_{arena_.data(), arena_.size()};
    std::pmr::vector<GlobStep> steps_{&memory_};
    std::pmr::vector<CharacterSet> sets_{&memory_};
    std::uint32_t dot_ = NONE;
    std::uint32_t notSeparator_ = NONE;
    /// The innermost open group. The whole expression counts as the outermost group.
    Group group_{NONE, NONE};
    /// The groups around the innermost one.
    std::pmr::vector<Group> outer_{&memory_};
};

}  // namespace kova::detail
