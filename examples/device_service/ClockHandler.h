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

/// A point in time as a date and time of UTC, with milliseconds.
kova::dovglobals::DateTime toDateTime(std::chrono::system_clock::time_point time);

/// Serves the time of day as a `DateTime`. "" is the time, at once or, with the response semantic
/// "persistent-stream", now and at every interval until it is cancelled. "in" is the time once,
/// when the `Duration` in the payload has passed; a duration has no more than days, because nobody
/// knows how long a month is.
///
/// Each pending request has an alarm, whose callback sends the value. Disarming an alarm waits for
/// its callback, and that may be in a receiver that waits for whoever cancels; so a cancellation
/// only lets go of the request, and puts the alarm aside for the thread of the alarms, where
/// destroying one never waits. No lock is held while an alarm is destroyed or a receiver called.
/// Only the destructor waits, for the receiver that is called just then: not to be destroyed from
/// inside a receiver.
class ClockHandler : public kova::IResourceHandler {
public:
    /// `now` is called on any thread. `interval` is at least a millisecond. `timer` outlives the
    /// handler.
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
    /// No handle is used twice: a late cancellation must not meet another request.
    std::atomic<std::uintptr_t> lastHandle_{0};
    std::mutex mutex_;
    std::map<void*, Entry> requests_;
    /// Of requests that are over.
    std::vector<Alarm> retired_;
    bool stopping_ = false;
    /// Calls `sweep`. One of the platform, because arming it never waits and any thread may do it.
    osal::Alarm sweeper_;
};

}  // namespace device
