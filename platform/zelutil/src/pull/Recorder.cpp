#include "pull/Recorder.h"

#include "serializer/FormatSerializerCalls.h"

namespace util::serializer {

/// The recorder's format: one event for each value and field name.
class Recorder::Format : public SequencedFormat<Recorder::Format> {
public:
    static constexpr unsigned int CAPABILITIES =
        CAPABILITY_BYTE_STRINGS | CAPABILITY_NON_FINITE | CAPABILITY_NAMED_FIELDS;

    explicit Format(Record& record) noexcept : SequencedFormat(true), record_(record) {}

    bool putNull() { return record_.addNull(); }
    bool putBoolean(bool value) { return record_.addBoolean(value); }
    bool putSigned(std::int64_t value) { return record_.addSigned(value); }
    bool putUnsigned(std::uint64_t value) { return record_.addUnsigned(value); }
    bool putFloat(float value) {
        return record_.addReal(Event::Kind::Float, static_cast<double>(value));
    }
    bool putDouble(double value) { return record_.addReal(Event::Kind::Double, value); }
    bool putString(std::string_view bytes) { return record_.addText(Event::Kind::String, bytes); }
    bool putText(std::string_view utf8) { return record_.addText(Event::Kind::String, utf8); }
    bool putArrayBegin() { return record_.open(Event::Kind::Array); }
    bool putArrayEnd(bool) { return close(); }
    bool putStructBegin() { return record_.open(Event::Kind::Struct); }
    bool putStructEnd(bool) { return close(); }
    bool putElementBegin(bool) {
        record_.countElement();
        return true;
    }
    bool putEmptyElement(bool first) { return putElementBegin(first) && record_.addNull(); }
    bool putFieldBegin(std::string_view name, bool) {
        return record_.addText(Event::Kind::Field, name);
    }

    void locate(std::string_view, bool isInItem, FieldPath& path) const noexcept {
        record_.addPathOfNext(path, isInItem);
    }

private:
    bool close() {
        record_.close();
        return true;
    }

    Record& record_;
};

Recorder::Recorder(Record& record) noexcept : FormatSerializer(record), record_(record) {}
Recorder::~Recorder() = default;

bool Recorder::finish() {
    unsigned long written = 0;
    return !endSerialize(written);
}

template class FormatSerializer<Recorder>;

}  // namespace util::serializer
