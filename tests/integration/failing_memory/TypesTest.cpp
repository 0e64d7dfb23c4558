#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Trial.h"
#include "kova/core/Alarm.h"
#include "kova/core/Disposable.h"
#include "kova/core/Errors.h"
#include "kova/core/Factory.h"
#include "kova/core/GenericObject.h"
#include "kova/core/Number.h"
#include "kova/core/PathPatterns.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/SemVer.h"
#include "kova/core/TypeSerializers.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/url.h"
#include "kova/core/uuid.h"
#include "support/Trees.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Scalars.h"
#include "zel/ErrorOutput.h"
#include "zel/ErrorStorage.h"

// Operations on typed values, generic objects, addresses, versions, errors and alarms.

namespace kova::test {
namespace {

using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using util::config::ValueInt;
using util::config::ValueString;

const std::string TEXT(KEY);

// ---- generic objects

void makeObject(Trial& trial) {
    const GenericObject::Pairs pairs = {{"a", new ValueString(TEXT)}, {"b", new ValueInt(2)}};
    std::optional<GenericObject> object;
    trial.attempt([&] { return object.emplace(pairs).size() < 2; });
    object->append({{"c", new ValueInt(3)}});
    EXPECT_TRUE(object->hasKey("c"));
}

void copyObject(Trial& trial) {
    const GenericObject object{{"a", new ValueString(TEXT)}, {"b", parseTree("[1,[2]]").release()}};
    GenericObject copy;
    trial.attempt([&] {
        copy = object;
        return copy.size() < 2;
    });
    for (const auto& [key, value] : copy) {
        EXPECT_TRUE(*value == object[key]) << key;
    }
    copy = object;
    EXPECT_EQ(copy.size(), 2U);
}

void toGenericArray(Trial& trial) {
    const std::vector<std::string> in(3, TEXT);
    std::unique_ptr<Array> array;
    trial.attempt([&] {
        array.reset(toGeneric(in));
        return array == nullptr;
    });
    EXPECT_TRUE(array == nullptr || array->arraySize() == 3);
}

void fromGenericString(Trial& trial) {
    const ValueString value(TEXT);
    std::string out = "before";
    trial.attempt([&] { return fromGeneric(value, out); });
    EXPECT_EQ(out, trial.isDone() ? TEXT : "before");
}

void fromGenericStrings(Trial& trial) {
    const std::unique_ptr<Array> array(toGeneric(std::vector<std::string>(3, TEXT)));
    std::vector<std::string> out(1, "before");
    trial.attempt([&] { return fromGeneric(*array, out); });
    EXPECT_EQ(out.front(), "before");
    EXPECT_TRUE(!trial.isDone() || out.size() == 4U);
}

// ---- typed values in payloads

constexpr char const* SAMPLE =
    R"({"a long key for a string":"a text that is too long to be kept in place",)"
    R"("another key, also long":[1,2.5,true,[null,{"x":"y"}]],"b":1})";

void writeTree(Trial& trial) {
    const Tree tree = parseTree(SAMPLE);
    const auto& dictionary = static_cast<const Dictionary&>(*tree);
    const std::unique_ptr<serializer::IStructuredSerializer> to(
        serializer::Factory::createSerializer(mimetypes::JSON));
    util::ByteBufferWriter writer(1000);
    const auto write = [&] {
        unsigned long size = 0;
        return to->beginSerialize(&writer, nullptr) || serializer::serialize(*to, dictionary) ||
               to->endSerialize(size);
    };
    trial.attempt(write);
    writer.truncate(0);
    EXPECT_FALSE(write());
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(writer.data()), writer.size()), SAMPLE);
}

std::unique_ptr<serializer::IStructuredPullDeserializer> readerOf(const Value& tree) {
    std::unique_ptr<serializer::IStructuredPullDeserializer> from(
        serializer::Factory::createGenericDataDeserializer(tree));
    EXPECT_FALSE(from->beginDeserialize(nullptr, nullptr));
    return from;
}

void readTree(Trial& trial) {
    const Tree tree = parseTree(SAMPLE);
    const auto from = readerOf(*tree);
    Dictionary out;
    trial.attempt([&] { return serializer::deserialize(*from, out); });
    for (const auto& [key, value] : out) {
        EXPECT_TRUE(*value == (*tree)[key]) << key << " was only partly read";
    }
    out.clear();
    EXPECT_FALSE(serializer::deserialize(*readerOf(*tree), out));
    EXPECT_TRUE(out == *tree);
}

/// Reads a value of type T from a string. The output is unchanged on failure.
template <typename T>
void read(Trial& trial, const std::string& text, const T& expected) {
    const ValueString node(text);
    const auto from = readerOf(node);
    T out{};
    trial.attempt([&] { return serializer::deserialize(*from, out); });
    EXPECT_TRUE(out == (trial.isDone() ? expected : T{}));
    EXPECT_FALSE(serializer::deserialize(*readerOf(node), out));
    EXPECT_TRUE(out == expected);
}

void readString(Trial& trial) {
    read<std::string>(trial, TEXT, TEXT);
}

void readUuid(Trial& trial) {
    zel::UUID id;
    uuid::createFromName("name", id);
    read(trial, id.toString(), id);
}

void readDateTime(Trial& trial) {
    const auto value = dovglobals::parseDateTime("2019-03-07T11:12:13.456+05:30");
    ASSERT_TRUE(value);
    read(trial, value->toString(), *value);
}

void readGeoPosition(Trial& trial) {
    const auto value = dovglobals::parseGeoPosition("52.520000;13.405000;34.000000");
    ASSERT_TRUE(value);
    read(trial, value->toString(), *value);
}

void readColour(Trial& trial) {
    const auto value = dovglobals::parseRGBA("rgba(255,255,255,0.5)");
    ASSERT_TRUE(value);
    read(trial, value->toString(), *value);
}

void readUrl(Trial& trial) {
    const ValueString node("http://a.host.with.a.long.name/and/a/path/that/is/long/too");
    const auto from = readerOf(node);
    url out;
    trial.attempt([&] { return serializer::deserialize(*from, out); });
    EXPECT_FALSE(serializer::deserialize(*readerOf(node), out));
    EXPECT_EQ(out.toString(), node.text());
}

void readNumber(Trial& trial) {
    const ValueString node(std::string(40, '7'));
    const auto from = readerOf(node);
    Number out(1);
    trial.attempt([&] { return serializer::deserialize(*from, out); });
    EXPECT_EQ(out.toString(), trial.isDone() ? node.text().str() : "1");
}

template <typename T>
void write(Trial& trial, const T& value) {
    const std::unique_ptr<serializer::IStructuredSerializer> to(
        serializer::Factory::createSerializer(mimetypes::JSON));
    util::ByteBufferWriter writer(0);
    unsigned long size = 0;
    ASSERT_FALSE(to->beginSerialize(&writer, nullptr));
    trial.attempt([&] { return serializer::serialize(*to, value); });
    EXPECT_EQ(to->endSerialize(size), !trial.isDone());
}

void writeUuid(Trial& trial) {
    write(trial, zel::UUID());
}

void writeDateTime(Trial& trial) {
    write(trial, dovglobals::DateTime());
}

void writeUrl(Trial& trial) {
    write(trial, url(TEXT));
}

void writeNumber(Trial& trial) {
    write(trial, Number(1));
}

void printDateTime(Trial& trial) {
    const dovglobals::DateTime value;
    trial.attempt([&] { return value.toString().empty(); });
}

// ---- addresses and versions

void cutUrl(Trial& trial) {
    url link("x:y");
    const std::string text = "http://user@a.host.with.a.long.name/and/a/path/that/is/long";
    trial.attempt([&] {
        link.init(text);
        return false;
    });
    link.init(text);
    EXPECT_EQ(link.path(), "/and/a/path/that/is/long");
}

void makeUriOfLocator(Trial& trial) {
    const ResourceLocator locator("/media/" + TEXT, "/tracks/" + TEXT);
    trial.attempt([&] { return locator.toUri().toString().empty(); });
}

void askLocator(Trial& trial) {
    const ResourceLocator locator("/" + TEXT + "/" + TEXT, "/tracks");
    trial.attempt([&] { return !locator.getServiceBasePath() || !locator.getServiceInstance(); });
}

void compileGlob(Trial& trial) {
    const std::string glob = "/items/{*,**,[a-z]x}/" + TEXT;
    trial.attempt([&] { return PathPatterns(glob).glob() != glob; });
}

void matchGlob(Trial& trial) {
    const PathPatterns patterns("/items/{*,**}/*x*/[a-z]");
    const std::string path = "/items/a/b/c/axb/z";
    trial.attempt([&] { return !patterns.match(path); });
    EXPECT_TRUE(patterns.match(path));
}

// Matching does not allocate memory, even for a glob with many simultaneous states.
void matchLongGlob(Trial& trial) {
    const std::string text(1000, 'x');
    const PathPatterns patterns("*" + text + "?*");
    const std::string path = text + text;
    trial.attempt([&] { return !patterns.match(path); });
    EXPECT_TRUE(patterns.match(path));
}

void chooseVersion(Trial& trial) {
    const std::vector<std::string> offered = {"2.4.1@" + TEXT, "2.3.0@" + TEXT};
    const std::string wanted = "2.4.0@" + TEXT;
    trial.attempt([&] { return !semver::getMostCompatible(wanted, offered); });
}

void makeUuid(Trial& trial) {
    zel::UUID id;
    trial.attempt([&] { return uuid::createFromName(TEXT, id) || uuid::createRandom(id); });
}

// ---- errors and alarms

void reportError(Trial& trial) {
    trial.attempt([] {
        zel::ErrorOutput("here", 1, true)(errors::Error, errors::PathNotFound, TEXT);
        return false;
    });
    EXPECT_EQ(zel::ErrorStorage::current().number(), errors::PathNotFound);
    zel::ErrorOutput("here", 2, true)(errors::Error, errors::PathNotFound, TEXT);
    EXPECT_EQ(zel::ErrorStorage::current().reason(), "path '" + TEXT + "' not found");
}

void makeAlarm(Trial& trial) {
    trial.attempt([] {
        const FunctionalAlarm alarm([text = std::string(5, 'x')] {});
        return false;
    });
}

void armAlarm(Trial& trial) {
    FunctionalAlarm alarm([] {});
    trial.attempt([&] {
        const bool failed = alarm.start(1000000, true);
        alarm.stop();
        return failed;
    });
}

void dispose(Trial& trial) {
    int calls = 0;
    Disposable disposable([&calls] { ++calls; });
    trial.attempt([&] {
        Disposable moved(std::move(disposable));
        moved.dispose();
        return calls != 1;
    });
}

constexpr Operation OPERATIONS[] = {
    {"GenericObject", FAILED, makeObject},
    {"GenericObject::operator=", FAILED, copyObject},
    {"toGeneric", FAILED, toGenericArray},
    {"fromGeneric(std::string&)", THROWN, fromGenericString},
    {"fromGeneric(std::vector<std::string>&)", THROWN, fromGenericStrings},
    {"serialize(Dictionary)", FAILED, writeTree},
    {"deserialize(Dictionary)", FAILED, readTree},
    {"deserialize(std::string)", FAILED, readString},
    {"deserialize(UUID)", FAILED, readUuid},
    {"deserialize(DateTime)", FAILED, readDateTime},
    {"deserialize(GeoPosition)", FAILED, readGeoPosition},
    {"deserialize(RGBA)", FAILED, readColour},
    {"deserialize(url)", FAILED, readUrl},
    {"deserialize(Number)", FAILED, readNumber},
    {"serialize(UUID)", FAILED, writeUuid},
    {"serialize(DateTime)", FAILED, writeDateTime},
    {"serialize(url)", FAILED, writeUrl},
    {"serialize(Number)", FAILED, writeNumber},
    {"DateTime::toString", THROWN, printDateTime},
    {"url::init", THROWN, cutUrl},
    {"ResourceLocator::toUri", THROWN, makeUriOfLocator},
    {"ResourceLocator, asked", THROWN, askLocator},
    {"PathPatterns", THROWN, compileGlob},
    {"PathPatterns::match", 0, matchGlob},
    {"PathPatterns::match, long glob", 0, matchLongGlob},
    {"getMostCompatible", THROWN, chooseVersion},
    {"uuid::createFromName, createRandom", 0, makeUuid},
    {"ErrorOutput", DONE, reportError},
    {"FunctionalAlarm", THROWN, makeAlarm},
    {"FunctionalAlarm::start, stop", 0, armAlarm},
    {"Disposable", 0, dispose},
};

INSTANTIATE_TEST_SUITE_P(Types, FailingMemory, testing::ValuesIn(OPERATIONS));

}  // namespace
}  // namespace kova::test
