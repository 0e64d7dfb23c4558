#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "util/ByteBufferWriter.h"
#include "util/serializer/SequencedSerializer.h"

namespace util::serializer {

/// One value of a recorded payload, or the name of a field.
struct Event {
    enum class Kind : std::uint8_t {
        Null,
        Boolean,
        Int64,
        UInt64,  // beyond the signed range
        Float,
        Double,
        String,
        Array,
        Struct,
        Field
    };
    struct Text {
        std::uint32_t offset;
        std::uint32_t length;
    };
    union Content {
        bool boolean;
        std::int64_t int64;
        std::uint64_t uint64;
        double number;        // of a float too
        Text text;            // of a string or field name
        std::uint64_t count;  // of the elements of an array
    };

    Kind kind;
    /// Of a text: its bytes stand in the payload, not in the record.
    bool inPayload;
    /// The index of the first event after the value; after its value for a container's begin.
    std::uint32_t next;
    Content content;
};

/// A recorded payload: its values in the order of writing. An array is followed by its elements, a
/// struct by its fields, each a `Field` with the value after it. There are no end events: a
/// container ends where its `next` points. Texts that stand in the payload as they are, which is
/// borrowed, are not copied.
struct Record {
    std::vector<Event> events;
    std::string_view payload;
    ByteBufferWriter text{0};

    std::string_view textOf(const Event& event) const noexcept {
        char const* const base =
            event.inPayload ? payload.data() : reinterpret_cast<char const*>(text.data());
        return {base + event.content.text.offset, event.content.text.length};
    }
};

/// Records what is written to it. Typed arrays are recorded element by element, an empty element as
/// null. At most 2^32 - 2 events and bytes of text.
class Recorder final : public SequencedSerializer {
public:
    /// Records into `record`, borrowed.
    explicit Recorder(Record& record) noexcept;

    /// Starts the record of `payload`, borrowed as long as the record is read. True on failure.
    [[nodiscard]] bool start(std::string_view payload);
    /// Ends it; true when what was written is no complete value.
    [[nodiscard]] bool finish();

protected:
    bool putNull() override;
    bool putBoolean(bool value) override;
    bool putSigned(std::int64_t value) override;
    bool putUnsigned(std::uint64_t value) override;
    bool putFloat(float value) override;
    bool putDouble(double value) override;
    bool putString(std::string_view bytes) override;
    bool putText(std::string_view utf8) override;
    bool putArrayBegin() override;
    bool putArrayEnd(bool empty) override;
    bool putStructBegin() override;
    bool putStructEnd(bool empty) override;
    bool putElementBegin(bool first) override;
    bool putEmptyElement(bool first) override;
    bool putFieldBegin(std::string_view name, bool first) override;

private:
    bool add(Event::Kind kind, Event::Content content, bool inPayload = false) noexcept;
    bool growFails() noexcept;
    bool addText(Event::Kind kind, std::string_view bytes) noexcept;
    bool findInPayload(std::string_view bytes, Event::Text& place) const noexcept;
    bool open(Event::Kind kind) noexcept;
    bool close() noexcept;

    Record& record_;
    /// The innermost container that is open; while one is open its `next` holds the one around it.
    std::uint32_t open_ = 0;
    ByteBufferWriter unused_{0};  // a record is no bytes
};

}  // namespace util::serializer
