#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kova::kit::detail {

/// The metrics of requests: their number and durations for each mount and command, and the number
/// of pending requests.
///
/// Mounts are only added, never removed, and their number is bounded. Counting and finding a mount
/// do not lock. Any thread may call any function.
class RequestMetrics {
public:
    /// The maximum number of mounts. Requests of further mounts are counted for the mount "other".
    static constexpr std::size_t MAX_MOUNTS = 100;
    /// The number of command labels: the four standard commands and "other".
    static constexpr std::size_t COMMANDS = 5;
    /// The number of code labels: "1xx" to "5xx", "other" and "cancelled".
    static constexpr std::size_t CODES = 7;
    /// The upper bounds of the buckets of durations, besides "+Inf".
    static constexpr std::array<std::uint64_t, 16> BOUNDS{
        100'000,      250'000,      500'000,      1'000'000,     2'500'000,   5'000'000,
        10'000'000,   25'000'000,   50'000'000,   100'000'000,   250'000'000, 500'000'000,
        1000'000'000, 2500'000'000, 5000'000'000, 10'000'000'000};

    using Number = std::atomic<std::uint64_t>;
    /// The counts for one mount and command.
    struct Cells {
        std::array<Number, CODES> codes{};
        std::array<Number, BOUNDS.size() + 1> durations{};  ///< the last one is "+Inf"
        Number nanoseconds{0};                              ///< sum of the durations
    };
    struct Mount {
        explicit Mount(std::string_view path) : path(path) {}
        const std::string path;
        std::array<Cells, COMMANDS> commands;
    };

    /// Returns the mount with the path. Adds the mount if necessary. If there are already
    /// `MAX_MOUNTS` mounts, returns `other()`.
    Mount& add(std::string_view path);
    /// Returns the mount with the longest path that is a prefix of `path` and ends at a segment
    /// boundary, or null.
    Mount* find(std::string_view path) noexcept;
    /// Returns the mount for all other paths.
    Mount& other() noexcept { return other_; }

    /// Returns the index of a command word.
    static std::size_t commandOf(const std::string& command) noexcept;
    /// Counts a request that has ended. A code of 0 means that it was cancelled.
    static void count(Cells& cells, unsigned short code,
                      std::chrono::nanoseconds duration) noexcept;
    /// Counts a request that has begun. It is pending until `count` is called for it.
    void countBegin() noexcept { begun_.fetch_add(1, std::memory_order_relaxed); }
    /// Returns the number of requests that have not ended. The number is computed from the other
    /// counts.
    std::uint64_t pending() const;

    /// Appends the metrics in the text format of Prometheus.
    void append(std::string& out) const;

private:
    static constexpr std::size_t SLOTS = 256;
    static_assert(2 * MAX_MOUNTS < SLOTS, "a search of a hash table ends at an empty slot");

    Mount* look(std::string_view path) noexcept;
    std::vector<const Mount*> mounts() const;

    Number begun_{0};
    /// The length of the longest mount path.
    std::atomic<std::size_t> longest_{0};
    /// Whether all `MAX_MOUNTS` mounts exist. Then no mount is added any more, and the mutex is not
    /// needed.
    std::atomic<bool> isFull_{false};
    /// A hash table with linear probing. A slot is written once, under the mutex.
    std::array<std::atomic<Mount*>, SLOTS> slots_{};
    Mount other_{"other"};
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<Mount>> mounts_;
};

}  // namespace kova::kit::detail
