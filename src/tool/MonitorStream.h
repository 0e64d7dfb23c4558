#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "CallLoop.h"
#include "Context.h"
#include "ExitStatus.h"
#include "kova/core/Payload.h"
#include "kova/kit/Result.h"

namespace kova::tool {

/// How a stream of the monitor of a service is read.
struct MonitorReading {
    /// The service, as `Target::ofService` reads it.
    std::string service;
    /// The path: "/.kova/monitor" or "/.kova/monitor/events".
    std::string path;
    /// The time after which reading ends; 0 for no limit.
    std::chrono::milliseconds timeout{0};
    /// Receives each value, in the binary format. Returns the reason if the value is not valid.
    std::function<kit::Result<void>(const Payload&)> onBatch;
    /// Returns whether reading must end.
    std::function<bool()> hasEnough;
    /// Returns the position behind the last value (`LossCounter::position`).
    std::function<std::uint64_t()> position;
};

/// The end of reading.
struct MonitorEnd {
    /// The status of a failure, which was reported on standard error; else `DONE`.
    ExitStatus status = DONE;
    /// Why reading has ended, if nothing failed.
    CallLoop::Reason reason = CallLoop::Reason::holds;
};

/// Reads a stream of the monitor until there is enough, the time has passed, the stream has ended,
/// Ctrl-C was pressed or nobody reads the output. After Ctrl-C or when the time has passed, the
/// function first reads what the service has reported until then.
MonitorEnd readMonitor(const Context& context, const MonitorReading& reading);

/// Counts the items of a stream of the monitor that were lost.
class LossCounter {
public:
    /// Adds a value of the stream: the position of its first item, and the number of its items.
    /// Returns the number of items that were lost between the former value and this one.
    std::uint64_t add(std::uint64_t first, std::uint64_t count) noexcept;
    /// Returns the position behind the last item, or 0 before the first value.
    std::uint64_t position() const noexcept { return next_; }

private:
    std::uint64_t next_ = 0;
};

}  // namespace kova::tool
