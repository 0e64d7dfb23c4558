#pragma once

#include <memory>

#include "util/Export.h"
#include "util/serializer/BracketStack.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredPushDeserializer.h"

namespace util::config {
class Array;
class Dictionary;
}  // namespace util::config

namespace util::serializer {

/// Offers the pull interface over a push deserializer.
///
/// `beginDeserialize` runs the push side once over the whole payload and records its calls; all
/// reading walks the record. So a malformed payload is refused at the start, nothing is read twice,
/// and fields can be found by name in any order. The record takes memory in proportion to the
/// payload; texts that stand in the payload as they are stay there, so the reader and its bytes
/// stay alive and unchanged up to `endDeserialize` or `reset`. Typed arrays are announced as arrays
/// of elements; the typed getters read these and plain arrays as a whole, with kind and range of
/// every element checked.
///
/// Numbers: integers are announced as `Int64` or, beyond its range, `UInt64`. Integer getters take
/// integers only, the floating-point getters any number, rounded where it must be; `getFloat` fails
/// for a finite number that rounds to no finite float. A read that fails consumes nothing. An empty
/// element and a null one are the same.
///
/// Fields: the sequential operations step through them in the order of the payload and must come to
/// the struct's end before `endStruct`. Once a field of the struct was asked for by name (of
/// duplicate names the last counts), the rest may stay unread. `skipField` outside a field fails.
///
/// One thread at a time.
class UTIL_API PullFromPushDeserializer : public IStructuredPullDeserializer {
public:
    /// Reads through `source`, borrowed: it must outlive this object or its derived part.
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
    /// Reads what is left of the struct or array that was begun, and ends it: what going through
    /// its entries would give, but faster. What `out` holds already stays: fields are added (a key
    /// that is present gets the new value), elements appended. False on success. True, with nothing
    /// read, when no struct or array is being read or memory is exhausted; then `out` has got the
    /// fields or elements that were whole. The new nodes lie in blocks of memory, as those that
    /// `config::JSONParser` makes.
    [[nodiscard]] bool getRest(config::Dictionary& out);
    [[nodiscard]] bool getRest(config::Array& out);
    /// @}

private:
    class UTIL_LOCAL Handler;
    template <class Convert>
    UTIL_LOCAL bool read(char const* expected, Convert convert);
    template <class Item>
    UTIL_LOCAL bool readItem(Item& out);
    template <class Item>
    UTIL_LOCAL bool readArray(std::vector<Item>& out);
    template <class Container>
    UTIL_LOCAL bool readRest(Bracket bracket, Container& out);
    UTIL_LOCAL bool beginNamedField(const std::string& name, Item item, bool& present);

    std::unique_ptr<Handler> handler_;
    IStructuredPushDeserializer* source_;
};

}  // namespace util::serializer
