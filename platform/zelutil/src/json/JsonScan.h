#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "serializer/Failure.h"
#include "util/Limits.h"

namespace util::serializer {

/// A second pass over JSON text, for messages about a failure. It finds the position where a text
/// is malformed or a value begins, and the path of the field or element there. It allocates no
/// memory.
class JsonScan {
public:
    /// Creates a pass over `text`, which must outlive it. At most `limit` levels may be open.
    explicit JsonScan(std::string_view text, std::size_t limit = MAX_NESTING_DEPTH) noexcept
        : text_(text), limit_(limit) {}

    /// Moves to the first mistake. Returns false if this pass finds none.
    bool findMistake() noexcept;
    /// Moves to the key or value with the number `count`, counted from 0. Returns false if the text
    /// has fewer keys and values. The text must be well-formed up to there.
    bool findEvent(std::uint32_t count) noexcept;
    /// Moves to the end of a text that is well-formed but incomplete. If `isInItem` is true, a
    /// field or element was begun there.
    void findEnd(bool isInItem) noexcept;

    /// Returns the position that was found, in bytes from the beginning of the text.
    std::size_t position() const noexcept { return at_; }
    /// Returns the path of the element or field at the position.
    FieldPath path() const noexcept;
    /// @{
    /// Returns the description of what was expected or found at a mistake.
    const Phrase& expected() const noexcept { return expected_; }
    const Phrase& found() const noexcept { return found_; }
    /// @}

private:
    static constexpr std::uint32_t NO_EVENT = 0xFFFFFFFF;

    struct Level {
        bool isObject;
        bool isInItem;
        std::uint64_t index;   // the index of the element
        std::string_view key;  // the name of the field, without quotation marks
    };

    bool scan() noexcept;
    bool takeValue() noexcept;
    bool takeContainer(bool isObject) noexcept;
    bool takeKey() noexcept;
    bool takeAfterValue() noexcept;
    bool takeString(char const* what) noexcept;
    bool takeEscape() noexcept;
    bool takeHexDigits(unsigned int& unit) noexcept;
    bool takeCharacter() noexcept;
    bool takeNumber() noexcept;
    bool checkRange(std::size_t begin, bool isInteger) noexcept;
    bool takeDigits() noexcept;
    bool takeWord(std::string_view word) noexcept;
    bool beginEvent() noexcept;
    void beginItem() noexcept;
    void skipSpace() noexcept;
    char next() const noexcept { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool atEnd() const noexcept { return at_ == text_.size(); }
    bool isIn(bool object) const noexcept {
        return depth_ != 0 && levels_[depth_ - 1].isObject == object;
    }
    bool fail(const Phrase& expected) noexcept;
    bool fail(const Phrase& expected, const Phrase& found) noexcept;

    std::string_view text_;
    std::size_t limit_;
    std::size_t at_ = 0;
    std::size_t depth_ = 0;
    std::uint32_t event_ = NO_EVENT;
    bool isFound_ = false;
    bool isValueNext_ = false;
    Phrase expected_;
    Phrase found_;
    std::array<Level, MAX_NESTING_DEPTH> levels_;
};

/// The details of a JSON text that was rejected. It stores the text, and searches for the mistake
/// when the message is read. Therefore rejecting a text needs no second pass.
class JsonFailure final : public zel::ErrorDetails {
public:
    /// The maximum size in bytes of a text that is stored until the message is read. The thread
    /// stores it up to its next error. The message about a larger text does not state the position
    /// of the mistake.
    static constexpr std::size_t MAX_KEPT = std::size_t{1} << 24;

    /// Creates the details of the `size` bytes of `text`, read with at most `limit` open levels.
    /// Copies a short text and takes ownership of a long one. `reason` is a constant that is used
    /// if the second pass finds no mistake.
    JsonFailure(std::unique_ptr<char[]>& text, std::size_t size, std::size_t limit,
                char const* reason) noexcept;
    void describe(std::string& out) const override;

private:
    std::unique_ptr<char[]> text_;  // a long text
    std::size_t size_;
    std::size_t limit_;
    char const* reason_;
    std::array<char, 208> short_;
};

}  // namespace util::serializer
