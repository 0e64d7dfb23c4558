#include "pull/Recorder.h"

#include "serializer/FormatSerializerCalls.h"

namespace util::serializer {

/// Writes the calls as events: one event for each value and each field name.
class Recorder::Format : public SequencedFormat<Recorder::Format> {
public:
    static constexpr unsigned int CAPABILITIES =
        CAPABILITY_BYTE_STRINGS | CAPABILITY_NON_FINITE | CAPABILITY_NAMED_FIELDS;

    explicit Format(Record& record) noexcept : SequencedFormat(true), record_(record) {}

    bool putNull() { return record_.putNull(); }
    bool putBoolean(bool value) { return record_.putBoolean(value); }
    bool putSigned(std::int64_t value) { return record_.putSigned(value); }
    bool putUnsigned(std::uint64_t value) { return record_.putUnsigned(value); }
    bool putFloat(float value) { return record_.putFloat(value); }
    bool putDouble(double value) { return record_.putDouble(value); }
    bool putString(std::string_view bytes) { return record_.putString(bytes); }
    bool putText(std::string_view utf8) { return record_.putString(utf8); }
    bool putArrayBegin() { return record_.beginArray(); }
    bool putArrayEnd(bool) { return record_.endArray(); }
    bool putStructBegin() { return record_.beginStruct(); }
    bool putStructEnd(bool) { return record_.endStruct(); }
    bool putElementBegin(bool) { return record_.beginElement(); }
    bool putEmptyElement(bool) { return record_.putEmptyElement(); }
    bool putFieldBegin(std::string_view name, bool) { return record_.beginField(name); }

    void locate(std::string_view, bool isInItem, FieldPath& path) const noexcept {
        record_.addPathOfNext(path, isInItem);
    }

private:
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
