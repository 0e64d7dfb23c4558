#pragma once

#include "pull/Record.h"
#include "util/serializer/SequencedSerializer.h"

namespace util::serializer {

/// A serializer that records the calls, for sources that know nothing of records. Typed arrays are
/// recorded element by element, an empty element as null.
class Recorder final : public SequencedSerializer<Recorder> {
public:
    /// Creates a recorder that adds to `record`, which must outlive it.
    explicit Recorder(Record& record) noexcept;

    /// Starts recording a value.
    void start() { static_cast<void>(beginSerialize(&record_.texts(), nullptr)); }
    /// Ends recording. Returns whether the calls wrote a complete value.
    [[nodiscard]] bool finish();
    /// Returns the record.
    const Record& record() const noexcept { return record_; }

private:
    friend class SequencedSerializer<Recorder>;

    bool putNull();
    bool putBoolean(bool value);
    bool putSigned(std::int64_t value);
    bool putUnsigned(std::uint64_t value);
    bool putFloat(float value);
    bool putDouble(double value);
    bool putString(std::string_view bytes);
    bool putText(std::string_view utf8);
    bool putArrayBegin();
    bool putArrayEnd(bool empty);
    bool putStructBegin();
    bool putStructEnd(bool empty);
    bool putElementBegin(bool first);
    bool putEmptyElement(bool first);
    bool putFieldBegin(std::string_view name, bool first);
    void locate(std::string_view, bool isInItem, FieldPath& path) const noexcept {
        record_.addPathOfNext(path, isInItem);
    }

    Record& record_;
};

extern template class SequencedSerializer<Recorder>;

}  // namespace util::serializer
