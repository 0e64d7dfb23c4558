#pragma once

#include <cstdint>
#include <vector>

#include "NodeBlocks.h"
#include "Tape.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::config {

/// Builds trees from tapes, from the top down: every node belongs to the tree at once, so a failure
/// has one thing to destroy. It keeps its memory for the next tree.
class TreeBuilder {
public:
    explicit TreeBuilder(bool unicodeStrings) noexcept : unicodeStrings_(unicodeStrings) {}

    /// The tree of the document, which the caller owns; null on failure.
    Value* build(const Tape& tape) noexcept;
    /// What the latest failure was; a constant text.
    char const* failure() const noexcept { return failure_; }

private:
    /// An entry of an object, before it has a node.
    struct Field {
        Field(std::uint64_t begins, std::size_t at) noexcept : beginning(begins), key(at) {}

        std::uint64_t beginning;  // of the key: its first bytes, to be compared as a number
        std::size_t key;          // its place; the value is behind it
    };
    /// A container that is being filled.
    struct Level {
        Array* array;  // one of the two is null
        Dictionary* dictionary;
        std::size_t next;  // the place of the next element, or the index of the next field
        std::size_t end;
        std::size_t firstField;
    };
    class Walk;

    std::vector<Level> levels_;
    std::vector<Field> fields_;  // of the objects that are being filled
    bool unicodeStrings_;
    char const* failure_ = nullptr;
};

}  // namespace util::config
