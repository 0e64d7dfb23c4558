#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "util/Limits.h"

namespace util::serializer {

/// What opened a level of a payload; each is closed by its own end call and by no other.
enum class Bracket : std::uint8_t {
    Closed,  ///< the lowest level: no payload is open
    Root,
    Struct,
    Array,
    ArrayOption,
    Option
};

/// What is open in a level and takes one value; each is ended by its own end call and by no other.
enum class Item : std::uint8_t { None, Field, MandatoryField, OptionalField, Element };

/// What may come next at a level, besides its end or that of its item.
enum class Expects : std::uint8_t { Nothing, Value, Fields, Elements };

/// The brackets that are open while a payload is written or read, innermost on top.
///
/// Writers and readers share it, so that both take the same sequences of calls. `Data` is what they
/// keep for each level; it must be trivially copyable. A level opened by an option is a copy of the
/// one below it, and what happened in it is handed back when it is closed. Never empty. The levels
/// of common payloads lie in the object; it allocates once, when more than `INLINE_LEVELS` are
/// open.
template <class Data>
class BracketStack {
public:
    /// A level that is open.
    struct Level {
        Bracket bracket;  ///< what opened it
        Item item;        ///< the field or element that is open in it
        Expects expects;  ///< what may come next
        Data data;        ///< what the user of the stack keeps for it
    };

    /// The root, and for each array or struct a level of its own and two scopes of options.
    static constexpr std::size_t CAPACITY = 1 + 3 * MAX_NESTING_DEPTH;
    /// How many levels lie in the object: those of common payloads.
    static constexpr std::size_t INLINE_LEVELS = 12;

    // The levels above the top are left as they are: they are written before they are read.
    BracketStack() noexcept { clear(); }
    BracketStack(const BracketStack&) = delete;
    BracketStack& operator=(const BracketStack&) = delete;

    /// No payload is open.
    void clear() noexcept { restart({Bracket::Closed, Item::None, Expects::Nothing, Data()}); }
    /// A payload is open, its value expected.
    void start(const Data& data) noexcept {
        restart({Bracket::Root, Item::None, Expects::Value, data});
    }

    /// The innermost level.
    Level& top() noexcept { return *top_; }
    /// The same, for reading.
    const Level& top() const noexcept { return *top_; }
    /// The open levels, outermost first; `top()` is the last one.
    Level const* begin() const noexcept { return heap_ == nullptr ? inline_.data() : heap_.get(); }
    /// Makes sure that a level can be opened. False on success; true when `CAPACITY` levels are
    /// open or memory is exhausted.
    [[nodiscard]] bool reserveLevel() noexcept { return top_ == last_ && growFails(); }
    /// Whether the payload is complete, so that it may be ended.
    bool isComplete() const noexcept {
        return top().bracket == Bracket::Root && top().expects == Expects::Nothing;
    }
    /// Whether `bracket` is on top and nothing is open in it, so that its end may come.
    bool mayClose(Bracket bracket) const noexcept {
        return top().bracket == bracket && top().item == Item::None;
    }
    /// Whether `item` is open on top and got its value, so that its end may come.
    bool mayEnd(Item item) const noexcept {
        return top().item == item && top().expects == Expects::Nothing;
    }

    /// Opens an item on top, where one is expected; unless it is `absent`, it expects a value.
    void beginItem(Item item, bool absent = false) noexcept {
        top().item = item;
        top().expects = absent ? Expects::Nothing : Expects::Value;
    }
    /// Ends the item on top, which may end.
    void endItem() noexcept {
        top().expects = top().item == Item::Element ? Expects::Elements : Expects::Fields;
        top().item = Item::None;
    }
    /// Opens a level, for which room was made.
    void push(Bracket bracket, Expects expects, const Data& data) noexcept {
        *++top_ = {bracket, Item::None, expects, data};
    }
    /// Closes the top level, which must not be the lowest, and gives what it was.
    Level pop() noexcept { return *top_--; }

private:
    // Memory that was got for many levels is kept.
    void restart(const Level& lowest) noexcept {
        top_ = heap_ == nullptr ? inline_.data() : heap_.get();
        last_ = top_ + (heap_ == nullptr ? INLINE_LEVELS : CAPACITY) - 1;
        *top_ = lowest;
    }
    bool growFails() noexcept {
        if (heap_ != nullptr) {
            return true;
        }
        heap_.reset(new (std::nothrow) Level[CAPACITY]);
        if (heap_ == nullptr) {
            return true;
        }
        top_ = std::copy(inline_.begin(), inline_.end(), heap_.get()) - 1;
        last_ = heap_.get() + CAPACITY - 1;
        return false;
    }

    Level* top_;
    Level* last_;  // the last one that there is room for
    std::unique_ptr<Level[]> heap_;
    std::array<Level, INLINE_LEVELS> inline_;
};

}  // namespace util::serializer
