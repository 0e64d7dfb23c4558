#include "kova/core/OwningPullFromPushDeserializer.h"

#include <gtest/gtest.h>

#include <new>

#include "support/FailingAllocations.h"
#include "util/ByteBufferReader.h"
#include "util/serializer/IStructuredSerializer.h"

namespace {

using kova::serializer::OwningPullFromPushDeserializer;

/// Replays one integer for any bytes, and counts the living objects.
class FakeSource : public util::serializer::IStructuredPushDeserializer {
public:
    explicit FakeSource(int& alive) : alive_(alive) { ++alive_; }
    ~FakeSource() override { --alive_; }

    bool beginDeserialize(util::ByteBufferReader*,
                          util::serializer::IStructuredSerializer* target) override {
        target_ = target;
        return false;
    }
    int deserialize() override { return target_->serializeInt64(42) ? FAILED : DONE; }
    bool endDeserialize() override { return false; }
    void setNestingLimit(unsigned int) noexcept override {}

private:
    int& alive_;
    util::serializer::IStructuredSerializer* target_ = nullptr;
};

TEST(OwningPullFromPushDeserializer, ReadsThroughItsSource) {
    int alive = 0;
    OwningPullFromPushDeserializer deserializer(std::make_unique<FakeSource>(alive));
    unsigned char const bytes[] = {0};
    util::ByteBufferReader reader(bytes, sizeof bytes, false);
    ASSERT_FALSE(deserializer.beginDeserialize(&reader, nullptr));
    std::int32_t value = 0;
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 42);
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST(OwningPullFromPushDeserializer, DestructorOfTheInterfaceDestroysTheSource) {
    int alive = 0;
    std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer =
        std::make_unique<OwningPullFromPushDeserializer>(std::make_unique<FakeSource>(alive));
    EXPECT_EQ(alive, 1);
    deserializer.reset();
    EXPECT_EQ(alive, 0);
}

TEST(OwningPullFromPushDeserializer, OwnsASourceGivenAsARawPointer) {
    int alive = 0;
    {
        OwningPullFromPushDeserializer deserializer(new FakeSource(alive));
        EXPECT_EQ(alive, 1);
        unsigned char const bytes[] = {0};
        util::ByteBufferReader reader(bytes, sizeof bytes, false);
        ASSERT_FALSE(deserializer.beginDeserialize(&reader, nullptr));
        std::int64_t value = 0;
        EXPECT_FALSE(deserializer.getInt64(value));
        EXPECT_EQ(value, 42);
    }
    EXPECT_EQ(alive, 0);
}

TEST(OwningPullFromPushDeserializer, DestroysARawSourceIfMemoryIsExhausted) {
    int alive = 0;
    bool thrown = false;
    auto* const source = new FakeSource(alive);
    try {
        const kova::test::FailingAllocations failing(0);
        OwningPullFromPushDeserializer deserializer(source);
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(alive, 0);
}

}  // namespace
