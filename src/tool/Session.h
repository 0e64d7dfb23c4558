#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "CallLoop.h"
#include "Context.h"
#include "Target.h"
#include "kova/core/IKovaApi.h"
#include "kova/kit/Client.h"
#include "kova/kit/End.h"
#include "kova/kit/Result.h"

namespace kova::tool {

/// The answer to one request: its latest value, and its end.
struct Answer {
    kit::End end;
    std::optional<Response> value;
};

/// How the answer to a request is received.
struct AskPolicy {
    /// Ends the request after its first value. `get` does so, because a stream never completes.
    bool firstValueOnly = false;
    /// Receives the progress of the request, or null.
    std::function<void(const Response&)> onProgress = nullptr;
    /// The time in which the end of a request must follow, once its first value or an interrupt has
    /// ended the wait. After this time, the request is cancelled.
    std::chrono::milliseconds endLimit{50};
};

/// A connection to a service, and a client of it whose callbacks run on the main thread.
///
///     auto session = Session::open(*Target::ofService("unix:player.sock"), context, {});
///     kit::Client& client = (*session)->client();
///     Answer answer = (*session)->ask(client.makeDraft("retrieve", "/level", Payload()), {});
class Session {
public:
    /// The longest value in bytes that words for one request accept.
    static constexpr std::size_t LONGEST_VALUE = std::size_t{1024} * 1024 * 1024;

    /// Returns a client of the service that the target names. The executor of the options is
    /// replaced. Fails as `connectTo` does. Does not wait for the connection. A request whose value
    /// has more than `longest` bytes ends with 502.
    static kit::Result<std::unique_ptr<Session>> open(const Target& target, const Context& context,
                                                      kit::ClientOptions options,
                                                      std::size_t longest = LONGEST_VALUE);

    /// Returns the client.
    kit::Client& client() noexcept { return client_; }
    /// Returns the service behind the client, whose answers come on a thread of the connection.
    IKovaApi& service() noexcept { return *service_; }
    /// Returns the loop that runs the callbacks.
    CallLoop& loop() noexcept { return loop_; }

    /// Sends a request and waits for its end. Ctrl-C cancels the request: the service is told, and
    /// the end is "cancelled".
    Answer ask(kit::CallDraft draft, const AskPolicy& policy);

private:
    Session(std::unique_ptr<IKovaApi> service, const Context& context, kit::ClientOptions options);

    CallLoop loop_;
    const std::unique_ptr<IKovaApi> service_;
    kit::Client client_;
};

}  // namespace kova::tool
