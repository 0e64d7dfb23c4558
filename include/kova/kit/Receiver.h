#pragma once

#include "kova/core/Response.h"
#include "kova/kit/End.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Receives the answer to one call: any number of values, then one end, and nothing after that.
///
/// It is not an `IResponseHandler`: it receives every kind of end, including that of a request that
/// was refused or dropped. The kit calls one function of the receiver at a time, on a thread of the
/// call's executor, and holds no lock meanwhile. The kit destroys the receiver after the end, or
/// after the owner has ended the call silently, but never while a function of the receiver is
/// running. An exception that leaves a function ends the process.
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

    /// Receives a value. Returns the reason if it cannot use the value. The request is then
    /// cancelled, and the call ends as "failed" with this reason.
    virtual Result<void> onValue(const Response& value) = 0;
    /// Receives the end.
    virtual void onEnd(const End& end) = 0;
};

}  // namespace kova::kit
