#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "Million.h"
#include "kova/core/Factory.h"
#include "kova/core/GenericDataPullDeserializer.h"
#include "kova/core/GenericObject.h"
#include "kova/core/KovaException.h"
#include "kova/core/Payload.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "kova/core/TypeSerializers.h"
#include "support/SmallStack.h"
#include "support/Trees.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"

// Passes trees that are a million levels deep, which only a program can build, to every function
// that accepts a tree, on a stack of 128 KiB. Serializers and deserializers reject payloads deeper
// than `util::MAX_NESTING_DEPTH`.

namespace kova::test {
namespace {

using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using util::config::ValueInt;

const auto LEVELS = static_cast<std::size_t>(million());
/// The size of the printed tree: "{"k":[" and "]}" half a million times around a 1.
const std::size_t PRINTED = LEVELS / 2 * std::string_view(R"({"k":[]})").size() + 1;

TEST(MillionLevels, AreDestroyedCopiedComparedAndPrinted) {
    runOnSmallStack([] {
        const Tree tree = deepTree(LEVELS);
        const Tree copy(tree->clone());
        ASSERT_NE(copy, nullptr);
        EXPECT_TRUE(*copy == *tree);
        EXPECT_FALSE(*deepTree(LEVELS - 2) == *tree);
        EXPECT_EQ(tree->toJson(true).size(), PRINTED);
        std::ostringstream out;
        tree->print(out);
        EXPECT_TRUE(out.good());
    });
}

TEST(MillionLevels, AreDestroyedByEveryOperationThatRemovesATree) {
    runOnSmallStack([] {
        Dictionary dictionary;
        EXPECT_FALSE(dictionary.add("a", deepTree(LEVELS).release()));
        EXPECT_FALSE(dictionary.set("a", deepTree(LEVELS).release()));
        EXPECT_FALSE(dictionary.remove("a", true));
        EXPECT_FALSE(dictionary.add("a", deepTree(LEVELS).release()));
        dictionary.clear();
        Array array;
        EXPECT_FALSE(array.add(deepTree(LEVELS).release()));
        EXPECT_FALSE(array.set(0, deepTree(LEVELS).release()));
        EXPECT_TRUE(array.insert(7, deepTree(LEVELS).release()));
        EXPECT_FALSE(array.remove(0, true));
        Array former;
        EXPECT_FALSE(former.add(deepTree(LEVELS).release()));
        array.swap(former);
    });
}

TEST(MillionLevels, ArePrintedIntoAPayloadThatCannotBeParsed) {
    runOnSmallStack([] {
        const Payload payload = Payload::createFromConfig(*deepTree(LEVELS));
        EXPECT_EQ(payload.size(), PRINTED);
        EXPECT_EQ(Payload::createConfigFrom(payload), nullptr);
    });
}

TEST(MillionLevels, AreRejectedBySerializers) {
    runOnSmallStack([] {
        const Tree tree = deepTree(LEVELS);
        for (const auto mimeType : {mimetypes::JSON, mimetypes::AXOBin}) {
            const std::unique_ptr<serializer::IStructuredSerializer> to(
                serializer::Factory::createSerializer(mimeType));
            util::ByteBufferWriter writer(0);
            unsigned long size = 0;
            ASSERT_FALSE(to->beginSerialize(&writer, nullptr));
            EXPECT_TRUE(serializer::serialize(*to, *tree->getEditableDictionary()));
            EXPECT_TRUE(to->endSerialize(size));
        }
    });
}

TEST(MillionLevels, AreRejectedByDeserializers) {
    struct Row {
        mimetypes::MimeTypeID mimeType;
        std::string levels;
    };
    for (const Row& row : {Row{mimetypes::JSON, std::string(LEVELS, '[')},
                           Row{mimetypes::AXOBin, std::string(LEVELS, '\x81')},
                           Row{mimetypes::AXOBin, std::string(LEVELS, '\x9F')}}) {
        runOnSmallStack([&row] {
            const std::unique_ptr<serializer::IStructuredPullDeserializer> from(
                serializer::Factory::createDeserializer(row.mimeType));
            util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(row.levels.data()),
                                          row.levels.size(), false);
            EXPECT_TRUE(from->beginDeserialize(&reader, nullptr));
        });
    }
}

TEST(MillionLevels, AreReadByGenericDataPullDeserializer) {
    runOnSmallStack([] {
        const Tree tree = deepTree(LEVELS);
        serializer::GenericDataPullDeserializer from(*tree);
        Dictionary copy;
        ASSERT_FALSE(from.beginDeserialize(nullptr, nullptr));
        EXPECT_FALSE(serializer::deserialize(from, copy));
        EXPECT_TRUE(copy == *tree);
        from.reset();
        std::string name;
        ASSERT_FALSE(from.beginDeserialize(nullptr, nullptr) || from.beginStruct(nullptr) ||
                     from.beginField(name));
        EXPECT_FALSE(from.skipField());
        EXPECT_TRUE(from.isStructEnd());
    });
}

TEST(MillionLevels, AreCopiedAndMovedInGenericObjects) {
    runOnSmallStack([] {
        GenericObject object{{"tree", deepTree(LEVELS).release()}};
        GenericObject copy(object);
        EXPECT_TRUE(copy == object);
        copy.clear();
        copy.copy(object);
        const GenericObject moved(std::move(object));
        copy = moved;
        EXPECT_TRUE(copy == moved);
        EXPECT_FALSE(fromGeneric<std::string>(copy["tree"]));
        EXPECT_FALSE(fromGenericArray<long>(copy["tree"]["k"]));
    });
}

TEST(MillionLevels, AreCopiedAndPrintedInMessageHeaders) {
    runOnSmallStack([] {
        const Tree tree = deepTree(LEVELS);
        Request request("retrieve", "/a");
        request.add2header("tree", *tree);
        request.add2header("tree", *tree);
        EXPECT_TRUE(request.getHeaderValue("tree") == *tree);
        EXPECT_GT(request.toString().size(), PRINTED);
        Response response = Response::createErrorResponse(400, "no");
        response.add2header("tree", tree->clone());
        EXPECT_GT(response.toString().size(), PRINTED);
        const KovaException exception(response);
        EXPECT_EQ(exception.getResponse().getHeaderValue("tree").kind(), tree->kind());
    });
}

}  // namespace
}  // namespace kova::test
