#include "pull/Recorder.h"

#include "serializer/SequencedSerializerLevels.h"
#include "serializer/SequencedSerializerValues.h"

namespace util::serializer {

// The record returns true on success, the `put` functions return false.

Recorder::Recorder(Record& record) noexcept
    : SequencedSerializer(CAPABILITY_BYTE_STRINGS | CAPABILITY_NON_FINITE | CAPABILITY_NAMED_FIELDS,
                          true),
      record_(record) {}

bool Recorder::finish() {
    unsigned long written = 0;
    return !endSerialize(written);
}

bool Recorder::putNull() {
    return !record_.addNull();
}

bool Recorder::putBoolean(bool value) {
    return !record_.addBoolean(value);
}

bool Recorder::putSigned(std::int64_t value) {
    return !record_.addSigned(value);
}

bool Recorder::putUnsigned(std::uint64_t value) {
    return !record_.addUnsigned(value);
}

bool Recorder::putFloat(float value) {
    return !record_.addReal(Event::Kind::Float, static_cast<double>(value));
}

bool Recorder::putDouble(double value) {
    return !record_.addReal(Event::Kind::Double, value);
}

bool Recorder::putString(std::string_view bytes) {
    return !record_.addText(Event::Kind::String, bytes);
}

bool Recorder::putText(std::string_view utf8) {
    return !record_.addText(Event::Kind::String, utf8);
}

bool Recorder::putArrayBegin() {
    return !record_.open(Event::Kind::Array);
}

bool Recorder::putArrayEnd(bool) {
    record_.close();
    return false;
}

bool Recorder::putStructBegin() {
    return !record_.open(Event::Kind::Struct);
}

bool Recorder::putStructEnd(bool) {
    record_.close();
    return false;
}

bool Recorder::putElementBegin(bool) {
    record_.countElement();
    return false;
}

bool Recorder::putEmptyElement(bool) {
    record_.countElement();
    return !record_.addNull();
}

bool Recorder::putFieldBegin(std::string_view name, bool) {
    return !record_.addText(Event::Kind::Field, name);
}

template class SequencedSerializer<Recorder>;

}  // namespace util::serializer
