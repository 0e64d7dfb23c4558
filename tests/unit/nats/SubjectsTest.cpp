#include "nats/Subjects.h"

#include <gtest/gtest.h>

#include <string>

namespace kova::nats::detail {
namespace {

std::string subjectOf(const std::string& path, const std::string& instance = {}) {
    return requestSubject("kova", path, instance).orThrow();
}

std::string refusalOf(const std::string& prefix, const std::string& path,
                      const std::string& instance = {}) {
    const kit::Result<std::string> subject = requestSubject(prefix, path, instance);
    return subject ? "accepted" : std::to_string(subject.error().code);
}

TEST(SubjectsTest, ServicePathsAndInstancesBecomeTokens) {
    EXPECT_EQ(subjectOf("/device"), "kova.device.@q");
    EXPECT_EQ(subjectOf("/device/"), "kova.device.@q");
    EXPECT_EQ(subjectOf("/"), "kova.%.@q");
    EXPECT_EQ(subjectOf("/device", "car-17"), "kova.device.car-17.@q");
    EXPECT_EQ(subjectOf("/device/@q"), "kova.device.%40q.@q");
    EXPECT_EQ(subjectOf("/a//b"), "kova.a.%.b.@q");
    EXPECT_EQ(subjectOf("/a.b/* >", "x.y"), "kova.a%2Eb.%2A%20%3E.x%2Ey.@q");
    EXPECT_EQ(subjectOf("/\xC3\xA4\x01"), "kova.%C3%A4%01.@q");
}

TEST(SubjectsTest, InstanceIsTheLastSegmentOfAServicePath) {
    EXPECT_EQ(subjectOf("/device", "car-17"), subjectOf("/device/car-17"));
    EXPECT_EQ(subjectOf("/device/", "a b"), subjectOf("/device/a b"));
    EXPECT_EQ(subjectOf("/", "x"), subjectOf("/x"));
}

TEST(SubjectsTest, InstancesAreSearchedForOnASubjectOfTheServicePath) {
    EXPECT_EQ(searchSubject("kova", "/device").orThrow(), "kova.device.@a");
    EXPECT_EQ(searchSubject("kova", "/").orThrow(), "kova.%.@a");
    EXPECT_EQ(searchSubject("kova", "device").error().code, 400);
}

TEST(SubjectsTest, DifferentServicesHaveDifferentSubjects) {
    EXPECT_NE(subjectOf("/a", "b/c"), subjectOf("/a/b", "c"));
    EXPECT_NE(subjectOf("/a/%2E"), subjectOf("/a/."));
    EXPECT_NE(subjectOf("/a//"), subjectOf("/a/%"));
}

TEST(SubjectsTest, NamesUpToTheLimitAreAccepted) {
    const std::string longest(LONGEST_NAME, 'x');
    EXPECT_EQ(refusalOf(longest, "/a", longest), "accepted");
    EXPECT_EQ(refusalOf("kova", "/" + longest.substr(1)), "accepted");
    EXPECT_EQ(refusalOf(longest + "x", "/a"), "400");
    EXPECT_EQ(refusalOf("kova", "/" + longest), "400");
    EXPECT_EQ(refusalOf("kova", "/a", longest + "x"), "400");
}

TEST(SubjectsTest, MalformedNamesAreRefused) {
    EXPECT_EQ(refusalOf("kova", ""), "400");
    EXPECT_EQ(refusalOf("kova", "device"), "400");
    for (char const* prefix : {"", ".", "a.", ".a", "a..b", "a b", "a*", ">", "a\n", "@q"}) {
        EXPECT_EQ(refusalOf(prefix, "/a"), "400") << prefix;
    }
    EXPECT_EQ(refusalOf("a-1.B_2", "/a"), "accepted");
}

TEST(SubjectsTest, NumberFollowsTheSubject) {
    EXPECT_EQ(controlSubject("kova", "ID"), "kova.@c.ID");
    EXPECT_EQ(numberAfter("a.b", "a.b.17"), 17U);
    EXPECT_EQ(numberAfter("a.b", "a.b.18446744073709551615"), 18446744073709551615U);
    for (char const* message : {"", "a.b", "a.b.", "a.c.1", "a.bc1", "a.b.x", "a.b.1x", "a.b.-1",
                                "a.b.1.2", "a.b.18446744073709551616"}) {
        EXPECT_FALSE(numberAfter("a.b", message)) << message;
    }
}

}  // namespace
}  // namespace kova::nats::detail
