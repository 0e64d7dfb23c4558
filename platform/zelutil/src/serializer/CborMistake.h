#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "CborBytes.h"
#include "Failure.h"
#include "Record.h"

// Mistakes in binary payloads, for messages about a failure.
namespace util::serializer {

/// A mistake in a binary payload, as the decoder stores it.
struct CborMistake {
    unsigned char const* at = nullptr;  // null: there is no mistake
    char const* expected = nullptr;
    char const* found = nullptr;  // null: describe the item at `at`
    PayloadErrorNumber number = MalformedPayload;

    explicit operator bool() const noexcept { return at != nullptr; }
};

/// The details of a binary payload that was refused. It stores some bytes at the mistake, and
/// composes the text when the message is read.
class CborFailure final : public zel::ErrorDetails {
public:
    /// Creates the details. `record` is the record up to the mistake, or null. `limit` is the
    /// accepted nesting depth.
    CborFailure(const CborMistake& mistake, std::string_view payload, unsigned int limit,
                Record const* record) noexcept;
    void describe(std::string& out) const override;

private:
    char const* expected_;
    char const* found_;
    std::size_t position_;
    std::size_t left_;  // number of bytes from `position_` on
    unsigned int limit_;
    bool isTooDeep_;
    std::array<unsigned char, MAX_HEAD> bytes_;
    FieldPath path_;
};

/// Returns the path of the next field or element after the incomplete payload `written`. The index
/// of the element of an array is included only with `isInItem`.
FieldPath pathOfCborEnd(std::string_view written, bool isInItem) noexcept;

/// Returns a description of the item at the start of the `size` bytes at `bytes`. Reads only its
/// head.
Phrase phraseOfCborItem(unsigned char const* bytes, std::size_t size) noexcept;

/// Returns the position of an event of a well-formed payload. Events have the numbers that they
/// have in a `Record`.
std::size_t positionOfCborEvent(std::string_view payload, std::uint32_t event) noexcept;

}  // namespace util::serializer
