#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "util/Limits.h"

namespace util::serializer {

/// What opened a level of a payload; each is closed by its own end call and by no other.
enum class Bracket : std::uint8_t {
    Closed,  ///< the lowest level: no payload is open
    Root,
    Struct,
    Array,
    Field,
    MandatoryField,
    OptionalField,
    Element,
    ArrayOption,
    Option
};

/// What may come next at a level, besides its end.
enum class Expects : std::uint8_t { Nothing, Value, Fields, Elements };

/// The brackets that are open while a payload is written or read, innermost on top.
///
/// Writers and readers share it, so that both take the same sequences of calls. `Data` is what they
/// keep for each level; it must be trivially copyable. A level opened by an option is a copy of the
/// one below it, and what happened in it is handed back when it is closed. Never empty, never
/// allocates.
template <class Data>
class BracketStack {
public:
    /// A level that is open.
    struct Level {
        Bracket bracket;  ///< what opened it
        Expects expects;  ///< what may come next
        Data data;        ///< what the user of the stack keeps for it
    };

    /// Two levels for each array or struct (itself, and the field or element inside), the root, and
    /// as many again for scopes of options.
    static constexpr std::size_t CAPACITY = 4 * MAX_NESTING_DEPTH;

    // The levels above the top are left as they are: they are written before they are read.
    BracketStack() noexcept { clear(); }

    /// No payload is open.
    void clear() noexcept {
        size_ = 1;
        levels_[0] = {Bracket::Closed, Expects::Nothing, Data()};
    }
    /// A payload is open, its value expected.
    void start(const Data& data) noexcept {
        size_ = 1;
        levels_[0] = {Bracket::Root, Expects::Value, data};
    }

    /// The innermost level.
    Level& top() noexcept { return levels_[size_ - 1]; }
    /// The same, for reading.
    const Level& top() const noexcept { return levels_[size_ - 1]; }
    /// Whether no level can be opened any more.
    bool isFull() const noexcept { return size_ == CAPACITY; }
    /// Whether `bracket` is on top and got its value, so that its end may come.
    bool mayClose(Bracket bracket) const noexcept {
        return top().bracket == bracket && top().expects != Expects::Value;
    }

    /// Opens a level; the stack must not be full.
    void push(Bracket bracket, Expects expects, const Data& data) noexcept {
        levels_[size_++] = {bracket, expects, data};
    }
    /// Closes the top level, which must not be the lowest, and gives what it was.
    Level pop() noexcept { return levels_[--size_]; }

private:
    std::array<Level, CAPACITY> levels_;
    std::size_t size_;
};

}  // namespace util::serializer
