#pragma once

#include <chrono>

#include "kova/kit/Export.h"

namespace kova::kit {

/// A service whose answers arrive on a thread of its own, and that lets a thread which waits for an
/// answer do the work of that thread meanwhile. A blocking call then needs no switch of threads.
///
/// A service class derives from it beside `IKovaApi`; `Calls` finds it when it is constructed.
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
    /// false if the service cannot let it; then nothing has changed. Does not block. Between the
    /// two functions the thread may only send one request, cancel it, and call `drive`.
    virtual bool beginDriving() noexcept = 0;
    /// Waits until something happens, at most until `due`, and does the work that follows, such as
    /// calling the response handler. Returns false if the service needs its own thread, or after
    /// `interruptDriving`: then `endDriving` must follow.
    virtual bool drive(std::chrono::steady_clock::time_point due) = 0;
    /// Gives the work back to the thread of the service.
    virtual void endDriving() noexcept = 0;
    /// Makes `drive` return false. Any thread may call it.
    virtual void interruptDriving() noexcept = 0;
};

}  // namespace kova::kit
