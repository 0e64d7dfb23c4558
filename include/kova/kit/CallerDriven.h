#pragma once

#include <chrono>

#include "kova/kit/Export.h"

namespace kova::kit {

/// A service with its own thread, on which answers arrive. While another thread waits for an
/// answer, it can do the work of that thread, so that a blocking call needs no switch of threads.
///
/// A service class derives from `IKovaApi` and from this class. The constructor of `Calls` checks
/// whether the service is a `CallerDriven`.
///
///     // One call of a thread that waits:
///     const auto waitFor = [](kova::kit::CallerDriven& service, bool (*isAnswered)(),
///                             std::chrono::steady_clock::time_point due) {
///         if (service.beginDriving()) {
///             // here the request is sent
///             while (!isAnswered() && service.drive(due)) {
///             }
///             service.endDriving();
///         }
///     };
class KOVA_KIT_API CallerDriven {
public:
    CallerDriven() = default;
    virtual ~CallerDriven();
    CallerDriven(const CallerDriven&) = delete;
    CallerDriven& operator=(const CallerDriven&) = delete;

    /// Makes the calling thread do the work of the service's thread until `endDriving`. Returns
    /// false, without an effect, if the service does not permit this now. Does not block. Until
    /// `endDriving`, the thread may only send one request, cancel it, and call `drive`.
    virtual bool beginDriving() noexcept = 0;
    /// Waits for the next event of the service, at most until `due`, and does the work for this
    /// event, such as calling the response handler. Returns false if the service needs its own
    /// thread, or after `interruptDriving`. The caller must then call `endDriving`.
    virtual bool drive(std::chrono::steady_clock::time_point due) = 0;
    /// Gives the work back to the thread of the service.
    virtual void endDriving() noexcept = 0;
    /// Makes `drive` return false. Any thread may call it.
    virtual void interruptDriving() noexcept = 0;
};

}  // namespace kova::kit
