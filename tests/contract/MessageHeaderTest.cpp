// Tests of the headers of messages, which are the same for Request and Response.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "support/Trees.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova {
namespace {

using util::config::Dictionary;
using util::config::Value;
using util::config::ValueInt;
using util::config::ValueString;

std::string stringOf(const Value& value) {
    std::string text;
    EXPECT_FALSE(value.get(text));
    return text;
}

template <typename Message>
Message make();
template <>
Request make<Request>() {
    return {"retrieve", "/a/b"};
}
template <>
Response make<Response>() {
    return Response(200);
}

template <typename Message>
class MessageHeaderTest : public testing::Test {};
using Messages = testing::Types<Request, Response>;
TYPED_TEST_SUITE(MessageHeaderTest, Messages);

TYPED_TEST(MessageHeaderTest, MessageWithoutHeaderReturnsUndefined) {
    const TypeParam message = make<TypeParam>();
    EXPECT_EQ(&message.getHeader(), &util::config::Value::getUndefined());
    EXPECT_EQ(&message.getHeader(), &Value::getUndefined());
    EXPECT_EQ(&message.getHeaderValue("key"), &Value::getUndefined());
    EXPECT_EQ(&message.getHeaderValue(std::string("key")), &Value::getUndefined());
}

TYPED_TEST(MessageHeaderTest, EntriesCanBeAddedAndReplaced) {
    TypeParam message = make<TypeParam>();
    message.add2header("key", new ValueString("one"));
    message.add2header("other", new ValueInt(7));
    EXPECT_EQ(stringOf(message.getHeaderValue("key")), "one");
    message.add2header("key", new ValueString("two"));
    EXPECT_EQ(stringOf(message.getHeaderValue(std::string("key"))), "two");
    EXPECT_EQ(kova::test::toJson(message.getHeader()), R"({"key":"two","other":7})");
    EXPECT_EQ(&message.getHeaderValue("missing"), &Value::getUndefined());
}

TYPED_TEST(MessageHeaderTest, EntryPassedByReferenceIsCopied) {
    TypeParam message = make<TypeParam>();
    Dictionary value;
    value.add("inner", new ValueInt(1));
    message.add2header("key", value);
    value.set("inner", new ValueInt(2));
    EXPECT_EQ(kova::test::toJson(message.getHeader()), R"({"key":{"inner":1}})");
    message.add2header("flag", *Value::getBool(true));
    EXPECT_TRUE(message.getHeaderValue("flag").isBool());
}

TYPED_TEST(MessageHeaderTest, NullEntryIsIgnored) {
    TypeParam message = make<TypeParam>();
    message.add2header("key", static_cast<Value*>(nullptr));
    EXPECT_EQ(&message.getHeader(), &util::config::Value::getUndefined());
}

TYPED_TEST(MessageHeaderTest, CopiesShareAnExistingHeader) {
    TypeParam source = make<TypeParam>();
    source.add2header("first", new ValueInt(1));
    TypeParam copy = source;
    copy.add2header("second", new ValueInt(2));
    EXPECT_EQ(kova::test::toJson(source.getHeader()), R"({"first":1,"second":2})");
    EXPECT_EQ(&source.getHeader(), &copy.getHeader());
}

TYPED_TEST(MessageHeaderTest, CopyWithoutHeaderCreatesASeparateHeader) {
    TypeParam source = make<TypeParam>();
    TypeParam copy = make<TypeParam>();
    copy = source;
    copy.add2header("key", new ValueInt(1));
    EXPECT_EQ(&source.getHeader(), &util::config::Value::getUndefined());
    EXPECT_TRUE(copy.getHeader().isDictionary());
}

TYPED_TEST(MessageHeaderTest, ReadOnlyHeaderReturnsAnEditableTree) {
    TypeParam message = make<TypeParam>();
    EXPECT_EQ(message.getHeader().getEditableDictionary(), nullptr);
    message.add2header("object", new Dictionary());
    message.getHeader().getEditableDictionary()->add("key", new ValueInt(1));
    message.getHeader().getEditableDictionary("object")->add("inner", new ValueInt(2));
    message.getHeader().getEditableDictionary()->add("list", new util::config::Array());
    message.getHeader().getEditableArray("list")->add(new ValueInt(3));
    EXPECT_EQ(message.getHeaderValue("list").getEditableArray(),
              message.getHeader().getEditableArray(std::string("list")));
    EXPECT_EQ(kova::test::toJson(message.getHeader()),
              R"({"key":1,"list":[3],"object":{"inner":2}})");
}

TYPED_TEST(MessageHeaderTest, MoveTransfersTheHeader) {
    TypeParam source = make<TypeParam>();
    source.add2header("key", new ValueInt(1));
    TypeParam& alias = source;
    source = alias;
    const TypeParam moved = std::move(source);
    EXPECT_EQ(kova::test::toJson(moved.getHeader()), R"({"key":1})");
}

}  // namespace
}  // namespace kova
