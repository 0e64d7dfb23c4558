#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace kova::kit::detail {

/// Counts the threads that are inside the functions of one resource. After `close`, no further
/// thread enters them.
///
/// Any thread may call any function.
class Gate {
public:
    /// A guard that enters the gate while it exists. The entries of a thread are a linked list on
    /// its stack.
    class Entry {
    public:
        /// Enters the gate, unless it is closed.
        explicit Entry(Gate& gate) noexcept : Entry(gate, false) {}
        /// Enters the gate if it is open. If `always` is true, also enters a closed gate.
        Entry(Gate& gate, bool always) noexcept;
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        /// Returns whether the constructor has entered the gate.
        explicit operator bool() const noexcept { return gate_ != nullptr; }

    private:
        friend class Gate;
        Gate* gate_;
        Entry* outer_ = nullptr;
    };

    Gate() = default;
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    /// Closes the gate: no further thread can enter. Returns whether the gate was open.
    bool close() noexcept;
    bool isClosed() const noexcept { return (word_.load() & CLOSED) != 0; }
    /// Waits until all threads but the current one have left a closed gate. If the current thread
    /// is inside the gate, it does not wait for other threads that are inside the gate and also
    /// wait here. Returns false if the limit passed. A wait of more than a second is traced.
    bool waitUntilLeft(std::optional<std::chrono::milliseconds> limit = std::nullopt);
    /// Returns whether the current thread is inside the gate.
    bool isInside() const noexcept { return entriesOfThisThread() != 0; }

    /// A guard for a thread that waits until others have left a closed gate. While the guard
    /// exists, the thread's own entries are counted in `waiting_`.
    class Waiting {
    public:
        explicit Waiting(Gate& gate) noexcept;
        ~Waiting() { gate_.waiting_ -= own_; }
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;

        /// Returns whether the waiting thread is inside the gate itself.
        bool isInside() const noexcept { return own_ != 0; }
        /// Returns the number of entries for which the thread waits. With `withoutWaiting`, the
        /// entries of threads that are inside and also wait are not counted.
        std::uint64_t others(bool withoutWaiting) const noexcept;

    private:
        Gate& gate_;
        const std::size_t own_;
    };

private:
    static constexpr std::uint64_t CLOSED = std::uint64_t{1} << 63U;

    std::size_t entriesOfThisThread() const noexcept;

    std::atomic<std::uint64_t> word_{0};
    /// The number of entries of those threads that are inside and also wait.
    std::atomic<std::uint64_t> waiting_{0};
};

}  // namespace kova::kit::detail
