#include "resources/Gate.h"

#include <string>

#include "calls/Threads.h"

namespace kova::kit::detail {

namespace {

thread_local Gate::Entry* innermost = nullptr;

// What a thread that closes a gate waits for.
struct Closing {
    const std::atomic<std::uint64_t>& word;
    std::uint64_t open;
};

bool isOver(void* user) {
    const Closing& closing = *static_cast<Closing*>(user);
    return closing.word.load() <= closing.open;
}

std::string describe(void* user) {
    const Closing& closing = *static_cast<Closing*>(user);
    return "thread " + std::to_string(thisThread().number) + " has waited 1 s for " +
           std::to_string(closing.word.load() - closing.open) + " functions of a resource";
}

}  // namespace

Gate::Entry::Entry(Gate& gate, bool always) noexcept : gate_(&gate) {
    if ((gate.word_.fetch_add(1) & CLOSED) != 0 && !always) {
        gate.word_.fetch_sub(1);
        wakeWaiting();
        gate_ = nullptr;
        return;
    }
    outer_ = innermost;
    innermost = this;
}

Gate::Entry::~Entry() {
    if (gate_ == nullptr) {
        return;
    }
    innermost = outer_;
    // The gate may be destroyed as soon as the count is that of the waiting thread.
    if ((gate_->word_.fetch_sub(1) & CLOSED) != 0) {
        wakeWaiting();
    }
}

bool Gate::close() noexcept {
    return (word_.fetch_or(CLOSED) & CLOSED) == 0;
}

bool Gate::waitUntilLeft(std::optional<std::chrono::milliseconds> limit) {
    Closing closing{word_, CLOSED + entriesOfThisThread()};
    const WaitLimit until =
        limit ? WaitLimit(std::chrono::steady_clock::now() + *limit) : std::nullopt;
    return waitUntilOver(&isOver, &describe, &closing, until);
}

std::size_t Gate::entriesOfThisThread() const noexcept {
    std::size_t count = 0;
    for (Entry const* entry = innermost; entry != nullptr; entry = entry->outer_) {
        count += entry->gate_ == this ? 1 : 0;
    }
    return count;
}

}  // namespace kova::kit::detail
