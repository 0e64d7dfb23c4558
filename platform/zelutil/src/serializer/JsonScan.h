#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Failure.h"
#include "util/Limits.h"

namespace util::serializer {

/// A second pass over JSON text, for messages about a failure: it finds where a text is malformed,
/// where a value of it stands, and which field or element that is. It builds nothing and takes no
/// memory.
class JsonScan {
public:
    /// Of `text`, borrowed, in which no more than `limit` levels may be open.
    explicit JsonScan(std::string_view text, std::size_t limit = MAX_NESTING_DEPTH) noexcept
        : text_(text), limit_(limit) {}

    /// Goes to the first mistake. False when there is none, or none that this pass knows of.
    bool findMistake() noexcept;
    /// Goes to the key or value before which there are `count` others. False when there are no more
    /// in the text, which is otherwise taken to be right up to there.
    bool findEvent(std::uint32_t count) noexcept;
    /// Goes to the end of a text that is right but for its missing end; `isInItem` says whether a
    /// field or element was begun there.
    void findEnd(bool isInItem) noexcept;

    /// The place that was found, in bytes.
    std::size_t position() const noexcept { return at_; }
    /// The element or field that is open there.
    FieldPath path() const noexcept;
    /// @{
    /// Of a mistake.
    const Phrase& expected() const noexcept { return expected_; }
    const Phrase& found() const noexcept { return found_; }
    /// @}

private:
    static constexpr std::uint32_t NO_EVENT = 0xFFFFFFFF;

    struct Level {
        bool isObject;
        bool isInItem;
        std::uint64_t index;   // of the element
        std::string_view key;  // of the field, without quotation marks
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
    Phrase expected_;
    Phrase found_;
    std::array<Level, MAX_NESTING_DEPTH> levels_;
};

/// What is wrong with JSON text that was refused. Keeps the text, and looks for the mistake when
/// the message is read.
class JsonFailure final : public zel::ErrorDetails {
public:
    /// Of the `size` bytes of `text`, read with no more than `limit` levels open; takes ownership
    /// of a text that is too long to be copied. `reason` is a constant text in case that the second
    /// pass finds no mistake.
    JsonFailure(std::unique_ptr<char[]>& text, std::size_t size, std::size_t limit,
                char const* reason) noexcept;
    void describe(std::string& out) const override;

private:
    std::unique_ptr<char[]> text_;  // of a long one
    std::size_t size_;
    std::size_t limit_;
    char const* reason_;
    std::array<char, 208> short_;
};

}  // namespace util::serializer
