#include "foreign/Accept.h"

#include <gtest/gtest.h>

#include <string>

#include "kova/core/MimeTypes.h"

namespace kova::http::detail {
namespace {

struct Chosen {
    char const* list;
    char const* mimeType;  // "" for no entry
    bool isStream = false;
};

class AcceptedList : public ::testing::TestWithParam<Chosen> {};

TEST_P(AcceptedList, SelectsMimeTypeAndStream) {
    const Accept accept(GetParam().list);
    EXPECT_EQ(accept.mimeType().value_or(""), GetParam().mimeType);
    EXPECT_EQ(accept.prefers("text/event-stream"), GetParam().isStream);
}

INSTANTIATE_TEST_SUITE_P(
    AcceptTest, AcceptedList,
    ::testing::Values(
        Chosen{"", ""}, Chosen{"*/*", ""}, Chosen{"*", ""}, Chosen{"nonsense", ""},
        Chosen{"application/json", "application/json"},
        Chosen{"APPLICATION/JSON", "application/json"}, Chosen{"application/*", "application/json"},
        Chosen{"text/plain", "plain/text"}, Chosen{"text/*", "plain/text"},
        Chosen{"application/cbor", "application/vnd.axobin"},
        Chosen{"application/json;q=0.5, application/cbor", "application/vnd.axobin"},
        Chosen{"application/cbor;q=0.5, application/json;q=0.6", "application/json"},
        Chosen{"application/json;q=0, */*", "application/vnd.axobin"},
        Chosen{"application/json ; q=0.001 , text/plain ; q=0.002", "plain/text"},
        Chosen{"text/plain;q=.5, application/json;q=.4", "plain/text"},
        Chosen{"text/html,application/xhtml+xml,application/xml;q=0.9,image/webp,*/*;q=0.8", ""},
        Chosen{"text/html, image/gif, image/jpeg, *; q=.2, */*; q=.2", ""},
        Chosen{"image/png", "image/png"}, Chosen{"image/*", ""},
        Chosen{"image/png;q=0.1, image/gif;q=0.2", "image/gif"}, Chosen{"image/png;q=0", ""},
        Chosen{"a/b;x=\",\", application/cbor;q=0.1", "application/vnd.axobin"},
        Chosen{"text/event-stream", "", true}, Chosen{"text/event-stream;q=0", ""},
        Chosen{"text/event-stream;q=0.5, application/json", "application/json"},
        Chosen{"application/json, text/event-stream", "application/json", true},
        Chosen{"text/event-stream, */*;q=0.1", "", true}));

struct Quality {
    char const* list;
    char const* type;
    int quality;
};

class QualityOfType : public ::testing::TestWithParam<Quality> {};

TEST_P(QualityOfType, IsThatOfTheMostSpecificRange) {
    EXPECT_EQ(Accept(GetParam().list).qualityOf(GetParam().type), GetParam().quality);
}

INSTANTIATE_TEST_SUITE_P(
    AcceptTest, QualityOfType,
    ::testing::Values(Quality{"", "a/b", 1000}, Quality{"a/b", "a/b", 1000},
                      Quality{"a/b", "A/B", 1000}, Quality{"a/b", "a/c", 0},
                      Quality{"a/*;q=0.5", "a/c", 500},
                      Quality{"*/*;q=0.1, a/*;q=0.2, a/b;q=0.3", "a/b", 300},
                      Quality{"*/*;q=0.1, a/*;q=0.2, a/b;q=0.3", "a/c", 200},
                      Quality{"*/*;q=0.1, a/*;q=0.2, a/b;q=0.3", "c/b", 100},
                      Quality{"a/b;q=1.000", "a/b", 1000}, Quality{"a/b;q=0.123", "a/b", 123},
                      Quality{"a/b;q=0.1234", "a/b", 1000}, Quality{"a/b;q=x", "a/b", 1000},
                      Quality{"a/b;Q=0.2", "a/b", 200}, Quality{"a/b;q=2", "a/b", 1000},
                      Quality{"a/b;q=.", "a/b", 1000}, Quality{"a/b;q=0.", "a/b", 0},
                      Quality{"/b, a/, b", "a/b", 1000}, Quality{"a/b", "a", 0}));

TEST(AcceptTest, MediaTypesHaveTheirMimeTypes) {
    EXPECT_EQ(toMimeType("Text/Plain"), mimetypes::PLAIN_TEXT_TYPE);
    EXPECT_EQ(toMimeType("application/CBOR"), mimetypes::AXOBIN_TYPE);
    EXPECT_EQ(toMimeType("Application/Json"), mimetypes::JSON_TYPE);
    EXPECT_EQ(toMimeType("image/PNG"), "image/PNG");
    EXPECT_EQ(toMediaType(mimetypes::PLAIN_TEXT_TYPE), "text/plain");
    EXPECT_EQ(toMediaType(mimetypes::AXOBIN_TYPE), "application/cbor");
    EXPECT_EQ(toMediaType("image/png"), "image/png");
}

}  // namespace
}  // namespace kova::http::detail
