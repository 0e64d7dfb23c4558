#include "resources/Gate.h"

#include <string>

#include "calls/Threads.h"

namespace kova::kit::detail {

namespace {

thread_local Gate::Entry* innermost = nullptr;

}  // namespace

// What a thread that closes a gate waits for.
struct Gate::Closing {
    const Gate& gate;
    std::size_t own;

    // The number of entries that the thread waits for.
    std::uint64_t others() const noexcept {
        const std::uint64_t entries = gate.word_.load() & ~CLOSED;
        const std::uint64_t spared = own == 0 ? 0 : gate.waiting_.load();
        return entries > spared ? entries - spared : 0;
    }
    static bool isOver(void* user) { return static_cast<Closing*>(user)->others() == 0; }
    static std::string describe(void* user) {
        return "thread " + std::to_string(thisThread().number) + " has waited 1 s for " +
               std::to_string(static_cast<Closing*>(user)->others()) + " functions of a resource";
    }
};

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
    // The gate may be destroyed as soon as only the entries of the waiting thread are counted.
    if ((gate_->word_.fetch_sub(1) & CLOSED) != 0) {
        wakeWaiting();
    }
}

bool Gate::close() noexcept {
    return (word_.fetch_or(CLOSED) & CLOSED) == 0;
}

bool Gate::waitUntilLeft(std::optional<std::chrono::milliseconds> limit) {
    Closing closing{*this, entriesOfThisThread()};
    const WaitLimit until =
        limit ? WaitLimit(std::chrono::steady_clock::now() + *limit) : std::nullopt;
    if (closing.own != 0) {
        waiting_ += closing.own;
        wakeWaiting();
    }
    const bool hasLeft = waitUntilOver(&Closing::isOver, &Closing::describe, &closing, until);
    if (closing.own != 0) {
        waiting_ -= closing.own;
    }
    return hasLeft;
}

std::size_t Gate::entriesOfThisThread() const noexcept {
    std::size_t count = 0;
    for (Entry const* entry = innermost; entry != nullptr; entry = entry->outer_) {
        count += entry->gate_ == this ? 1 : 0;
    }
    return count;
}

}  // namespace kova::kit::detail
