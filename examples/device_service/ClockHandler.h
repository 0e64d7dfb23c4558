#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kova/core/Alarm.h"
#include "kova/core/IResourceHandler.h"
#include "kova/core/dovglobals/DateTime.h"

namespace device {

/// Converts a point in time to a UTC date and time with milliseconds.
kova::dovglobals::DateTime toDateTime(std::chrono::system_clock::time_point time);

/// Serves the time of day as a `DateTime`. The path "" returns the time: once or, with the response
/// semantic "persistent-stream", immediately and at every interval until it is cancelled. The path
/// "in" returns the time once, after the `Duration` in the payload. The duration must not contain
/// years or months, because their length varies.
///
/// Each pending request has an alarm, whose callback sends the value. Disarming an alarm waits for
/// its callback. The callback may be inside a response handler that waits for the cancelling
/// thread. A cancellation therefore only releases the request and leaves the alarm to the alarm
/// thread, where destroying an alarm never waits. No lock is held while an alarm is destroyed or a
/// response handler is called. Only the destructor waits for a running response handler, so a
/// response handler must not destroy this object.
class ClockHandler : public kova::IResourceHandler {
public:
    /// `now` is called on any thread. `interval` is at least one millisecond. `timer` must outlive
    /// the handler.
    ClockHandler(std::function<kova::dovglobals::DateTime()> now,
                 std::chrono::milliseconds interval,
                 osal::AlarmTimer& timer = osal::Alarm::DEFAULT_TIMER);
    ~ClockHandler() override;

    void* actionRequest(const kova::Request& request,
                        std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                        const std::string& resourcePath) override;
    void cancelRequest(void* handle) override;

private:
    using Handler = std::unique_ptr<kova::IResponseHandler<kova::Response>>;
    using Alarm = std::unique_ptr<kova::FunctionalAlarm>;
    struct Pending;
    struct Entry {
        std::shared_ptr<Pending> pending;
        Alarm alarm;
    };

    kova::Response respond(const kova::Request& request, unsigned short code) const;
    void* openStream(const kova::Request& request, Handler&& handler);
    void* openAlarm(const kova::Request& request, Handler&& handler);
    void* keep(std::shared_ptr<Pending> pending, std::chrono::milliseconds delay);
    void expired(void* handle, const std::weak_ptr<Pending>& known);
    bool send(Pending& pending) const;
    void sweep();

    const std::function<kova::dovglobals::DateTime()> now_;
    const std::chrono::milliseconds interval_;
    osal::AlarmTimer& timer_;
    /// Handles are never reused: a late cancellation must not cancel another request.
    std::atomic<std::uintptr_t> lastHandle_{0};
    std::mutex mutex_;
    std::map<void*, Entry> requests_;
    /// Alarms of terminated or cancelled requests, to be destroyed by `sweep`.
    std::vector<Alarm> retired_;
    bool stopping_ = false;
    /// Calls `sweep`. A platform alarm, because any thread can arm it without waiting.
    osal::Alarm sweeper_;
};

}  // namespace device
