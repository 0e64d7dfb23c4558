#pragma once

#include <cstdint>
#include <vector>

#include "NodeBlocks.h"
#include "Tape.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::config {

/// A builder of trees from tapes. It works from the top down: a node is added to the tree as soon
/// as it is created, so on failure only the tree has to be destroyed. The builder keeps its memory
/// for the next tree.
class TreeBuilder {
public:
    /// Creates a builder. With `unicodeStrings` it builds unicode strings, else narrow ones.
    explicit TreeBuilder(bool unicodeStrings) noexcept : unicodeStrings_(unicodeStrings) {}

    /// Returns the tree of the document, which the caller owns, or null on failure.
    Value* build(const Tape& tape) noexcept;
    /// Returns a description of the latest failure, which is a constant.
    char const* failure() const noexcept { return failure_; }

private:
    /// An entry of an object that has no node yet.
    struct Field {
        Field(std::uint64_t keyPrefix, std::size_t at) noexcept : prefix(keyPrefix), key(at) {}

        std::uint64_t prefix;  // the first bytes of the key, which compare as a number
        std::size_t key;       // position of the key; the value follows it
    };
    /// A container that is being filled.
    struct Level {
        Array* array;  // either this or `dictionary` is null
        Dictionary* dictionary;
        std::size_t next;  // position of the next element, or index of the next field
        std::size_t end;
        std::size_t firstField;
    };
    class Walk;

    std::vector<Level> levels_;
    std::vector<Field> fields_;  // those of all objects that are being filled
    bool unicodeStrings_;
    char const* failure_ = nullptr;
};

}  // namespace util::config
