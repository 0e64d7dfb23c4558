#pragma once

#include <cstdint>

/// The state of a call. The state is one word, so that each step of a call is one atomic operation.
/// The lower 16 bits are flags, the next 16 bits count the references to the call's memory, and the
/// upper 32 bits are the number of the thread that calls its receiver.
namespace kova::kit::detail::state {

using Word = std::uint64_t;

/// One thread has decided how the call ends. The receiver gets no value that arrives later.
constexpr Word ENDED = 1U << 0U;
/// The owner has ended the call silently. No further callback begins.
constexpr Word SILENT = 1U << 1U;
/// A thread calls the receiver, or is allowed to call it. Only this thread uses the receiver.
constexpr Word RUNNING = 1U << 2U;
/// The thread that calls the receiver has work to do: to deliver queued values or an end, or to end
/// the call silently.
constexpr Word WORK = 1U << 3U;
/// The end is stored in the call and will be delivered.
constexpr Word END_STORED = 1U << 4U;
/// The delivery task is in the queue of the executor.
constexpr Word SCHEDULED = 1U << 5U;
/// A thread waits until RUNNING is cleared.
constexpr Word WAITED = 1U << 6U;
/// The service has returned from `actionRequest`, and its handle is stored.
constexpr Word RETURNED = 1U << 7U;
/// A thread is cancelling the request at the service, or has decided to do so.
constexpr Word CANCELLING = 1U << 8U;
/// The receiver is destroyed.
constexpr Word FINISHED = 1U << 9U;
/// The call is not in the table any more.
constexpr Word UNLINKED = 1U << 10U;
/// A value has arrived.
constexpr Word VALUE = 1U << 11U;
/// A value has arrived after the service had returned.
constexpr Word LATER_VALUE = 1U << 12U;
/// The service has destroyed its response handler, or the call need not wait for that.
constexpr Word RELEASED = 1U << 13U;

constexpr Word REFERENCE = 1U << 16U;
constexpr Word REFERENCES = 0xFFFFU * REFERENCE;

constexpr unsigned THREAD_SHIFT = 32;
constexpr Word THREAD = ~Word{0} << THREAD_SHIFT;

/// Returns the number of the thread that calls the receiver. Valid only if RUNNING is set.
constexpr std::uint32_t threadOf(Word word) noexcept {
    return static_cast<std::uint32_t>(word >> THREAD_SHIFT);
}

/// Returns the flags that the arrival of a value sets in this state.
constexpr Word flagsOfValue(Word word) noexcept {
    return VALUE | ((word & RETURNED) != 0 ? LATER_VALUE : 0);
}

/// Returns whether a call in this state no longer needs its table, because nothing is running for
/// it.
constexpr bool isSettled(Word word) noexcept {
    constexpr Word NEEDED = FINISHED | RETURNED | RELEASED;
    return (word & (NEEDED | RUNNING | CANCELLING)) == NEEDED;
}

}  // namespace kova::kit::detail::state
