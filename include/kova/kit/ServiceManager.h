#pragma once

#include <functional>
#include <memory>
#include <string>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Options of `ServiceManager`.
struct ServiceManagerOptions {
    /// Returns whether the service works. Called on the thread of the watchdog. If the function is
    /// null, the service counts as working if it answers "retrieve" of "/" within half of the
    /// watchdog period, even with an error. An exception that leaves the function ends the process.
    std::function<bool()> isHealthy;
};

/// Reports the state of a service to systemd, or to another service manager with the protocol of
/// sd_notify(3).
///
/// It sends datagrams to the socket in the environment variable NOTIFY_SOCKET: a path, or "@" and
/// the name of an abstract socket. Without the variable it does nothing. If WATCHDOG_USEC is also
/// set, and WATCHDOG_PID is not the number of another process, a thread checks the service at once
/// and then every WATCHDOG_USEC / 2 microseconds. The thread sends "WATCHDOG=1" if the service
/// works. The constructor reads the variables once.
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
    /// Ends the thread of the watchdog. Waits until a running check has ended.
    ~ServiceManager();
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;

    /// Returns whether there is a service manager.
    bool isPresent() const noexcept;
    /// Returns whether a thread sends "WATCHDOG=1".
    bool hasWatchdog() const noexcept;

    /// @{
    /// Send "READY=1", "STOPPING=1", or a line of text for people, in which control characters are
    /// replaced by blanks. Return whether the message was sent.
    bool ready() const noexcept;
    bool stopping() const noexcept;
    bool status(const std::string& text) const;
    /// @}

private:
    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace kova::kit
