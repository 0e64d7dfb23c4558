#pragma once

#include <cstddef>
#include <cstdint>

#include "bytes/SmallBuffer.h"
#include "util/Limits.h"

namespace util::serializer {

/// The kind of a level of a payload. Each kind has its own end call.
enum class Bracket : std::uint8_t {
    Closed,  ///< the lowest level: no payload is open
    Root,
    Struct,
    Array,
    ArrayOption,
    Option
};

/// The kind of item that is open in a level and contains one value. Each kind has its own end call.
enum class Item : std::uint8_t { None, Field, MandatoryField, OptionalField, Element };

/// The kind of call that a level accepts next, in addition to the end of the level and of its item.
enum class Expects : std::uint8_t { Nothing, Value, Fields, Elements };

/// A stack of the levels that are open while a payload is written or read, with the innermost on
/// top.
///
/// Serializers and deserializers share this class, so that both accept the same sequences of calls.
/// `Data` is their state of one level; it must be trivially copyable. A level that is opened by an
/// option is a copy of the level below it, and its state is copied back when it is closed. The
/// stack is never empty. The levels of common payloads are stored inline. The stack allocates
/// memory once: when more than `INLINE_LEVELS` levels are open for the first time.
template <class Data>
class BracketStack {
public:
    /// A level that is open.
    struct Level {
        Bracket bracket;  ///< the kind of the level
        Item item;        ///< the field or element that is open in it
        Expects expects;  ///< the kind of call that is accepted next
        Data data;        ///< the state of the serializer or deserializer in this level
    };

    /// The maximum number of levels: the root, and three for each array or struct (its own and two
    /// option scopes).
    static constexpr std::size_t CAPACITY = 1 + 3 * MAX_NESTING_DEPTH;
    /// The number of levels that are stored inline, enough for common payloads.
    static constexpr std::size_t INLINE_LEVELS = 12;

    BracketStack() noexcept { clear(); }

    /// Closes all levels. Afterwards no payload is open.
    void clear() noexcept { restart({Bracket::Closed, Item::None, Expects::Nothing, Data()}); }
    /// Opens a payload, in which a value is expected.
    void start(const Data& data) noexcept {
        restart({Bracket::Root, Item::None, Expects::Value, data});
    }

    /// Returns the innermost level.
    Level& top() noexcept { return levels_.back(); }
    /// Returns the innermost level, for reading.
    const Level& top() const noexcept { return levels_.back(); }
    /// Returns the open levels, outermost first. `top()` is the last one.
    Level const* begin() const noexcept { return levels_.data(); }
    /// Reserves memory for one more level. Returns false if `CAPACITY` levels are open or memory is
    /// exhausted.
    [[nodiscard]] bool reserveLevel() noexcept { return !levels_.isFull() || grow(); }
    /// Returns whether the payload is complete, so that it may be ended.
    bool isComplete() const noexcept {
        return top().bracket == Bracket::Root && top().expects == Expects::Nothing;
    }
    /// Returns whether the top level is of the kind `bracket` and has no open item, so that it may
    /// be closed.
    bool mayClose(Bracket bracket) const noexcept {
        return top().bracket == bracket && top().item == Item::None;
    }
    /// Returns whether `item` is open in the top level and its value was written or read, so that
    /// the item may be ended.
    bool mayEnd(Item item) const noexcept {
        return top().item == item && top().expects == Expects::Nothing;
    }

    /// Opens an item in the top level, which must expect an item. The item expects a value, unless
    /// `absent` is true.
    void beginItem(Item item, bool absent = false) noexcept {
        top().item = item;
        top().expects = absent ? Expects::Nothing : Expects::Value;
    }
    /// Ends the item of the top level. `mayEnd` must return true for this item.
    void endItem() noexcept {
        top().expects = top().item == Item::Element ? Expects::Elements : Expects::Fields;
        top().item = Item::None;
    }
    /// Opens a level. Memory for it must be reserved.
    void push(Bracket bracket, Expects expects, const Data& data) noexcept {
        levels_.push({bracket, Item::None, expects, data});
    }
    /// Closes the top level, which must not be the lowest, and returns it.
    Level pop() noexcept {
        const Level closed = top();
        levels_.pop();
        return closed;
    }

private:
    // Closes all levels and opens the lowest one. Keeps the allocated memory.
    void restart(const Level& lowest) noexcept {
        levels_.clear();
        levels_.push(lowest);
    }
    bool grow() noexcept { return levels_.capacity() < CAPACITY && levels_.reserve(CAPACITY); }

    SmallBuffer<Level, INLINE_LEVELS> levels_;
};

}  // namespace util::serializer
