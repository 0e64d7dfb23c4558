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

TEST(FieldsTest, AreWrittenInTheirOrderWithThoseOfTheBaseFirst) {
    Lamp lamp;
    lamp.name = "desk";
    lamp.id = 3;
    EXPECT_EQ(write(toPayload(lamp)), R"({"name":"desk","id":3,"type":7,"lit":false})");
    lamp.dimmed = 5;
    EXPECT_EQ(write(toPayload(lamp)), R"({"name":"desk","id":3,"type":7,"lit":false,"dimmed":5})");
    EXPECT_EQ(write(toPayload(Hidden(4))), R"({"value":4})");
    EXPECT_EQ(write(toPayload(Empty())), "{}");
}

// ---- reading

TEST(FieldsTest, AreReadInAnyOrder) {
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

TEST(FieldsTest, OptionalFieldsKeepTheirDefault) {
    EXPECT_EQ(read<Lamp>(R"({"name":"n","id":1,"lit":true})")->kind, 7);
    EXPECT_EQ(read<Lamp>(R"({"name":"n","id":1,"lit":true,"dimmed":null})")->dimmed, std::nullopt);
}

TEST(FieldsTest, LastOfRepeatedFieldsReplacesTheWholeMember) {
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

TEST(FieldsTest, StrictStructsRefuseUnknownFields) {
    EXPECT_EQ(read<Closed>(R"({"level":3})")->level, 3);
    EXPECT_EQ(reason<Closed>(R"({"level":3,"lvl":3})"),
              "expected no other field, found \"lvl\" (byte 17)");
}

}  // namespace
}  // namespace kova::kit
