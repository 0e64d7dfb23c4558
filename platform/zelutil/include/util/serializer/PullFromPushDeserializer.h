#pragma once

#include <memory>

#include "util/Export.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredPushDeserializer.h"
#include "util/serializer/RecordSource.h"

namespace util::config {
class Array;
class Dictionary;
}  // namespace util::config

namespace util::serializer {

/// A pull deserializer that reads its data from a push deserializer.
///
/// `beginDeserialize` replays the whole payload once and records the calls. All other functions
/// read the record. Therefore a malformed payload is rejected at the start, nothing is decoded
/// twice, and fields can be found by name in any order. The memory of the record is proportional to
/// the payload. Texts that are verbatim in the payload are not copied: the reader and its bytes
/// must stay alive and unchanged until `endDeserialize` or `reset`. A typed array has the same
/// entries as an array of elements. The typed getters read typed and plain arrays as a whole, and
/// check the kind and range of every element.
///
/// Numbers: the entry of an integer is an `Int64` or, above its range, a `UInt64`. The integer
/// getters accept only integers. The floating-point getters accept any number and round if
/// necessary; `getFloat` fails if a finite number does not round to a finite float. A failed read
/// consumes nothing. Empty elements and null elements are the same.
///
/// Fields: the sequential functions read the fields in the order of the payload, and must reach the
/// end of the struct before `endStruct`. If any field of the struct was requested by name, the
/// others may stay unread. If a name occurs several times, the last field is found. `skipField`
/// fails outside a field.
///
/// Used by one thread at a time.
class UTIL_API PullFromPushDeserializer : public IStructuredPullDeserializer {
public:
    /// Creates a reader. This object does not own `source`, which must outlive it. A derived class
    /// may own it.
    explicit PullFromPushDeserializer(IStructuredPushDeserializer* source);
    ~PullFromPushDeserializer() override;
    PullFromPushDeserializer(const PullFromPushDeserializer&) = delete;
    PullFromPushDeserializer& operator=(const PullFromPushDeserializer&) = delete;

    bool beginDeserialize(ByteBufferReader* reader, Options const* options) override;
    bool endDeserialize() override;
    void reset() override;

    bool getNull() override;
    bool getBoolean(bool& out) override;
    bool getInt8(std::int8_t& out) override;
    bool getUInt8(std::uint8_t& out) override;
    bool getInt16(std::int16_t& out) override;
    bool getUInt16(std::uint16_t& out) override;
    bool getInt32(std::int32_t& out) override;
    bool getUInt32(std::uint32_t& out) override;
    bool getInt64(std::int64_t& out) override;
    bool getUInt64(std::uint64_t& out) override;
    bool getFloat(float& out) override;
    bool getDouble(double& out) override;
    bool getEnum(int& out, int count, bool checked) override;
    bool getString(std::string& out) override;
    bool getString(UnicodeString8& out) override;
    bool getString(UnicodeString16& out) override;
    bool getString(zel::unicode::String& out) override;

    bool getNullArray(unsigned long& count) override;
    bool getBooleanArray(std::vector<bool>& out) override;
    bool getInt8Array(std::vector<std::int8_t>& out) override;
    bool getUInt8Array(std::vector<std::uint8_t>& out) override;
    bool getInt16Array(std::vector<std::int16_t>& out) override;
    bool getUInt16Array(std::vector<std::uint16_t>& out) override;
    bool getInt32Array(std::vector<std::int32_t>& out) override;
    bool getUInt32Array(std::vector<std::uint32_t>& out) override;
    bool getInt64Array(std::vector<std::int64_t>& out) override;
    bool getUInt64Array(std::vector<std::uint64_t>& out) override;
    bool getFloatArray(std::vector<float>& out) override;
    bool getDoubleArray(std::vector<double>& out) override;
    bool getStringArray(std::vector<std::string>& out) override;

    bool beginArrayOption() override;
    bool endArrayOption() override;
    bool beginOption(Options const* options) override;
    bool endOption() override;

    bool beginArray() override;
    bool isArrayEnd() override;
    bool endArray() override;
    bool beginElement() override;
    bool endElement() override;
    bool getEmptyElement(bool& empty) override;
    bool beginStruct(Options const* options) override;
    bool isStructEnd() override;
    bool endStruct() override;
    bool beginField(std::string& name) override;
    bool skipField() override;
    bool endField() override;

    Entry const* getNextEntry() override;
    Entry const* peekNextEntry() override;

    bool beginMandatoryField(const std::string& name, int id) override;
    bool endMandatoryField() override;
    bool beginOptionalField(const std::string& name, int id, bool& present) override;
    bool endOptionalField() override;
    unsigned int getApiCapibilites() const noexcept override;

    /// @{
    /// Reads the remaining fields or elements of the innermost open struct or array, and ends it.
    /// The result is the same as reading them one by one, but faster. Fields are added to `out` and
    /// replace the values of existing keys; elements are appended. Returns false on success.
    /// Returns true, without reading anything, if no struct or array is being read. Returns true if
    /// memory is exhausted; `out` then has the fields or elements that were read completely. The
    /// new nodes are in blocks of memory like those that `config::JSONParser` creates.
    [[nodiscard]] bool getRest(config::Dictionary& out);
    [[nodiscard]] bool getRest(config::Array& out);
    /// @}

    /// Enables shorter code paths that return the same results: the source decodes payloads without
    /// a serializer, and `isWholeReader` returns true. Call it once, after construction. The source
    /// must have exactly the class `Source`, which derives from `RecordSource`, and the class of
    /// this reader must not change how entries are read.
    template <class Source>
    void readDirectly() noexcept {
        readDirectly(static_cast<Source*>(source_));
    }
    /// Sets the source that is decoded directly.
    void readDirectly(RecordSource* source) noexcept;
    /// Returns whether `getRest` returns the same as reading entry by entry.
    bool isWholeReader() const noexcept;

private:
    class UTIL_LOCAL Handler;

    std::unique_ptr<Handler> handler_;
    IStructuredPushDeserializer* source_;
};

}  // namespace util::serializer
