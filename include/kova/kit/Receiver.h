#pragma once

#include "kova/core/Response.h"
#include "kova/kit/End.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Receives the answer to one call: any number of values, then one end, and nothing after that.
///
/// It is not an `IResponseHandler`: it learns every kind of end, also a request that was refused
/// or that the service forgot. The kit calls one function at a time, on a thread of the call's
/// executor, and holds no lock meanwhile. It destroys the receiver after the end, or after the
/// owner of the call asked for silence, but never while one of its functions runs. An exception
/// that leaves a function ends the process.
///
///     struct Printer : kova::kit::Receiver {
///         kova::kit::Result<void> onValue(const kova::Response& value) override {
///             last = value.toString();
///             return {};
///         }
///         void onEnd(const kova::kit::End& end) override { last = end.toString(); }
///         std::string last;
///     };
class KOVA_KIT_API Receiver {
public:
    Receiver() = default;
    virtual ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /// Receives a value. Returns the reason if it cannot use the value: the request is then
    /// cancelled, and the call ends as "failed" with this reason.
    virtual Result<void> onValue(const Response& value) = 0;
    /// Receives the end.
    virtual void onEnd(const End& end) = 0;
};

}  // namespace kova::kit
