#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string_view>
#include <vector>

#include "datatypes/GlobProgram.h"

namespace kova {

/// Compiles the expressions that `GlobTranslator` emits: literal and escaped characters, ".",
/// brackets, "*" behind "." and brackets, groups and "|". Takes, rejects and understands them as
/// the standard library's ECMAScript engine does, but with a stack that does not grow with the
/// expression.
class ExpressionCompiler {
public:
    /// Throws `std::regex_error`, with the engine's text, when the expression is not valid. A
    /// backslash must not be its last character, unless a backslash is in front.
    static GlobProgram compile(std::string_view expression);

private:
    static constexpr std::uint32_t NONE = UINT32_MAX;

    /// A group that is open.
    struct Group {
        /// The fork in front of its latest alternative, which will lead to the next one.
        std::uint32_t fork;
        /// The jump at the end of the alternative before, which will lead behind the group, and
        /// whose operand is that of the one before; `NONE` ends the list.
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

    /// The set of all but the characters, which is made once: `known` is its place, or `NONE`.
    std::uint32_t allBut(std::string_view characters, std::uint32_t& known);

    void emitLiteral(char c);
    void emitSet(std::uint32_t set);
    std::uint32_t emit(GlobStep::Kind kind, std::uint32_t operand);
    std::uint32_t here() const { return static_cast<std::uint32_t>(steps_.size()); }
    /// Drops the text from what is left if that begins with it, and tells so.
    template <std::size_t SIZE>
    bool skip(char const (&text)[SIZE]);
    char take();

    std::string_view rest_;
    /// Where all that nearly all expressions need has its place. Not initialized: it is written
    /// before it is read.
    std::array<std::byte, 1024> room_;
    std::pmr::monotonic_buffer_resource memory_{room_.data(), room_.size()};
    std::pmr::vector<GlobStep> steps_{&memory_};
    std::pmr::vector<CharacterSet> sets_{&memory_};
    std::uint32_t dot_ = NONE;
    std::uint32_t notSeparator_ = NONE;
    /// The innermost group; the whole expression is the outermost.
    Group group_{NONE, NONE};
    std::pmr::vector<Group> outer_{&memory_};
};

}  // namespace kova
