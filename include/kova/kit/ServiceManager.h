#pragma once

#include <functional>
#include <memory>
#include <string>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Options of `ServiceManager`.
struct ServiceManagerOptions {
    /// Returns whether the service works. Called on the thread of the watchdog. Null: the service
    /// works if it answers "retrieve" of "/" within half of the period, whatever the answer is. An
    /// exception that leaves the function ends the process.
    std::function<bool()> isHealthy;
};

/// Tells systemd, or another service manager with the protocol of sd_notify(3), how the service is.
///
/// It sends datagrams to the socket that the environment variable NOTIFY_SOCKET names: a path, or
/// the name of an abstract socket behind "@". Without the variable it does nothing. If
/// WATCHDOG_USEC is set too, and WATCHDOG_PID is not the number of another process, a thread checks
/// the service at once and then each time when half of that period has passed, and sends
/// "WATCHDOG=1" if it works. The variables are read once, by the constructor.
///
///     const auto run = [](kova::IKovaApi& service, const std::function<void()>& waitForSignal) {
///         kova::kit::ServiceManager manager(service);
///         manager.ready();
///         waitForSignal();
///         manager.stopping();
///     };
///
/// Any thread may call any function. A message that the service manager does not accept within a
/// second is lost.
class KOVA_KIT_API ServiceManager {
public:
    /// Reads the environment and starts the watchdog. `service` must outlive the object.
    explicit ServiceManager(IKovaApi& service, ServiceManagerOptions options = {});
    /// Ends the watchdog. Waits for a check that runs.
    ~ServiceManager();
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;

    /// Returns whether there is a service manager.
    bool isPresent() const noexcept;
    /// Returns whether a thread sends "WATCHDOG=1".
    bool hasWatchdog() const noexcept;

    /// @{
    /// Send "READY=1", "STOPPING=1", or a line of text for people, in which control characters
    /// become blanks. Return whether the message was sent.
    bool ready() const noexcept;
    bool stopping() const noexcept;
    bool status(const std::string& text) const;
    /// @}

private:
    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace kova::kit
