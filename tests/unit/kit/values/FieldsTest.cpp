#include "kova/kit/Fields.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kova/kit/Values.h"

namespace kova::kit {
namespace {

// ---- descriptions

struct Device {
    std::string name;
    int id = 0;
};
KOVA_FIELDS(Device, name, id)

struct Lamp : Device {
    int kind = 7;
    bool on = false;
    std::optional<int> dimmed;
};
KOVA_FIELDS(Lamp, base(Device), optional(as("type", kind)), as("lit", on), dimmed)

struct Closed {
    int level = 0;
};
KOVA_FIELDS(Closed, strict(), level)

class Hidden {
public:
    explicit Hidden(int value = 0) : value_(value) {}
    int value() const { return value_; }

private:
    int value_;
    friend KOVA_FIELDS(Hidden, as("value", value_))
};

struct Plain {
    int a = 1;
    Lamp lamp;
    std::vector<Device> devices;
};
constexpr auto kovaFields(Plain*) {
    return fields(field("a", &Plain::a), optional(field("lamp", &Plain::lamp)),
                  optional(field("devices", &Plain::devices)));
}

struct Wide {
    int f0 = 0, f1 = 1, f2 = 2, f3 = 3, f4 = 4, f5 = 5, f6 = 6, f7 = 7;
    int f8 = 8, f9 = 9, f10 = 10, f11 = 11, f12 = 12, f13 = 13, f14 = 14, f15 = 15;
    int f16 = 16, f17 = 17, f18 = 18, f19 = 19, f20 = 20, f21 = 21, f22 = 22, f23 = 23;
    int f24 = 24, f25 = 25, f26 = 26, f27 = 27, f28 = 28, f29 = 29, f30 = 30, f31 = 31;
    int f32 = 32, f33 = 33, f34 = 34, f35 = 35, f36 = 36, f37 = 37, f38 = 38, f39 = 39;
    int f40 = 40, f41 = 41, f42 = 42, f43 = 43, f44 = 44, f45 = 45, f46 = 46, f47 = 47;
    int f48 = 48, f49 = 49, f50 = 50, f51 = 51, f52 = 52, f53 = 53, f54 = 54, f55 = 55;
    int f56 = 56, f57 = 57, f58 = 58, f59 = 59, f60 = 60, f61 = 61, f62 = 62, f63 = 63;
};
KOVA_FIELDS(Wide, f0, f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14, f15, f16, f17,
            f18, f19, f20, f21, f22, f23, f24, f25, f26, f27, f28, f29, f30, f31, f32, f33, f34,
            f35, f36, f37, f38, f39, f40, f41, f42, f43, f44, f45, f46, f47, f48, f49, f50, f51,
            f52, f53, f54, f55, f56, f57, f58, f59, f60, f61, f62, f63)

struct Nested {
    int kind = 7;
    std::chrono::seconds age{5};
    int optional = 3;  // a member may have the name of an item of KOVA_FIELDS
};
KOVA_FIELDS(Nested, as("type", optional(kind)), optional(as("old", count(age))), optional)

struct Empty {};
KOVA_FIELDS(Empty)

struct Undescribed : Device {};

static_assert(detail::hasFields<Device>);
static_assert(!detail::hasFields<Undescribed>, "a derived struct is not described by its base");
static_assert(!detail::hasFields<int>);
static_assert(detail::fieldsOf<Lamp>.name() == "Lamp");
static_assert(detail::fieldCount<Lamp> == 5);
static_assert(detail::fieldCount<Empty> == 0);

std::string write(const Result<Payload>& payload) {
    std::string text;
    static_cast<void>(Payload::createStringFrom(payload.value(), text, true));
    return text;
}

template <typename T>
Result<T> read(char const* json) {
    return fromPayload<T>(Payload::createFromJSON(json));
}

template <typename T>
std::string reason(char const* json) {
    const Result<T> result = read<T>(json);
    return result ? "" : result.error().message;
}

// ---- writing

TEST(FieldsTest, FieldsOfTheBaseAreWrittenFirst) {
    Lamp lamp;
    lamp.name = "desk";
    lamp.id = 3;
    EXPECT_EQ(write(toPayload(lamp)), R"({"name":"desk","id":3,"type":7,"lit":false})");
    lamp.dimmed = 5;
    EXPECT_EQ(write(toPayload(lamp)), R"({"name":"desk","id":3,"type":7,"lit":false,"dimmed":5})");
    EXPECT_EQ(write(toPayload(Hidden(4))), R"({"value":4})");
    EXPECT_EQ(write(toPayload(Empty())), "{}");
}

TEST(FieldsTest, FieldMacroAcceptsNestedItemListsAnd64Fields) {
    EXPECT_EQ(write(toPayload(Nested())), R"({"type":7,"old":5,"optional":3})");
    EXPECT_EQ(read<Nested>(R"({"optional":4})")->kind, 7);
    static_assert(detail::fieldCount<Wide> == 64);
    const std::string json = write(toPayload(Wide()));
    EXPECT_EQ(json.substr(json.size() - 18), R"("f62":62,"f63":63})") << json;
    EXPECT_EQ(write(toPayload(read<Wide>(json.c_str()).value())), json);
}

// ---- reading

TEST(FieldsTest, NamesThatDifferInOneByteAreDistinguished) {
    for (std::size_t size = 0; size <= 20; ++size) {
        const std::string name = std::string("abcdefghijklmnopqrst").substr(0, size);
        EXPECT_TRUE(detail::isSameName(name, std::string(name)));
        EXPECT_FALSE(detail::isSameName(name, name + "u"));
        for (std::size_t i = 0; i < size; ++i) {
            std::string other = name;
            other[i] = 'X';
            EXPECT_FALSE(detail::isSameName(name, other)) << name << ' ' << i;
        }
    }
}

TEST(FieldsTest, FieldsAreReadInAnyOrder) {
    const Lamp lamp =
        read<Lamp>(R"({"lit":true,"x":[{"y":1}],"type":1,"id":2,"name":"n"})").value();
    EXPECT_TRUE(lamp.on);
    EXPECT_EQ(lamp.kind, 1);
    EXPECT_EQ(lamp.id, 2);
    EXPECT_EQ(lamp.name, "n");
    EXPECT_EQ(lamp.dimmed, std::nullopt);
    EXPECT_EQ(read<Hidden>(R"({"value":8})")->value(), 8);
    EXPECT_TRUE(read<Empty>(R"({"value":8})").ok());
}

TEST(FieldsTest, MissingOptionalFieldsKeepTheirDefaults) {
    EXPECT_EQ(read<Lamp>(R"({"name":"n","id":1,"lit":true})")->kind, 7);
    EXPECT_EQ(read<Lamp>(R"({"name":"n","id":1,"lit":true,"dimmed":null})")->dimmed, std::nullopt);
}

TEST(FieldsTest, LastOfTheRepeatedFieldsReplacesTheWholeMember) {
    const Plain plain = read<Plain>(R"({"a":1,"a":2,
        "lamp":{"name":"n","id":1,"type":3,"lit":true},
        "lamp":{"name":"m","id":4,"lit":false},
        "devices":[{"name":"n","id":1}],"devices":[]})")
                            .value();
    EXPECT_EQ(plain.a, 2);
    EXPECT_EQ(plain.lamp.kind, 7);
    EXPECT_EQ(plain.lamp.name, "m");
    EXPECT_TRUE(plain.devices.empty());
}

TEST(FieldsTest, FailuresNameThePathOfTheField) {
    EXPECT_EQ(reason<Lamp>(R"({"name":"n","lit":true})"),
              "expected the field \"id\", found a struct without it (byte 0)");
    EXPECT_EQ(reason<Plain>(R"({"a":1,"devices":[{"name":"n","id":1},{"name":"n"}]})"),
              "devices[1]: expected the field \"id\", found a struct without it (byte 38)");
    EXPECT_EQ(reason<Plain>(R"({"a":1,"lamp":{"name":17}})"),
              "lamp.name: expected a string, found 17 (byte 22)");
    EXPECT_EQ(reason<Plain>(R"({"a":1,"lamp":[]})"),
              "lamp: expected a struct, found an array (byte 14)");
    EXPECT_EQ(reason<Plain>(R"({"a":null})"),
              "a: expected an integer of 32 bits, found null (byte 5)");
}

TEST(FieldsTest, StrictStructsRejectUnknownFields) {
    EXPECT_EQ(read<Closed>(R"({"level":3})")->level, 3);
    EXPECT_EQ(reason<Closed>(R"({"level":3,"lvl":3})"),
              "expected no other field, found \"lvl\" (byte 17)");
}

}  // namespace
}  // namespace kova::kit
