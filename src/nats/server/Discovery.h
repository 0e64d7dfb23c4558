#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kova/kit/Result.h"
#include "kova/nats/Server.h"

namespace kova::nats::detail {

/// What a server says about itself and its requests in the services protocol of NATS.
///
/// Source: ADR-32 of the NATS project ("NATS Service API"). Requests with the subjects
/// $SRV.PING, $SRV.INFO and $SRV.STATS, each also with .NAME or .NAME.ID appended, are answered in
/// JSON. One thread at a time.
class Discovery {
public:
    using Clock = std::chrono::system_clock;

    /// The queue group of the servers of a service path.
    static constexpr char const* GROUP = "q";

    /// The two subjects of requests: those of any server of the service path, and those of the
    /// instance.
    enum Endpoint : std::size_t { ANY, INSTANCE, ENDPOINTS };

    /// Returns the error 400 if the version is not a semantic version, or if the name has other
    /// characters than letters, digits, "-" and "_". `subjects` are those of the endpoints; an
    /// empty one means that there is no such endpoint. `id` is the name of the server, which no
    /// other server has.
    static kit::Result<Discovery> make(const ServerOptions& options, std::string id,
                                       std::array<std::string, ENDPOINTS> subjects,
                                       Clock::time_point started = Clock::now());

    /// Returns the subjects to subscribe to.
    std::vector<std::string> subjects() const;
    /// Returns the answer to a message with this subject; nothing if it asks for nothing known.
    std::optional<std::string> answer(std::string_view subject) const;

    /// @{
    /// Count a request, the time from its arrival to its first answer, and an error.
    void countRequest(Endpoint endpoint) noexcept { ++counts_.at(endpoint).requests; }
    void countAnswer(Endpoint endpoint, std::chrono::nanoseconds time) noexcept;
    void countError(Endpoint endpoint, const kit::Error& error) noexcept;
    /// @}

private:
    struct Counts {
        std::uint64_t requests = 0;
        std::uint64_t answers = 0;
        std::chrono::nanoseconds time{0};
        std::uint64_t errors = 0;
        std::string lastError;
    };

    Discovery() = default;
    template <typename Answer>
    std::string textOf(Answer answer, char const* type) const;
    std::string info() const;
    std::string stats() const;

    std::string name_;
    std::string id_;
    std::string version_;
    std::string description_;
    std::string servicePath_;
    std::string instance_;
    std::array<std::string, ENDPOINTS> subjects_;
    std::array<Counts, ENDPOINTS> counts_;
    Clock::time_point started_;
};

}  // namespace kova::nats::detail
