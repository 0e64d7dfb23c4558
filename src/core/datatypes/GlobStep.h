#pragma once

#include <bitset>
#include <cstdint>

namespace kova::detail {

/// The bytes that an expression accepts at one position: bit n stands for the byte n.
using CharacterSet = std::bitset<256>;

/// One instruction of a compiled glob: the characters that it consumes and the steps that may
/// follow.
struct GlobStep {
    enum class Kind : std::uint8_t {
        Literal,  ///< consumes `literal`; continues at the next step
        Set,      ///< consumes one character of the set `operand`; continues at the next step
        Repeat,  ///< consumes 0 or more characters of the set `operand`; continues at the next step
        Fork,    ///< consumes nothing; continues at both the next step and step `operand`
        Jump,    ///< consumes nothing; continues at step `operand`
        Accept   ///< the end of the program: the consumed text matches
    };

    Kind kind;
    unsigned char literal;
    std::uint32_t operand;
};

}  // namespace kova::detail
