#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "kova/core/Disposable.h"

namespace {

using kova::Disposable;

static_assert(!std::is_copy_constructible_v<Disposable> && !std::is_copy_assignable_v<Disposable>);
static_assert(std::is_nothrow_move_constructible_v<Disposable> &&
              std::is_nothrow_move_assignable_v<Disposable>);
static_assert(!std::is_polymorphic_v<Disposable>);

class DisposableTest : public testing::Test {
protected:
    std::function<void()> counting() {
        return [this] { ++calls; };
    }
    int calls = 0;
};

TEST_F(DisposableTest, CallsItsFunctionOnce) {
    Disposable disposable(counting());
    EXPECT_EQ(calls, 0);
    EXPECT_FALSE(disposable._dispose());
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(disposable._dispose());
    EXPECT_TRUE(disposable.dispose());
    EXPECT_EQ(calls, 1);
}

TEST_F(DisposableTest, DisposeReturnsWhetherThereWasNothingToCall) {
    Disposable disposable(counting());
    EXPECT_FALSE(disposable.dispose());
    EXPECT_TRUE(disposable.dispose());
    EXPECT_TRUE(disposable._dispose());
    EXPECT_EQ(calls, 1);
}

TEST_F(DisposableTest, EmptyFunctionMakesADisposedObject) {
    Disposable disposable{std::function<void()>()};
    EXPECT_TRUE(disposable._dispose());
    EXPECT_TRUE(disposable.dispose());
}

TEST_F(DisposableTest, ConstructorTakesOwnershipOfTheFunction) {
    std::function<void()> function = counting();
    Disposable disposable(std::move(function));
    EXPECT_FALSE(function);
    disposable.dispose();
    EXPECT_EQ(calls, 1);
}

TEST_F(DisposableTest, DestructionDestroysTheFunctionUncalled) {
    const auto owned = std::make_shared<int>();
    {
        const Disposable disposable([this, owned] { ++calls; });
    }
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(DisposableTest, DisposedObjectHasReleasedItsFunction) {
    const auto owned = std::make_shared<int>();
    Disposable disposable([owned] {});
    disposable.dispose();
    EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(DisposableTest, MovedFromObjectIsEmpty) {
    Disposable source(counting());
    Disposable target(std::move(source));
    EXPECT_TRUE(source._dispose());
    EXPECT_FALSE(target._dispose());
    EXPECT_EQ(calls, 1);
}

TEST_F(DisposableTest, AssignmentDestroysTheFormerFunctionUncalled) {
    const auto owned = std::make_shared<int>();
    int formerCalls = 0;
    Disposable target([&formerCalls, owned] { ++formerCalls; });
    Disposable source(counting());
    target = std::move(source);
    EXPECT_EQ(formerCalls, 0);
    EXPECT_EQ(owned.use_count(), 1);
    EXPECT_TRUE(source._dispose());
    EXPECT_FALSE(target._dispose());
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(formerCalls, 0);
}

TEST_F(DisposableTest, AssignmentToItselfDoesNothing) {
    Disposable disposable(counting());
    Disposable& same = disposable;
    disposable = std::move(same);
    EXPECT_FALSE(disposable._dispose());
    EXPECT_EQ(calls, 1);
}

TEST_F(DisposableTest, NestedDisposeDoesNotCallTheFunctionAgain) {
    std::optional<Disposable> disposable;
    bool again = false;
    disposable.emplace([&] {
        ++calls;
        again = !disposable->_dispose();
    });
    EXPECT_FALSE(disposable->_dispose());
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(again);
}

TEST_F(DisposableTest, FunctionCanDestroyItsObject) {
    std::unique_ptr<Disposable> disposable;
    const auto owned = std::make_shared<int>(7);
    disposable = std::make_unique<Disposable>([this, &disposable, owned] {
        disposable.reset();
        calls = *owned;
    });
    EXPECT_FALSE(disposable->_dispose());
    EXPECT_EQ(calls, 7);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(DisposableTest, FunctionCanReplaceItself) {
    std::optional<Disposable> disposable;
    disposable.emplace([&] { *disposable = Disposable(counting()); });
    EXPECT_FALSE(disposable->_dispose());
    EXPECT_EQ(calls, 0);
    EXPECT_FALSE(disposable->_dispose());
    EXPECT_EQ(calls, 1);
}

TEST_F(DisposableTest, ThrowingFunctionCountsAsCalled) {
    Disposable disposable([this] {
        ++calls;
        throw std::runtime_error("while cleaning up");
    });
    EXPECT_THROW(disposable.dispose(), std::runtime_error);
    EXPECT_TRUE(disposable._dispose());
    EXPECT_EQ(calls, 1);
}

}  // namespace
