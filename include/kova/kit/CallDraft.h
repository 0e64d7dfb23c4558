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
/// It is not for users; `Client` makes it and `Call` changes it. Values with the code 298 are
/// progress, all others are values of the call. A value that is an error response ends the call as
/// "failed".
///
///     const auto send = [](std::shared_ptr<kova::kit::Calls> calls) {
///         kova::kit::CallDraft draft(calls, {"retrieve", "/state"}, {});
///         return draft.wait(std::chrono::seconds(1));
///     };
class KOVA_KIT_API CallDraft {
public:
    /// Gets each value. Returns the reason if the value cannot be used.
    using ValueFunction = std::function<Result<void>(const Response&)>;
    /// Gets the end.
    using EndFunction = std::function<void(const End&)>;

    /// Creates a draft of a call of `calls`.
    CallDraft(std::shared_ptr<Calls> calls, Request request, CallOptions options)
        : request(std::move(request)), options(std::move(options)), calls_(std::move(calls)) {}

    /// Adds a header entry. An error of the value is kept for the start.
    void addHeader(const std::string& key, Result<Tree>&& value);
    /// Keeps the first error, which the call then ends with instead of being sent.
    void fail(const Error& error);

    /// Sends the request. If there is an error, the end function is called with it instead.
    [[nodiscard]] Subscription start();
    /// Sends the request, waits for the end, and returns the last value. Calls the progress
    /// function on this thread meanwhile. Fails as `Calls::ask`. With code 200 and an empty payload
    /// if the service completed the request without a value and `needsValue` is false.
    Result<Response> wait(std::chrono::milliseconds limit);

    /// @{
    /// What `Call` sets.
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
