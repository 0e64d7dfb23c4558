#include "support/PullCalls.h"

#include <iterator>

#include "support/Fuzz.h"

namespace fuzz {

using P = util::serializer::PullFromPushDeserializer;
using util::serializer::EntryType;

namespace {

template <auto Call>
bool call(P& pull) {
    return (pull.*Call)();
}

template <typename T, bool (P::*Get)(T&)>
bool get(P& pull) {
    T out{};
    const bool failed = (pull.*Get)(out);
    require(!failed || out == T{}, "a failed call leaves its output unchanged");
    return failed;
}

bool getEnumerator(P& pull) {
    int out = -1;
    const bool failed = pull.getEnum(out, 4, true);
    require(failed ? out == -1 : out >= 0 && out < 4, "a checked enumerator is in its range");
    return failed;
}

bool optionalField(P& pull) {
    bool present = false;
    return pull.beginOptionalField("a", -1, present);
}

constexpr bool (*CALLS[])(P&) = {
    call<&P::getNull>,
    get<bool, &P::getBoolean>,
    get<std::int8_t, &P::getInt8>,
    get<std::uint8_t, &P::getUInt8>,
    get<std::int16_t, &P::getInt16>,
    get<std::uint16_t, &P::getUInt16>,
    get<std::int32_t, &P::getInt32>,
    get<std::uint32_t, &P::getUInt32>,
    get<std::int64_t, &P::getInt64>,
    get<std::uint64_t, &P::getUInt64>,
    get<float, &P::getFloat>,
    get<double, &P::getDouble>,
    getEnumerator,
    get<std::string, &P::getString>,
    get<util::UnicodeString8, &P::getString>,
    get<util::UnicodeString16, &P::getString>,
    get<zel::unicode::String, &P::getString>,
    get<unsigned long, &P::getNullArray>,
    get<std::vector<bool>, &P::getBooleanArray>,
    get<std::vector<std::int8_t>, &P::getInt8Array>,
    get<std::vector<std::uint8_t>, &P::getUInt8Array>,
    get<std::vector<std::int16_t>, &P::getInt16Array>,
    get<std::vector<std::uint16_t>, &P::getUInt16Array>,
    get<std::vector<std::int32_t>, &P::getInt32Array>,
    get<std::vector<std::uint32_t>, &P::getUInt32Array>,
    get<std::vector<std::int64_t>, &P::getInt64Array>,
    get<std::vector<std::uint64_t>, &P::getUInt64Array>,
    get<std::vector<float>, &P::getFloatArray>,
    get<std::vector<double>, &P::getDoubleArray>,
    get<std::vector<std::string>, &P::getStringArray>,
    call<&P::beginArrayOption>,
    call<&P::endArrayOption>,
    [](P& pull) { return pull.beginOption(nullptr); },
    call<&P::endOption>,
    call<&P::beginArray>,
    call<&P::endArray>,
    call<&P::beginElement>,
    call<&P::endElement>,
    get<bool, &P::getEmptyElement>,
    [](P& pull) { return pull.beginStruct(nullptr); },
    call<&P::endStruct>,
    get<std::string, &P::beginField>,
    call<&P::skipField>,
    call<&P::endField>,
    [](P& pull) { return pull.beginMandatoryField("a", -1); },
    call<&P::endMandatoryField>,
    optionalField,
    call<&P::endOptionalField>,
    [](P& pull) { return pull.getNextEntry()->type == EntryType::Failure; },
    [](P& pull) { return pull.isArrayEnd() && pull.isStructEnd(); }};

}  // namespace

bool callPull(P& pull, std::uint8_t number) {
    return CALLS[number % std::size(CALLS)](pull);
}

}  // namespace fuzz
