#include "util/serializer/AXOBinStructuredPushDeserializer.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string_view>

#include "cbor/CborDecoder.h"
#include "cbor/CborFailure.h"
#include "cbor/TypedArrays.h"
#include "pull/Recorder.h"
#include "pull/SerializerTarget.h"

namespace util::serializer {

namespace {

constexpr char const* FILE_NAME = "platform/zelutil/src/cbor/AXOBinStructuredPushDeserializer";

// These function objects add a typed array to the target of a decoder.
struct ArrayToSerializer {
    IStructuredSerializer& target;

    bool operator()(std::uint64_t tag, std::string_view bytes) const {
        return writeTypedArray(tag, bytes, target);
    }
};

struct ArrayToRecord {
    Record& target;

    bool operator()(std::uint64_t tag, std::string_view bytes) const {
        Recorder array(target);
        array.start();
        return writeTypedArray(tag, bytes, array);
    }
};

// Stores a mistake in `payload` as the thread's latest error. `record` is the record up to the
// mistake, or null.
void storeMistake(const CborMistake& mistake, std::string_view payload, unsigned int limit,
                  Record const* record) noexcept {
    zel::ErrorStorage::current().record<CborFailure>(PayloadError, mistake.number, FILE_NAME,
                                                     __LINE__, mistake, payload, limit, record);
}

void storeWrongOrder(bool& hasFailed, Endianess order) noexcept {
    recordFailure(hasFailed, CallOutOfPlace, "the byte order 1 (big-endian)",
                  Phrase::ofSigned("", static_cast<int>(order)));
}

std::string_view remainingOf(const ByteBufferReader& reader) noexcept {
    return {reinterpret_cast<char const*>(reader.data()) + reader.position(), reader.remaining()};
}

}  // namespace

FieldPath pathOfCborEnd(std::string_view written, bool isInItem) noexcept {
    Record record;
    try {
        static_cast<void>(
            CborDecoder(written, MAX_NESTING_DEPTH, record, ArrayToRecord{record}).decode());
    } catch (const std::bad_alloc&) {  // GCOVR_EXCL_BR_LINE: only bad_alloc is handled
        return {};                     // collecting a typed array allocates memory
    }
    FieldPath path;
    record.addPathOfNext(path, isInItem);
    return path;
}

bool AXOBinStructuredPushDeserializer::record(std::string_view payload, unsigned int limit,
                                              Record& record) noexcept {
    bool hasFailed = false;
    if (order_ != Endianess::Big) {
        storeWrongOrder(hasFailed, order_);
        return false;
    }
    try {
        CborDecoder decoder(payload, limit, record, ArrayToRecord{record});
        if (decoder.decode()) {
            return true;
        }
        if (decoder.mistake()) {
            storeMistake(decoder.mistake(), payload, limit, &record);
            return false;
        }
    } catch (const std::bad_alloc&) {  // GCOVR_EXCL_BR_LINE: only bad_alloc is handled
    }
    recordNoMemory(hasFailed);  // a record rejects a call only if memory is exhausted
    return false;
}

bool AXOBinStructuredPushDeserializer::beginDeserialize(ByteBufferReader* reader,
                                                        IStructuredSerializer* target) {
    hasFailed_ = false;
    done_ = false;
    reader_ = nullptr;
    target_ = nullptr;
    if (reader == nullptr || target == nullptr) {
        recordFailure(hasFailed_, CallOutOfPlace, "a reader and a target", "none");
        return true;
    }
    if (order_ != Endianess::Big) {
        storeWrongOrder(hasFailed_, order_);
        return true;
    }
    reader_ = reader;
    target_ = target;
    return false;
}

int AXOBinStructuredPushDeserializer::deserialize() {
    if (reader_ == nullptr || done_) {
        recordFailure(hasFailed_, CallOutOfPlace, "a payload that was begun", "none");
        return FAILED;
    }
    try {
        done_ = replay();
    } catch (const std::bad_alloc&) {  // GCOVR_EXCL_BR_LINE: only bad_alloc is handled
        recordNoMemory(hasFailed_);
    }
    hasFailed_ = !done_;
    return done_ ? DONE : FAILED;
}

// Replays the payload as calls of the target. Returns false on failure. The reason is then stored;
// if the target rejected a call, the target has stored it.
bool AXOBinStructuredPushDeserializer::replay() {
    const std::string_view payload = remainingOf(*reader_);
    SerializerTarget calls(*target_);
    CborDecoder decoder(payload, nestingLimit_, calls, ArrayToSerializer{*target_});
    if (decoder.decode()) {
        static_cast<void>(reader_->skip(payload.size()));  // cannot fail: that many bytes are left
        return true;
    }
    if (decoder.mistake() && !hasFailed_) {
        auto const* const recorder =
            dynamic_cast<Recorder const*>(target_);  // GCOVR_EXCL_BR_LINE: never null
        storeMistake(decoder.mistake(), payload, nestingLimit_,
                     recorder == nullptr ? nullptr : &recorder->record());
    }
    return false;
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
