#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "kova/core/Request.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Export.h"
#include "kova/kit/Result.h"
#include "kova/kit/Tree.h"

namespace kova::kit {

/// The untyped part of a `Call`: a request that is not sent yet, and the functions for its answer.
///
/// Not for direct use: `Client` creates it and `Call` changes it. A value with the code 298 is a
/// progress value; any other value is a value of the call. If the service sends an error response
/// as a value, the call ends as "failed".
///
///     const auto send = [](std::shared_ptr<kova::kit::Calls> calls) {
///         kova::kit::CallDraft draft(calls, {"retrieve", "/state"}, {});
///         return draft.wait(std::chrono::seconds(1));
///     };
class KOVA_KIT_API CallDraft {
public:
    /// The type of a function that receives each value. It returns the reason if it cannot use the
    /// value.
    using ValueFunction = std::function<Result<void>(const Response&)>;
    /// The type of a function that receives the end of the call.
    using EndFunction = std::function<void(const End&)>;

    /// Creates a draft. `calls` will send the request.
    CallDraft(std::shared_ptr<Calls> calls, Request request, CallOptions options)
        : request(std::move(request)), options(std::move(options)), calls_(std::move(calls)) {}

    /// Adds a header entry. If `value` is an error, stores the error; `start` then reports it.
    void addHeader(const std::string& key, Result<Tree>&& value);
    /// Stores an error, unless one is already stored. The request is then not sent, and the call
    /// ends with the stored error.
    void fail(const Error& error);

    /// Sends the request. If an error is stored, calls the end function with it instead.
    [[nodiscard]] Subscription start();
    /// Sends the request, waits for the end, and returns the last value. While it waits, calls the
    /// progress function on this thread. Fails in the same cases as `Calls::ask`. If the service
    /// completed the request without a value and `needsValue` is false, returns code 200 with an
    /// empty payload.
    Result<Response> wait(std::chrono::milliseconds limit);

    /// @{
    /// The settings of the call. `Call` changes them.
    Request request;
    CallOptions options;
    ValueFunction onValue;
    ValueFunction onProgress;
    EndFunction onEnd;
    bool needsValue = true;
    /// @}

private:
    std::shared_ptr<Calls> calls_;
    std::optional<Error> error_;
};

}  // namespace kova::kit
