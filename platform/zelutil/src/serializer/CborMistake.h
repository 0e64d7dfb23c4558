#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "CborBytes.h"
#include "Failure.h"
#include "Record.h"

// What is wrong with a binary payload, for messages about a failure.
namespace util::serializer {

/// Where a binary payload is malformed, as the decoder notes it.
struct CborMistake {
    unsigned char const* at = nullptr;  // null: there is no mistake
    char const* expected = nullptr;
    char const* found = nullptr;  // null: the item at the place says what it is
    PayloadErrorNumber number = MalformedPayload;

    explicit operator bool() const noexcept { return at != nullptr; }
};

/// What is wrong with a binary payload that was refused. Keeps some bytes of the place, and puts
/// the rest together when the message is read.
class CborFailure final : public zel::ErrorDetails {
public:
    /// `record` is what was read so far, or null; no more than `limit` levels could be open.
    CborFailure(const CborMistake& mistake, std::string_view payload, unsigned int limit,
                Record const* record) noexcept;
    void describe(std::string& out) const override;

private:
    char const* expected_;
    char const* found_;
    std::size_t position_;
    std::size_t left_;  // bytes from there on
    unsigned int limit_;
    bool isTooDeep_;
    std::array<unsigned char, MAX_HEAD> bytes_;
    FieldPath path_;
};

/// The field or element that comes next behind what was written of a payload so far; of an array
/// only with `isInItem`.
FieldPath pathOfCborEnd(std::string_view written, bool isInItem) noexcept;

/// Describes the item at the front of the `size` bytes at `bytes`, of which only the head is read.
Phrase phraseOfCborItem(unsigned char const* bytes, std::size_t size) noexcept;

/// The position of an event of a well-formed payload, counted as `Record` has them.
std::size_t positionOfCborEvent(std::string_view payload, std::uint32_t event) noexcept;

}  // namespace util::serializer
