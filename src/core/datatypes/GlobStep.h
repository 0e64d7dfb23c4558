#pragma once

#include <bitset>
#include <cstdint>

namespace kova {

/// The bytes that stand for each other at one place of an expression.
using CharacterSet = std::bitset<256>;

/// One step of a program: what it takes of the text, and where it leads.
struct GlobStep {
    enum class Kind : std::uint8_t {
        Literal,  ///< takes `literal`, then the next step
        Set,      ///< takes one character of the set `operand`, then the next step
        Repeat,   ///< takes any number of characters of the set `operand`, then the next step
        Fork,     ///< takes nothing: both the next step and step `operand`
        Jump,     ///< takes nothing: step `operand`
        Accept    ///< the end of the program: what was taken fits
    };

    Kind kind;
    unsigned char literal;
    std::uint32_t operand;
};

}  // namespace kova
