#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "cbor/CborBytes.h"
#include "cbor/CborDecoder.h"
#include "pull/Record.h"
#include "serializer/Failure.h"

// Descriptions of mistakes in binary payloads, for messages.
namespace util::serializer {

/// The details of a rejected binary payload. The object stores some bytes at the mistake, and
/// composes the text when the message is read.
class CborFailure final : public zel::ErrorDetails {
public:
    /// Creates the details. `record` is the record up to the mistake, or null. `limit` is the
    /// maximum nesting depth.
    CborFailure(const CborMistake& mistake, std::string_view payload, unsigned int limit,
                Record const* record) noexcept;
    void describe(std::string& out) const override;

private:
    char const* expected_;
    char const* found_;
    std::size_t position_;
    std::size_t left_;  // the number of bytes from the mistake to the end of the payload
    unsigned int limit_;
    bool isTooDeep_;
    std::array<unsigned char, MAX_HEAD> bytes_;
    FieldPath path_;
};

/// Returns the path of the next field or element after the incomplete payload `written`. The index
/// of an array element is included only if `isInItem` is true.
FieldPath pathOfCborEnd(std::string_view written, bool isInItem) noexcept;

/// Returns a description of the item at the start of `bytes`. `left` is the number of bytes from
/// the start of the item to the end of the payload. `bytes` contains at most the first `MAX_HEAD`
/// bytes of the item.
Phrase phraseOfCborItem(std::string_view bytes, std::size_t left) noexcept;

/// Returns the position of an event of a well-formed payload. Events are numbered as in a `Record`.
std::size_t positionOfCborEvent(std::string_view payload, std::uint32_t event) noexcept;

}  // namespace util::serializer
