// Tests of the order of virtual functions. It is part of the binary interface: programs that were
// compiled earlier call virtual functions by their slots. A change for which a row here must move
// breaks such programs.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "kova/core/OwningPullFromPushDeserializer.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/StaticComposedKovaServiceImpl.h"
#include "osal/Clock.h"
#include "osal/Timer.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredPushDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace {

using Handler = kova::IResponseHandler<kova::Response>;
using Reader = util::serializer::IStructuredPullDeserializer;
using Source = util::serializer::IStructuredPushDeserializer;
using Writer = util::serializer::IStructuredSerializer;

constexpr int NOT_VIRTUAL = -1;
/// The first two slots of every interface: the complete and the deleting destructor.
constexpr int DESTRUCTORS = 2;

/// Returns the slot of a function in the virtual table, or `NOT_VIRTUAL`. In the Itanium C++ ABI a
/// pointer to a member function has two words. For a virtual function, the first one is its offset
/// in the table. The lowest bit of the first word marks virtual functions; on Arm, where functions
/// may have odd addresses, it is the lowest bit of the second word.
template <class Member>
int slotOfMember(Member member) {
    struct Words {
        std::ptrdiff_t function;
        std::ptrdiff_t adjustment;
    } words{};
    static_assert(sizeof(member) == sizeof(words));
    std::memcpy(&words, &member, sizeof(words));
#if defined(__aarch64__) || defined(__arm__)
    const bool isVirtual = (words.adjustment & 1) != 0;
    const std::ptrdiff_t offset = words.function;
#else
    const bool isVirtual = (words.function & 1) != 0;
    const std::ptrdiff_t offset = words.function - 1;
#endif
    return isVirtual ? static_cast<int>(offset / static_cast<std::ptrdiff_t>(sizeof(void*)))
                     : NOT_VIRTUAL;
}

template <class... Arguments, class Result, class Class>
int slotOf(Result (Class::*member)(Arguments...)) {
    return slotOfMember(member);
}

template <class... Arguments, class Result, class Class>
int slotOf(Result (Class::*member)(Arguments...) const) {
    return slotOfMember(member);
}

/// Returns the number of slots of an interface: the slot that a further virtual function
/// would have.
template <class Interface>
int slotCount() {
    struct Next : Interface {
        virtual void next() = 0;
    };
    return slotOf(&Next::next);
}

struct Row {
    char const* name;
    int slot;
};

/// Expects that the rows are all virtual functions of the interface after the destructors, in the
/// order of their slots.
template <class Interface>
void expectOrder(std::initializer_list<Row> rows) {
    int expected = DESTRUCTORS;
    for (const Row& row : rows) {
        EXPECT_EQ(row.slot, expected++) << row.name;
    }
    EXPECT_EQ(slotCount<Interface>(), expected);
}

TEST(VirtualOrderTest, FunctionsOfKovaApiKeepTheirSlots) {
    expectOrder<kova::IKovaApi>({
        {"actionRequest", slotOf(&kova::IKovaApi::actionRequest)},
        {"cancelRequest", slotOf(&kova::IKovaApi::cancelRequest)},
    });
}

TEST(VirtualOrderTest, FunctionsOfResourceHandlerKeepTheirSlots) {
    expectOrder<kova::IResourceHandler>({
        {"actionRequest", slotOf(&kova::IResourceHandler::actionRequest)},
        {"cancelRequest", slotOf(&kova::IResourceHandler::cancelRequest)},
    });
}

TEST(VirtualOrderTest, FunctionsOfResponseHandlerKeepTheirSlots) {
    expectOrder<Handler>({
        {"onNext", slotOf(&Handler::onNext)},
        {"onError", slotOf(&Handler::onError)},
        {"onCompleted", slotOf(&Handler::onCompleted)},
    });
}

TEST(VirtualOrderTest, ComposedServiceAddsShutdownAfterTheFunctionsOfKovaApi) {
    using Service = kova::StaticComposedKovaService;
    expectOrder<Service>({
        {"actionRequest", slotOf(&Service::actionRequest)},
        {"cancelRequest", slotOf(&Service::cancelRequest)},
        {"shutdown", slotOf(&Service::shutdown)},
    });
}

TEST(VirtualOrderTest, ImplementationOfAComposedServiceAddsNoVirtualFunctions) {
    using Implementation = kova::StaticComposedKovaServiceImpl;
    EXPECT_EQ(slotOf(&Implementation::shutdown), NOT_VIRTUAL);
    EXPECT_EQ(slotCount<Implementation>(), slotCount<kova::IKovaApi>());
    EXPECT_EQ(slotCount<Implementation::RootHandler>(), slotCount<kova::IResourceHandler>());
}

TEST(VirtualOrderTest, FunctionsOfStructuredSerializerKeepTheirSlots) {
    expectOrder<Writer>({
        {"beginSerialize", slotOf(&Writer::beginSerialize)},
        {"endSerialize", slotOf(&Writer::endSerialize)},
        {"serializeNull", slotOf(&Writer::serializeNull)},
        {"serializeBoolean", slotOf(&Writer::serializeBoolean)},
        {"serializeInt8", slotOf(&Writer::serializeInt8)},
        {"serializeUInt8", slotOf(&Writer::serializeUInt8)},
        {"serializeInt16", slotOf(&Writer::serializeInt16)},
        {"serializeUInt16", slotOf(&Writer::serializeUInt16)},
        {"serializeInt32", slotOf(&Writer::serializeInt32)},
        {"serializeUInt32", slotOf(&Writer::serializeUInt32)},
        {"serializeInt64", slotOf(&Writer::serializeInt64)},
        {"serializeUInt64", slotOf(&Writer::serializeUInt64)},
        {"serializeFloat", slotOf(&Writer::serializeFloat)},
        {"serializeDouble", slotOf(&Writer::serializeDouble)},
        {"serializeEnum", slotOf(&Writer::serializeEnum)},
        {"serializeString(std::string_view)", slotOf<std::string_view>(&Writer::serializeString)},
        {"serializeString(const UnicodeString8&)",
         slotOf<const util::UnicodeString8&>(&Writer::serializeString)},
        {"serializeString(const UnicodeString16&)",
         slotOf<const util::UnicodeString16&>(&Writer::serializeString)},
        {"serializeString(const zel::unicode::String&)",
         slotOf<const zel::unicode::String&>(&Writer::serializeString)},
        {"serializeNullArray", slotOf(&Writer::serializeNullArray)},
        {"serializeArray(const std::vector<bool>&)",
         slotOf<const std::vector<bool>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::int8_t>&)",
         slotOf<const std::vector<std::int8_t>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::uint8_t>&)",
         slotOf<const std::vector<std::uint8_t>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::int16_t>&)",
         slotOf<const std::vector<std::int16_t>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::uint16_t>&)",
         slotOf<const std::vector<std::uint16_t>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::int32_t>&)",
         slotOf<const std::vector<std::int32_t>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::uint32_t>&)",
         slotOf<const std::vector<std::uint32_t>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::int64_t>&)",
         slotOf<const std::vector<std::int64_t>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::uint64_t>&)",
         slotOf<const std::vector<std::uint64_t>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<float>&)",
         slotOf<const std::vector<float>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<double>&)",
         slotOf<const std::vector<double>&>(&Writer::serializeArray)},
        {"serializeArray(const std::vector<std::string>&)",
         slotOf<const std::vector<std::string>&>(&Writer::serializeArray)},
        {"beginArrayOption", slotOf(&Writer::beginArrayOption)},
        {"endArrayOption", slotOf(&Writer::endArrayOption)},
        {"beginOption", slotOf(&Writer::beginOption)},
        {"endOption", slotOf(&Writer::endOption)},
        {"beginArray", slotOf(&Writer::beginArray)},
        {"endArray", slotOf(&Writer::endArray)},
        {"beginElement", slotOf(&Writer::beginElement)},
        {"endElement", slotOf(&Writer::endElement)},
        {"serializeEmptyElement", slotOf(&Writer::serializeEmptyElement)},
        {"beginStruct", slotOf(&Writer::beginStruct)},
        {"endStruct", slotOf(&Writer::endStruct)},
        {"beginField", slotOf(&Writer::beginField)},
        {"endField", slotOf(&Writer::endField)},
        {"beginMandatoryField", slotOf(&Writer::beginMandatoryField)},
        {"endMandatoryField", slotOf(&Writer::endMandatoryField)},
        {"beginOptionalField", slotOf(&Writer::beginOptionalField)},
        {"endOptionalField", slotOf(&Writer::endOptionalField)},
        {"getApiCapibilites", slotOf(&Writer::getApiCapibilites)},
    });
}

TEST(VirtualOrderTest, FunctionsOfStructuredPullDeserializerKeepTheirSlots) {
    expectOrder<Reader>({
        {"beginDeserialize", slotOf(&Reader::beginDeserialize)},
        {"endDeserialize", slotOf(&Reader::endDeserialize)},
        {"reset", slotOf(&Reader::reset)},
        {"getNull", slotOf(&Reader::getNull)},
        {"getBoolean", slotOf(&Reader::getBoolean)},
        {"getInt8", slotOf(&Reader::getInt8)},
        {"getUInt8", slotOf(&Reader::getUInt8)},
        {"getInt16", slotOf(&Reader::getInt16)},
        {"getUInt16", slotOf(&Reader::getUInt16)},
        {"getInt32", slotOf(&Reader::getInt32)},
        {"getUInt32", slotOf(&Reader::getUInt32)},
        {"getInt64", slotOf(&Reader::getInt64)},
        {"getUInt64", slotOf(&Reader::getUInt64)},
        {"getFloat", slotOf(&Reader::getFloat)},
        {"getDouble", slotOf(&Reader::getDouble)},
        {"getEnum", slotOf(&Reader::getEnum)},
        {"getString(std::string&)", slotOf<std::string&>(&Reader::getString)},
        {"getString(UnicodeString8&)", slotOf<util::UnicodeString8&>(&Reader::getString)},
        {"getString(UnicodeString16&)", slotOf<util::UnicodeString16&>(&Reader::getString)},
        {"getString(zel::unicode::String&)", slotOf<zel::unicode::String&>(&Reader::getString)},
        {"getNullArray", slotOf(&Reader::getNullArray)},
        {"getBooleanArray", slotOf(&Reader::getBooleanArray)},
        {"getInt8Array", slotOf(&Reader::getInt8Array)},
        {"getUInt8Array", slotOf(&Reader::getUInt8Array)},
        {"getInt16Array", slotOf(&Reader::getInt16Array)},
        {"getUInt16Array", slotOf(&Reader::getUInt16Array)},
        {"getInt32Array", slotOf(&Reader::getInt32Array)},
        {"getUInt32Array", slotOf(&Reader::getUInt32Array)},
        {"getInt64Array", slotOf(&Reader::getInt64Array)},
        {"getUInt64Array", slotOf(&Reader::getUInt64Array)},
        {"getFloatArray", slotOf(&Reader::getFloatArray)},
        {"getDoubleArray", slotOf(&Reader::getDoubleArray)},
        {"getStringArray", slotOf(&Reader::getStringArray)},
        {"beginArrayOption", slotOf(&Reader::beginArrayOption)},
        {"endArrayOption", slotOf(&Reader::endArrayOption)},
        {"beginOption", slotOf(&Reader::beginOption)},
        {"endOption", slotOf(&Reader::endOption)},
        {"beginArray", slotOf(&Reader::beginArray)},
        {"isArrayEnd", slotOf(&Reader::isArrayEnd)},
        {"endArray", slotOf(&Reader::endArray)},
        {"beginElement", slotOf(&Reader::beginElement)},
        {"endElement", slotOf(&Reader::endElement)},
        {"getEmptyElement", slotOf(&Reader::getEmptyElement)},
        {"beginStruct", slotOf(&Reader::beginStruct)},
        {"isStructEnd", slotOf(&Reader::isStructEnd)},
        {"endStruct", slotOf(&Reader::endStruct)},
        {"beginField", slotOf(&Reader::beginField)},
        {"skipField", slotOf(&Reader::skipField)},
        {"endField", slotOf(&Reader::endField)},
        {"getNextEntry", slotOf(&Reader::getNextEntry)},
        {"peekNextEntry", slotOf(&Reader::peekNextEntry)},
        {"beginMandatoryField", slotOf(&Reader::beginMandatoryField)},
        {"endMandatoryField", slotOf(&Reader::endMandatoryField)},
        {"beginOptionalField", slotOf(&Reader::beginOptionalField)},
        {"endOptionalField", slotOf(&Reader::endOptionalField)},
        {"getApiCapibilites", slotOf(&Reader::getApiCapibilites)},
    });
}

TEST(VirtualOrderTest, PullFromPushDeserializerAddsNoVirtualFunctions) {
    EXPECT_EQ(slotCount<util::serializer::PullFromPushDeserializer>(), slotCount<Reader>());
    EXPECT_EQ(slotCount<kova::serializer::OwningPullFromPushDeserializer>(), slotCount<Reader>());
}

TEST(VirtualOrderTest, FunctionsOfStructuredPushDeserializerKeepTheirSlots) {
    expectOrder<Source>({
        {"beginDeserialize", slotOf(&Source::beginDeserialize)},
        {"deserialize", slotOf(&Source::deserialize)},
        {"endDeserialize", slotOf(&Source::endDeserialize)},
        {"setNestingLimit", slotOf(&Source::setNestingLimit)},
    });
}

TEST(VirtualOrderTest, FunctionsOfClockKeepTheirSlots) {
    expectOrder<osal::Clock>({
        {"now", slotOf(&osal::Clock::now)},
        {"waitUntil", slotOf(&osal::Clock::waitUntil)},
        {"wake", slotOf(&osal::Clock::wake)},
    });
}

TEST(VirtualOrderTest, OnlyTheDestructorOfATimerIsVirtual) {
    EXPECT_EQ(slotCount<osal::Timer>(), DESTRUCTORS);
}

}  // namespace
