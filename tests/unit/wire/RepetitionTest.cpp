#include "wire/Repetition.h"

#include <gtest/gtest.h>

#include <string>

#include "kova/core/StatusCodes.h"
#include "kova/core/headers.h"

namespace kova::wire {
namespace {

Request retrieval() {
    return Request("retrieve", "/x");
}

Request subscription(const std::string& command = "retrieve") {
    Request request(command, "/x");
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    return request;
}

TEST(RepetitionTest, NothingIsRepeatedByDefault) {
    for (const Repetition& repetition : {Repetition(), Repetition(retrieval(), false, false),
                                         Repetition(subscription(), false, false)}) {
        EXPECT_FALSE(repetition.isPossible());
        EXPECT_FALSE(repetition.isDue());
        EXPECT_FALSE(repetition.isPatient());
    }
}

TEST(RepetitionTest, OnlyRetrievalsAreRepeated) {
    for (char const* const command : {"update", "insert", "delete", "other", ""}) {
        const Repetition repetition(subscription(command), true, true);
        EXPECT_FALSE(repetition.isPossible()) << command;
        EXPECT_FALSE(repetition.isDue()) << command;
        EXPECT_FALSE(repetition.isPatient()) << command;
    }
}

TEST(RepetitionTest, RetrievalIsRepeatedAtMostThreeTimes) {
    Repetition repetition(retrieval(), true, false);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(repetition.isDue()) << i;
        repetition.onRepeat();
    }
    EXPECT_FALSE(repetition.isDue());
    EXPECT_FALSE(repetition.isPossible());
}

TEST(RepetitionTest, RetrievalIsNotRepeatedAfterAValue) {
    Repetition repetition(retrieval(), true, false);
    repetition.onValue(Response(200));
    EXPECT_FALSE(repetition.isDue());
    EXPECT_FALSE(repetition.isPossible());
}

TEST(RepetitionTest, RequestedStreamIsRepeatedWithoutALimit) {
    Repetition repetition(subscription(), false, true);
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(repetition.isDue()) << i;
        EXPECT_TRUE(repetition.isPatient()) << i;
        repetition.onRepeat();
    }
}

TEST(RepetitionTest, RetrievalIsAStreamWhileItsLastValueSaysSo) {
    Repetition repetition(retrieval(), false, true);
    EXPECT_TRUE(repetition.isPossible());
    EXPECT_FALSE(repetition.isDue());
    repetition.onValue(Response(statuscodes::STREAM));
    EXPECT_TRUE(repetition.isDue());
    EXPECT_TRUE(repetition.isPatient());
    repetition.onValue(Response(200));
    EXPECT_TRUE(repetition.isPossible());
    EXPECT_FALSE(repetition.isDue());
}

TEST(RepetitionTest, StreamIsNotRepeatedIfOnlyRetrievalsAre) {
    Repetition repetition(subscription(), true, false);
    EXPECT_TRUE(repetition.isDue());
    EXPECT_FALSE(repetition.isPatient());
    repetition.onValue(Response(statuscodes::STREAM));
    EXPECT_FALSE(repetition.isDue());
}

TEST(RepetitionTest, ValueCountsUntilTheRequestIsRepeated) {
    Repetition repetition(subscription(), false, true);
    EXPECT_FALSE(repetition.hasValue());
    repetition.onValue(Response(statuscodes::STREAM));
    EXPECT_TRUE(repetition.hasValue());
    repetition.onRepeat();
    EXPECT_FALSE(repetition.hasValue());
}

}  // namespace
}  // namespace kova::wire
