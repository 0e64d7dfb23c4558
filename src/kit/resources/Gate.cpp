#include "resources/Gate.h"

#include <string>

#include "calls/Threads.h"

namespace kova::kit::detail {

namespace {

thread_local Gate::Entry* innermost = nullptr;

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
    // The gate is not used after this statement, because a thread that waits for the entries may
    // then destroy it.
    if ((gate_->word_.fetch_sub(1) & CLOSED) != 0) {
        wakeWaiting();
    }
}

bool Gate::close() noexcept {
    return (word_.fetch_or(CLOSED) & CLOSED) == 0;
}

bool Gate::waitUntilLeft(std::optional<std::chrono::milliseconds> limit) {
    Waiting waiting(*this);
    const auto isOver = [](void* user) {
        const Waiting& self = *static_cast<Waiting*>(user);
        return self.others(self.isInside()) == 0;
    };
    const auto describe = [](void* user) {
        const Waiting& self = *static_cast<Waiting*>(user);
        return "thread " + std::to_string(thisThread().number) + " has waited 1 s for " +
               std::to_string(self.others(self.isInside())) + " functions of a resource";
    };
    const WaitLimit until =
        limit ? WaitLimit(std::chrono::steady_clock::now() + *limit) : std::nullopt;
    return waitUntilOver(isOver, describe, &waiting, until);
}

Gate::Waiting::Waiting(Gate& gate) noexcept : gate_(gate), own_(gate.entriesOfThisThread()) {
    if (own_ != 0) {
        gate_.waiting_ += own_;
        wakeWaiting();
    }
}

std::uint64_t Gate::Waiting::others(bool withoutWaiting) const noexcept {
    const std::uint64_t entries = gate_.word_.load() & ~CLOSED;
    const std::uint64_t spared = withoutWaiting ? gate_.waiting_.load() : 0;
    return entries > spared ? entries - spared : 0;
}

std::size_t Gate::entriesOfThisThread() const noexcept {
    std::size_t count = 0;
    for (Entry const* entry = innermost; entry != nullptr; entry = entry->outer_) {
        count += entry->gate_ == this ? 1 : 0;
    }
    return count;
}

}  // namespace kova::kit::detail
