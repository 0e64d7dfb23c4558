// Tests of move assignment, which does not change a value that is assigned to itself.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "kova/core/Disposable.h"
#include "kova/core/GenericObject.h"
#include "kova/core/KovaException.h"
#include "kova/core/Number.h"
#include "kova/core/Path.h"
#include "kova/core/PathPatterns.h"
#include "kova/core/Request.h"
#include "kova/core/RequestInfo.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/Response.h"
#include "kova/core/RootAccessor.h"
#include "kova/core/SemVer.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/url.h"
#include "util/config/CompactString.h"
#include "util/config/Scalars.h"
#include "zel/UUID.h"
#include "zel/unicode/String.h"

namespace kova {
namespace {

using dovglobals::Date;
using dovglobals::DateTime;
using dovglobals::Duration;
using dovglobals::GeoPosition;
using dovglobals::RGBA;
using dovglobals::Time;
using dovglobals::TimeZone;
using util::config::CompactString;
using util::config::ValueInt;

/// A text that fits the inline storage of strings, and one that strings store on the heap.
constexpr char const* SHORT = "a/b";
constexpr char const* LONG = "/a/path/that/is/longer/than/the/buffer/inside/a/string";

/// Creates a value from a text, and prints its contents.
template <typename Value>
struct Sample;

template <>
struct Sample<Blob> {
    static Blob make(char const* text) { return Payload::createFromString(text).getBlob(); }
    static std::string print(const Blob& value) {
        std::string text;
        value.toString(text);
        return text;
    }
};

template <>
struct Sample<Payload> {
    static Payload make(char const* text) { return {Sample<Blob>::make(text), std::string(text)}; }
    static std::string print(const Payload& value) {
        return value.getMimeType() + " " + Sample<Blob>::print(value.getBlob());
    }
};

template <>
struct Sample<Request> {
    static Request make(char const* text) {
        Request request(text, text, Payload::createFromString(text));
        request.setMimeType(text);
        return request;
    }
    static std::string print(const Request& value) { return value.toString(); }
};

template <>
struct Sample<Response> {
    static Response make(char const* text) {
        Response response(503, Payload::createFromString(text));
        response.setErrorMessage(text);
        return response;
    }
    static std::string print(const Response& value) { return value.toString(); }
};

template <>
struct Sample<KovaException> {
    static KovaException make(char const* text) {
        return KovaException(Sample<Response>::make(text));
    }
    static std::string print(const KovaException& value) {
        return value.what() + value.getResponse().toString();
    }
};

template <>
struct Sample<RequestInfo> {
    static RequestInfo make(char const* text) { return {text, text, text, text}; }
    static std::string print(const RequestInfo& value) {
        return value.getCommand() + " " + value.getPath() + " " + value.getServicePath() + " " +
               value.getClientId();
    }
};

template <>
struct Sample<RootAccessor> {
    /// A service that stores the text of the latest request.
    struct Service : IKovaApi {
        void* actionRequest(const Request& request,
                            std::unique_ptr<IResponseHandler<Response>>&& /*handler*/) override {
            latest = request.toString();
            return nullptr;
        }
        void cancelRequest(void* /*handle*/) override {}
        std::string latest;
    };
    static Service& service() {
        static Service instance;
        return instance;
    }
    static RootAccessor make(char const* text) { return {&service(), "application/json", text}; }
    static std::string print(RootAccessor value) {
        value.trackResources(nullptr);
        return service().latest;
    }
};

template <>
struct Sample<Path> {
    static Path make(char const* text) { return Path(text); }
    static std::string print(const Path& value) { return value.toString(); }
};

template <>
struct Sample<PathPatterns> {
    static PathPatterns make(char const* text) { return PathPatterns(text); }
    static std::string print(const PathPatterns& value) {
        return value.glob() + (value.match(value.glob()) ? " matches" : " does not match");
    }
};

template <>
struct Sample<url> {
    static url make(char const* text) {
        return url::fromUserinfo("kova", text, "[::1]", text, 8080);
    }
    static std::string print(const url& value) {
        return value.toString() + " " + value.scheme() + " " + value.authority() + " " +
               value.rest() + " " + value.userinfo() + (value.isIpv6() ? " IPv6" : "") +
               (value.isWellFormed() ? " well-formed" : "");
    }
};

template <>
struct Sample<ResourceLocator> {
    static ResourceLocator make(char const* text) { return {std::string(text), text}; }
    static std::string print(const ResourceLocator& value) { return value.toString(); }
};

template <>
struct Sample<Number> {
    static Number make(char const* text) {
        Number number;
        number = std::string(text);
        EXPECT_EQ(number.intValue(), 0);
        return number;
    }
    static std::string print(const Number& value) {
        return value.toString() + (value.hasError() ? " error" : "");
    }
};

template <>
struct Sample<GenericObject> {
    static GenericObject make(char const* text) {
        return GenericObject{{text, new ValueInt(1)}, {"flag", util::config::Value::getBool(true)}};
    }
    static std::string print(const GenericObject& value) { return value.toJson(true); }
};

template <>
struct Sample<Disposable> {
    static Disposable make(char const* text) {
        return Disposable([text] { disposed() = text; });
    }
    static std::string print(Disposable& value) {
        disposed().clear();
        value.dispose();
        const std::string text = disposed();
        value = make(text.c_str());
        return text;
    }
    static std::string& disposed() {
        static std::string text;
        return text;
    }
};

template <>
struct Sample<semver::SemVer> {
    static semver::SemVer make(char const* text) { return {1, 2, 3, text}; }
    static std::string print(const semver::SemVer& value) { return value.toString(); }
};

template <>
struct Sample<zel::unicode::String> {
    static zel::unicode::String make(char const* text) {
        return *zel::unicode::String::fromUtf8(text);
    }
    static std::string print(const zel::unicode::String& value) { return value.utf8(); }
};

template <>
struct Sample<CompactString> {
    static CompactString make(char const* text) { return CompactString(text); }
    static std::string print(const CompactString& value) {
        return std::string(std::string_view(value));
    }
};

template <>
struct Sample<zel::UUID> {
    static zel::UUID make(char const* text) {
        zel::UUID::Bytes bytes{};
        bytes[0] = static_cast<unsigned char>(text[0]);
        return zel::UUID(bytes);
    }
    static std::string print(const zel::UUID& value) { return value.toString(); }
};

/// Base class for the types that do not contain a text.
template <typename Value>
struct Printed {
    static std::string print(const Value& value) { return value.toString(); }
};
template <>
struct Sample<Date> : Printed<Date> {
    static Date make(char const* /*text*/) { return {2019, 3, 7}; }
};
template <>
struct Sample<Time> : Printed<Time> {
    static Time make(char const* /*text*/) { return {8, 5, 9, 42, TimeZone{-5, 30}}; }
};
template <>
struct Sample<DateTime> : Printed<DateTime> {
    static DateTime make(char const* text) {
        return {Sample<Date>::make(text), Sample<Time>::make(text)};
    }
};
template <>
struct Sample<Duration> : Printed<Duration> {
    static Duration make(char const* /*text*/) { return {1, 2, 3, 4, 5, 6}; }
};
template <>
struct Sample<GeoPosition> : Printed<GeoPosition> {
    static GeoPosition make(char const* /*text*/) { return {1.5, -2.5, 3.5}; }
};
template <>
struct Sample<RGBA> : Printed<RGBA> {
    static RGBA make(char const* /*text*/) { return {1, 2, 3, 0.5F}; }
};

template <typename Value>
class SelfMoveTest : public testing::Test {};
using Values =
    testing::Types<Blob, Payload, Request, Response, KovaException, RequestInfo, RootAccessor, Path,
                   PathPatterns, url, ResourceLocator, Number, GenericObject, Disposable,
                   semver::SemVer, zel::unicode::String, CompactString, zel::UUID, Date, Time,
                   DateTime, Duration, GeoPosition, RGBA>;
TYPED_TEST_SUITE(SelfMoveTest, Values);

TYPED_TEST(SelfMoveTest, SelfAssignmentDoesNotChangeTheValue) {
    for (char const* const text : {SHORT, LONG}) {
        TypeParam value = Sample<TypeParam>::make(text);
        const std::string before = Sample<TypeParam>::print(value);
        ASSERT_FALSE(before.empty());
        TypeParam& alias = value;
        value = std::move(alias);
        EXPECT_EQ(Sample<TypeParam>::print(value), before);
    }
}

TYPED_TEST(SelfMoveTest, AssignmentToAnotherObjectTransfersTheValue) {
    for (char const* const text : {SHORT, LONG}) {
        TypeParam value = Sample<TypeParam>::make(text);
        const std::string before = Sample<TypeParam>::print(value);
        TypeParam other = Sample<TypeParam>::make("x");
        other = std::move(value);
        EXPECT_EQ(Sample<TypeParam>::print(other), before);
    }
}

}  // namespace
}  // namespace kova
