#include "kova/kit/values/FastStruct.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Formats.h"
#include "kova/kit/Values.h"

namespace kova::kit::test {
namespace {

std::string bytesOf(const Result<Payload>& payload) {
    return payload ? std::string(reinterpret_cast<char const*>(payload->data()), payload->size())
                   : payload.error().message;
}

/// Expects that the fast path writes the same bytes as the general writer, and reads them.
template <typename T>
void expectSameBytes(const T& value) {
    for (const auto& [fast, general] : {std::pair(Format::Json, Format::GeneralJson),
                                        std::pair(Format::Binary, Format::GeneralBinary)}) {
        const Result<Payload> payload = writeAs(fast, value);
        EXPECT_EQ(bytesOf(payload), bytesOf(writeAs(general, value)));
        ASSERT_TRUE(payload);
        const Result<T> copy = fromPayload<T>(*payload);
        ASSERT_TRUE(copy) << copy.error().message;
        EXPECT_EQ(bytesOf(writeAs(fast, *copy)), bytesOf(payload));
    }
}

template <typename T>
struct One {
    T value{};
    T next{};
};
template <typename T>
constexpr auto describeOne() {
    return fields(field("value", &One<T>::value), field("next", &One<T>::next));
}
// clang-format off
constexpr auto kovaFields(One<bool>*) { return describeOne<bool>(); }
constexpr auto kovaFields(One<std::int8_t>*) { return describeOne<std::int8_t>(); }
constexpr auto kovaFields(One<std::uint8_t>*) { return describeOne<std::uint8_t>(); }
constexpr auto kovaFields(One<std::int16_t>*) { return describeOne<std::int16_t>(); }
constexpr auto kovaFields(One<std::uint16_t>*) { return describeOne<std::uint16_t>(); }
constexpr auto kovaFields(One<std::int32_t>*) { return describeOne<std::int32_t>(); }
constexpr auto kovaFields(One<std::uint32_t>*) { return describeOne<std::uint32_t>(); }
constexpr auto kovaFields(One<std::int64_t>*) { return describeOne<std::int64_t>(); }
constexpr auto kovaFields(One<std::uint64_t>*) { return describeOne<std::uint64_t>(); }
constexpr auto kovaFields(One<long long>*) { return describeOne<long long>(); }
constexpr auto kovaFields(One<float>*) { return describeOne<float>(); }
constexpr auto kovaFields(One<double>*) { return describeOne<double>(); }
constexpr auto kovaFields(One<std::string>*) { return describeOne<std::string>(); }
constexpr auto kovaFields(One<std::optional<int>>*) { return describeOne<std::optional<int>>(); }
// clang-format on

template <typename T>
void expectIntegers() {
    for (const std::uint64_t magnitude :
         {0ULL, 1ULL, 23ULL, 24ULL, 25ULL, 127ULL, 128ULL, 255ULL, 256ULL, 257ULL, 65'535ULL,
          65'536ULL, 65'537ULL, 4'294'967'295ULL, 4'294'967'296ULL, 4'294'967'297ULL,
          9'223'372'036'854'775'807ULL, 18'446'744'073'709'551'615ULL}) {
        const T positive = static_cast<T>(magnitude);
        const T negative = static_cast<T>(~magnitude);
        expectSameBytes(One<T>{positive, negative});
    }
}

TEST(FastStructTest, IntegersOfAllWidthsHaveTheBytesOfTheGeneralWriter) {
    expectIntegers<std::int8_t>();
    expectIntegers<std::uint8_t>();
    expectIntegers<std::int16_t>();
    expectIntegers<std::uint16_t>();
    expectIntegers<std::int32_t>();
    expectIntegers<std::uint32_t>();
    expectIntegers<std::int64_t>();
    expectIntegers<std::uint64_t>();
    expectIntegers<long long>();
}

TEST(FastStructTest, OtherNumbersHaveTheBytesOfTheGeneralWriter) {
    expectSameBytes(One<bool>{true, false});
    expectSameBytes(One<float>{-0.1F, std::numeric_limits<float>::max()});
    expectSameBytes(One<double>{-0.1, std::numeric_limits<double>::denorm_min()});
    expectSameBytes(One<std::string>{"", "a text that is longer than a short one \xC3\xA4"});
}

TEST(FastStructTest, TextsOfAllLengthsHaveTheBytesOfTheGeneralWriter) {
    for (std::size_t size = 0; size <= 40; ++size) {
        std::string text = std::string("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMN").substr(0, size);
        expectSameBytes(One<std::string>{text, "n"});
        for (std::size_t i = 0; i + 1 < size; ++i) {
            std::string other = text;
            other.replace(i, 2, "\xC3\xA4");
            expectSameBytes(One<std::string>{other, other});
        }
    }
}

struct Named {
    int a = 1, b = 2, c = 3, d = 4, e = 5, f = 6, g = 7;
};
KOVA_FIELDS(Named, as("\xC3\xA4", a), as("say \"b\"", b), as("line\n", c), as("", d),
            as("of-23-bytes-which-is-ok", e), as("of-24-bytes-which-is-not", f), as("$g.0", g))

TEST(FastStructTest, NamesOfAllKindsHaveTheBytesOfTheGeneralWriter) {
    expectSameBytes(Named());
#if KOVA_KIT_HAS_FAST_PATH
    static_assert(detail::encodeName("of-23-bytes-which-is-ok").size == 23);
    static_assert(detail::encodeName("of-24-bytes-which-is-not").size == 0);
    static_assert(detail::encodeName("\xC3\xA4").size == 0);
#endif
}

struct RareFirst {
    std::optional<int> a;
    int b = 2;
};
KOVA_FIELDS(RareFirst, as("a b", a), as("c d", b))

TEST(FastStructTest, CommasSeparateOnlyThePresentFields) {
    expectSameBytes(RareFirst());
    expectSameBytes(RareFirst{1, 2});
    expectSameBytes(One<std::optional<int>>{});
    expectSameBytes(One<std::optional<int>>{1, {}});
    expectSameBytes(One<std::optional<int>>{{}, 1});
    EXPECT_EQ(bytesOf(toPayload(One<std::optional<int>>{{}, 1})), "{\"next\":1}");
}

struct Inner {
    std::string text;
    std::vector<int> numbers;
    std::vector<bool> flags;
};
KOVA_FIELDS(Inner, text, numbers, flags)
struct Outer {
    std::vector<Inner> list;
    std::map<std::string, Inner> map;
    Inner inner;
    int last = 0;
};
KOVA_FIELDS(Outer, list, map, inner, last)

TEST(FastStructTest, NestedValuesHaveTheBytesOfTheGeneralWriter) {
    const Inner inner{std::string(5000, 'x'), {1, 2, 3}, {true, false}};
    expectSameBytes(Outer());
    expectSameBytes(Outer{{inner, Inner(), inner}, {{"a", inner}, {"b", Inner()}}, inner, 7});
}

struct Empty {};
constexpr auto kovaFields(Empty*) {
    return fields();
}

TEST(FastStructTest, StructWithoutFieldsIsAnEmptyObject) {
    expectSameBytes(Empty());
    EXPECT_EQ(bytesOf(toPayload(Empty())), "{}");
}

TEST(FastStructTest, ErrorForAnUnencodableValueNamesItsField) {
    const auto infinite = toPayload(One<double>{1, std::numeric_limits<double>::infinity()});
    EXPECT_EQ(infinite.error().message, "next: expected a finite number, found inf (byte 20)");
}

struct Chain {
    std::vector<Chain> next;
};
KOVA_FIELDS(Chain, next)

Chain chainOf(std::size_t structs) {
    Chain chain;
    for (std::size_t i = 1; i < structs; ++i) {
        Chain outer;
        outer.next.push_back(std::move(chain));
        chain = std::move(outer);
    }
    return chain;
}

TEST(FastStructTest, DepthLimitCannotExceedThatOfThePlatform) {
    Limits limits;
    limits.depth = 10 * util::MAX_NESTING_DEPTH;
    for (char const* const format : {mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE}) {
        EXPECT_TRUE(toPayload(chainOf(util::MAX_NESTING_DEPTH / 2), format, limits));
        EXPECT_FALSE(toPayload(chainOf(util::MAX_NESTING_DEPTH / 2 + 1), format, limits));
    }
}

}  // namespace
}  // namespace kova::kit::test
