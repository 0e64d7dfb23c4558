#include "util/serializer/AXOBinStructuredPushDeserializer.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string_view>
#include <typeinfo>

#include "CborMistake.h"
#include "CborReplay.h"
#include "CborReplayItems.h"
#include "Record.h"
#include "TypedArrays.h"

namespace util::serializer {

namespace {

constexpr char const* FILE_NAME =
    "platform/zelutil/src/serializer/AXOBinStructuredPushDeserializer";

// The targets of the replay, as described at `CborReplay`. The functions return true on failure.

/// A target that calls a serializer.
class SerializerTarget {
public:
    explicit SerializerTarget(IStructuredSerializer& target) noexcept : target_(target) {}

    bool putNull() { return target_.serializeNull(); }
    bool putBoolean(bool value) { return target_.serializeBoolean(value); }
    bool putSigned(std::int64_t value) { return target_.serializeInt64(value); }
    bool putUnsigned(std::uint64_t value) { return target_.serializeUInt64(value); }
    bool putFloat(float value) { return target_.serializeFloat(value); }
    bool putDouble(double value) { return target_.serializeDouble(value); }
    bool putString(std::string_view bytes) { return target_.serializeString(bytes); }
    bool putTypedArray(std::uint64_t tag, std::string_view bytes) {
        return replayTypedArray(tag, bytes, target_);
    }
    bool putEmptyElement() { return target_.serializeEmptyElement(); }
    bool beginArray() { return target_.beginArray(); }
    bool endArray() { return target_.endArray(); }
    bool beginElement() { return target_.beginElement(); }
    bool endElement() { return target_.endElement(); }
    bool beginStruct() { return target_.beginStruct(nullptr); }
    bool endStruct() { return target_.endStruct(); }
    bool beginField(std::string_view name) { return target_.beginField(name, -1, false); }
    bool endField() { return target_.endField(); }

private:
    IStructuredSerializer& target_;
};

/// A target that adds events to the record of a payload.
class RecordTarget {
public:
    explicit RecordTarget(Record& record) noexcept : record_(record) {}

    bool putNull() noexcept { return record_.addNull(); }
    bool putBoolean(bool value) noexcept { return record_.addBoolean(value); }
    bool putSigned(std::int64_t value) noexcept { return record_.addSigned(value); }
    bool putUnsigned(std::uint64_t value) noexcept { return record_.addUnsigned(value); }
    bool putFloat(float value) noexcept {
        return record_.addReal(Event::Kind::Float, static_cast<double>(value));
    }
    bool putDouble(double value) noexcept { return record_.addReal(Event::Kind::Double, value); }
    bool putString(std::string_view bytes) noexcept {
        return record_.addText(Event::Kind::String, bytes);
    }
    bool putTypedArray(std::uint64_t tag, std::string_view bytes) {
        Recorder array(record_);
        array.start();
        return replayTypedArray(tag, bytes, array);
    }
    bool putEmptyElement() noexcept {
        record_.countElement();
        return record_.addNull();
    }
    bool beginArray() noexcept { return record_.open(Event::Kind::Array); }
    bool endArray() noexcept {
        record_.close();
        return false;
    }
    bool beginElement() noexcept {
        record_.countElement();
        return false;
    }
    static bool endElement() noexcept { return false; }
    bool beginStruct() noexcept { return record_.open(Event::Kind::Struct); }
    bool endStruct() noexcept {
        record_.close();
        return false;
    }
    bool beginField(std::string_view name) noexcept {
        return record_.addText(Event::Kind::Field, name);
    }
    static bool endField() noexcept { return false; }

private:
    Record& record_;
};

}  // namespace

FieldPath pathOfCborEnd(std::string_view written, bool isInItem) noexcept {
    Record record;
    try {
        static_cast<void>(CborReplay(reinterpret_cast<unsigned char const*>(written.data()),
                                     written.size(), MAX_NESTING_DEPTH, RecordTarget(record))
                              .run());
    } catch (const std::bad_alloc&) {  // GCOVR_EXCL_BR_LINE: only bad_alloc is handled
        return {};                     // collecting a typed array allocates memory
    }
    FieldPath path;
    record.addPathOfNext(path, isInItem);
    return path;
}

bool AXOBinStructuredPushDeserializer::beginDeserialize(ByteBufferReader* reader,
                                                        IStructuredSerializer* target) {
    hasFailed_ = false;
    done_ = false;
    const bool hasBoth = reader != nullptr && target != nullptr;
    const bool failed = !hasBoth || order_ != Endianess::Big;
    reader_ = failed ? nullptr : reader;
    target_ = failed ? nullptr : target;
    if (failed) {
        recordWrongBegin(hasBoth);
    }
    return failed;
}

void AXOBinStructuredPushDeserializer::recordWrongBegin(bool hasBoth) noexcept {
    if (!hasBoth) {
        recordFailure(hasFailed_, CallOutOfPlace, "a reader and a target", "none");
    } else {
        recordFailure(hasFailed_, CallOutOfPlace, "the byte order 1 (big-endian)",
                      Phrase::ofSigned("", static_cast<int>(order_)));
    }
}

// Replays the payload and returns true on failure. If the target is a recorder, the events are
// added to its record directly. This saves the virtual calls and the checks of the order, which the
// replay guarantees.
bool AXOBinStructuredPushDeserializer::replayFails(std::string_view payload) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(payload.data());
    IStructuredSerializer& target = *target_;
    if (typeid(target) != typeid(Recorder)) {
        CborReplay replay(bytes, payload.size(), nestingLimit_, SerializerTarget(target));
        const bool failed = replay.run();
        if (failed) {
            recordMistake(replay.mistake(), payload, nestingLimit_, nullptr);
        }
        return failed;
    }
    return static_cast<Recorder&>(target).recordValue([&](Record& record, std::size_t levels) {
        const auto limit = std::min(nestingLimit_, static_cast<unsigned int>(levels));
        CborReplay replay(bytes, payload.size(), limit, RecordTarget(record));
        const bool failed = replay.run();
        if (failed) {
            recordMistake(replay.mistake(), payload, limit, &record);
        }
        return failed;
    });
}

// Stores the mistake as the thread's latest error. If there is no mistake, the
// target refused a call: a serializer has stored the reason itself, a record refuses calls only if
// memory is exhausted.
void AXOBinStructuredPushDeserializer::recordMistake(const CborMistake& mistake,
                                                     std::string_view payload, unsigned int limit,
                                                     Record const* record) noexcept {
    if (mistake && !hasFailed_) {
        zel::ErrorStorage::current().record<CborFailure>(PayloadError, mistake.number, FILE_NAME,
                                                         __LINE__, mistake, payload, limit, record);
    } else if (record != nullptr) {
        recordNoMemory(hasFailed_);
    }
    hasFailed_ = true;
}

int AXOBinStructuredPushDeserializer::deserialize() {
    if (reader_ == nullptr || done_) {
        recordFailure(hasFailed_, CallOutOfPlace, "a payload that was begun", "none");
        return FAILED;
    }
    const unsigned long size = reader_->remaining();
    try {
        done_ = !replayFails(
            {reinterpret_cast<char const*>(reader_->data()) + reader_->position(), size});
        if (done_) {
            static_cast<void>(reader_->skip(size));  // cannot fail: `size` bytes are left
        }
    } catch (const std::bad_alloc&) {  // GCOVR_EXCL_BR_LINE: only bad_alloc is handled
        recordNoMemory(hasFailed_);
        return FAILED;
    }
    hasFailed_ = !done_;  // also if the target refused the payload and stored the reason
    return done_ ? DONE : FAILED;
}

bool AXOBinStructuredPushDeserializer::endDeserialize() {
    const bool failed = !done_;
    if (failed) {
        recordFailure(hasFailed_, CallOutOfPlace, "a payload that was read", "none");
    }
    reader_ = nullptr;
    target_ = nullptr;
    done_ = false;
    return failed;
}

std::size_t AXOBinStructuredPushDeserializer::positionOf(std::string_view payload,
                                                         std::uint32_t event) const noexcept {
    return positionOfCborEvent(payload, event);
}

void AXOBinStructuredPushDeserializer::setNestingLimit(unsigned int limit) noexcept {
    nestingLimit_ = std::min(limit, static_cast<unsigned int>(MAX_NESTING_DEPTH));
}

}  // namespace util::serializer
