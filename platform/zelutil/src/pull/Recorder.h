#pragma once

#include "pull/Record.h"
#include "util/serializer/FormatSerializer.h"

namespace util::serializer {

/// A serializer that records its calls, for sources that are not a `RecordSource`. Typed arrays are
/// recorded element by element, an empty element as null.
class Recorder final : public FormatSerializer<Recorder> {
public:
    /// Creates a recorder that adds to `record`, which must outlive it.
    explicit Recorder(Record& record) noexcept;
    ~Recorder() override;

    /// Starts recording a value.
    void start() { static_cast<void>(beginSerialize(&record_.texts(), nullptr)); }
    /// Ends recording. Returns whether the calls wrote a complete value.
    [[nodiscard]] bool finish();
    /// Returns the record.
    const Record& record() const noexcept { return record_; }

private:
    friend class FormatSerializer<Recorder>;
    class Format;

    Record& record_;
};

extern template class FormatSerializer<Recorder>;

}  // namespace util::serializer
