#include "util/serializer/FieldWriter.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "support/FailingAllocations.h"
#include "support/Payloads.h"

// A field writer writes the same bytes as the serializer of the format.
namespace {

using namespace util::serializer;
using Format = FieldReader::Format;

template <class Write>
std::optional<std::string> written(Format format, Write write) {
    util::ByteBufferWriter bytes(0);
    FieldWriter writer(format, bytes);
    return write(writer) ? std::optional(payloads::textOf(bytes)) : std::nullopt;
}

// Compares both formats. `serialize` returns true on failure, like a serializer.
void expectSame(const std::function<bool(FieldWriter&)>& write,
                const std::function<bool(IStructuredSerializer&)>& serialize) {
    JSONStructuredSerializerOld json(true);
    const auto expectedJson = payloads::written(json, serialize);
    EXPECT_EQ(written(Format::Json, write), expectedJson);
    AXOBinStructuredSerializerBE binary;
    const auto expectedBinary = payloads::written(binary, serialize);
    EXPECT_EQ(written(Format::Binary, write), expectedBinary)
        << payloads::toHex(expectedBinary.value_or(""));
}

TEST(FieldWriterTest, WritesScalarsLikeASerializer) {
    expectSame([](FieldWriter& to) { return to.null(); },
               [](IStructuredSerializer& to) { return to.serializeNull(); });
    for (const bool value : {true, false}) {
        expectSame([=](FieldWriter& to) { return to.value(value); },
                   [=](IStructuredSerializer& to) { return to.serializeBoolean(value); });
    }
    using Limits = std::numeric_limits<std::int64_t>;
    for (const std::int64_t value :
         {std::int64_t{0}, std::int64_t{23}, std::int64_t{24}, std::int64_t{-1}, std::int64_t{-25},
          std::int64_t{255}, std::int64_t{256}, std::int64_t{65536}, Limits::min(),
          Limits::max()}) {
        expectSame([=](FieldWriter& to) { return to.value(value); },
                   [=](IStructuredSerializer& to) { return to.serializeInt64(value); });
    }
    expectSame([](FieldWriter& to) { return to.value(~std::uint64_t{0}); },
               [](IStructuredSerializer& to) { return to.serializeUInt64(~std::uint64_t{0}); });
    expectSame([](FieldWriter& to) { return to.value(static_cast<std::uint8_t>(200)); },
               [](IStructuredSerializer& to) { return to.serializeUInt8(200); });
}

TEST(FieldWriterTest, WritesFloatingPointNumbersLikeASerializer) {
    for (const double value :
         {0.0, -0.0, 1.0, 0.1, 1e300, -2.5e-8, std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        expectSame([=](FieldWriter& to) { return to.value(value); },
                   [=](IStructuredSerializer& to) { return to.serializeDouble(value); });
        expectSame([=](FieldWriter& to) { return to.value(static_cast<float>(value)); },
                   [=](IStructuredSerializer& to) {
                       return to.serializeFloat(static_cast<float>(value));
                   });
    }
}

TEST(FieldWriterTest, WritesStringsLikeASerializer) {
    for (const std::string& value :
         {std::string(), std::string("a"), std::string("\"\\\n\x01"), std::string(23, 'x'),
          std::string(24, 'x'), std::string(300, 'y'), std::string("\xc3\xa9"),
          std::string(40, '\xff'), std::string("\xff"), std::string("a\0b", 3)}) {
        expectSame([&](FieldWriter& to) { return to.value(std::string_view(value)); },
                   [&](IStructuredSerializer& to) { return to.serializeString(value); });
    }
}

template <class Item>
void expectSameArray(const std::vector<Item>& items) {
    expectSame([&](FieldWriter& to) { return to.values(items); },
               [&](IStructuredSerializer& to) { return to.serializeArray(items); });
}

TEST(FieldWriterTest, WritesArraysLikeASerializer) {
    expectSameArray<bool>({true, false});
    expectSameArray<bool>({});
    expectSameArray<std::int8_t>({-1, 2});
    expectSameArray<std::uint8_t>({1, 200});
    expectSameArray<std::int16_t>({-300, 300});
    expectSameArray<std::uint16_t>({60000});
    expectSameArray<std::int32_t>({-70000, 1});
    expectSameArray<std::uint32_t>({});
    expectSameArray<std::int64_t>({std::numeric_limits<std::int64_t>::min()});
    expectSameArray<std::uint64_t>({~std::uint64_t{0}});
    expectSameArray<float>({1.5F, -0.1F});
    expectSameArray<double>({1.5, 0.1});
    expectSameArray<double>({std::numeric_limits<double>::quiet_NaN()});
}

TEST(FieldWriterTest, WritesContainersLikeASerializer) {
    expectSame(
        [](FieldWriter& to) {
            return to.beginObject() && to.beginField("a") && to.beginArray() && to.beginElement() &&
                   to.value(1) && to.beginElement() && to.beginObject() && to.endObject() &&
                   to.beginElement() && to.beginArray() && to.endArray() && to.endArray() &&
                   to.beginField("a longer name than 23 bytes") && to.value(true) && to.endObject();
        },
        [](IStructuredSerializer& to) {
            return to.beginStruct(nullptr) || to.beginField("a", -1, false) || to.beginArray() ||
                   to.beginElement() || to.serializeInt32(1) || to.endElement() ||
                   to.beginElement() || to.beginStruct(nullptr) || to.endStruct() ||
                   to.endElement() || to.beginElement() || to.beginArray() || to.endArray() ||
                   to.endElement() || to.endArray() || to.endField() ||
                   to.beginField("a longer name than 23 bytes", -1, false) ||
                   to.serializeBoolean(true) || to.endField() || to.endStruct();
        });
}

TEST(FieldWriterTest, LimitsTheDepthLikeASerializer) {
    for (const int depth : {256, 257}) {
        expectSame(
            [=](FieldWriter& to) {
                bool done = true;
                for (int i = 0; done && i < depth; ++i) {
                    done = (i == 0 || to.beginElement()) && to.beginArray();
                }
                for (int i = 0; done && i < depth; ++i) {
                    done = to.endArray();
                }
                return done;
            },
            [=](IStructuredSerializer& to) {
                bool failed = false;
                for (int i = 0; !failed && i < depth; ++i) {
                    failed = (i != 0 && to.beginElement()) || to.beginArray();
                }
                for (int i = 0; !failed && i < depth; ++i) {
                    failed = to.endArray() || (i != depth - 1 && to.endElement());
                }
                return failed;
            });
    }
}

TEST(FieldWriterTest, RejectsFieldNamesThatJsonCannotRepresent) {
    EXPECT_EQ(written(Format::Json,
                      [](FieldWriter& to) { return to.beginObject() && to.beginField("\xff"); }),
              std::nullopt);
}

// Writes every kind of value. The strings are long, so that each of them may need memory.
bool writeEverything(FieldWriter& to) {
    const std::string text(300, 'x');
    return to.beginObject() && to.beginField(text) && to.beginArray() && to.beginElement() &&
           to.null() && to.beginElement() && to.value(true) && to.beginElement() &&
           to.value(std::int64_t{-70000}) && to.beginElement() && to.value(~std::uint64_t{0}) &&
           to.beginElement() && to.value(0.1F) && to.beginElement() && to.value(0.1) &&
           to.beginElement() && to.value(std::string_view(text)) && to.beginElement() &&
           to.values(std::vector<bool>(300, true)) && to.beginElement() &&
           to.values(std::vector<std::int16_t>(300, 7)) && to.beginElement() &&
           to.values(std::vector<double>(300, 0.5)) && to.endArray() && to.beginField("b") &&
           to.value(false) && to.endObject();
}

// The buffer has no capacity, so every single call needs memory and fails.
TEST(FieldWriterTest, EveryCallFailsWithoutMemory) {
    const std::vector<std::function<bool(FieldWriter&)>> calls{
        [](FieldWriter& to) { return to.null(); },
        [](FieldWriter& to) { return to.value(true); },
        [](FieldWriter& to) { return to.value(1); },
        [](FieldWriter& to) { return to.value(std::uint64_t{1}); },
        [](FieldWriter& to) { return to.value(0.5F); },
        [](FieldWriter& to) { return to.value(0.5); },
        [](FieldWriter& to) { return to.value(std::string_view("x")); },
        [](FieldWriter& to) { return to.values(std::vector<bool>()); },
        [](FieldWriter& to) { return to.values(std::vector<std::int8_t>()); },
        [](FieldWriter& to) { return to.beginArray(); },
        [](FieldWriter& to) { return to.beginObject(); },
        [](FieldWriter& to) { return to.beginField("x"); }};
    for (const Format format : {Format::Binary, Format::Json}) {
        for (const auto& call : calls) {
            util::ByteBufferWriter bytes(0);
            FieldWriter writer(format, bytes);
            bool done = true;
            {
                const kova::test::FailingAllocations failing(0);
                done = call(writer);
            }
            EXPECT_FALSE(done);
            EXPECT_EQ(bytes.size(), 0U);
        }
    }
}

TEST(FieldWriterTest, WritingFailsIfAnyAllocationFails) {
    for (const Format format : {Format::Binary, Format::Json}) {
        std::string written;
        const long failures = kova::test::failEveryAllocation([&] {
            try {
                util::ByteBufferWriter bytes(0);
                FieldWriter writer(format, bytes);
                if (!writeEverything(writer)) {
                    return false;
                }
                written = payloads::textOf(bytes);
                return true;
            } catch (const std::bad_alloc&) {  // creating the values failed
                return false;
            }
        });
        EXPECT_GT(failures, 8);
        EXPECT_GT(written.size(), 1000U);
    }
}

}  // namespace
