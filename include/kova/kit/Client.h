#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/MimeTypes.h"
#include "kova/core/headers.h"
#include "kova/kit/Call.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Command.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Options of `Client`.
struct ClientOptions {
    /// The header entry "$service-path": the path of the service that handles the requests.
    std::string servicePath = {};
    /// The header entry "$client-id": the identity of the client.
    std::string clientId = {};
    /// The mime type of the payloads in requests and answers.
    std::string accept = mimetypes::JSON_TYPE;
    /// The default deadline of a call; 0 means no limit. The deadline of a stream applies only to
    /// its first value.
    std::chrono::milliseconds deadline = std::chrono::seconds(30);
    /// The default executor of a call.
    Executor executor = {};
    /// The clock of the deadlines, for tests. Null selects the monotonic clock of the system.
    osal::Clock* clock = nullptr;
};

/// A client of one service. Its calls use values of C++ types instead of payloads.
///
/// Any thread may call any function. The service must outlive the client. The destructor closes the
/// client and waits until no callback is running. If a callback destroys the client, the destructor
/// does not wait for that callback.
///
///     const auto turnUp = [](kova::IKovaApi& service) {
///         kova::kit::ClientOptions options;
///         options.clientId = "hmi";
///         kova::kit::Client client(service, options);
///         const int level = client.retrieve<int>("/level").get().valueOr(0);
///         client.update("/level", level + 5).get().orThrow();
///     };
class KOVA_KIT_API Client {
public:
    /// Creates a client of `service`. The service must outlive the client.
    explicit Client(IKovaApi& service, const ClientOptions& options = {});
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// @{
    /// Returns a call with one of the four standard commands. `T` is the type of the value in the
    /// answer. Use `void` if the answer has no value, and `Payload` to receive the payload without
    /// conversion. `body` is the value in the request.
    template <typename T = Payload>
    Call<T> retrieve(const std::string& path) const {
        return call<T>(command::retrieve, path);
    }
    template <typename T = void, typename Body>
    Call<T> update(const std::string& path, const Body& body) const {
        return call<T>(command::update, path, body);
    }
    template <typename T = void, typename Body>
    Call<T> insert(const std::string& path, const Body& body) const {
        return call<T>(command::insert, path, body);
    }
    template <typename T = void>
    Call<T> remove(const std::string& path) const {
        return call<T>(command::remove, path);
    }
    /// @}
    /// Returns a call that retrieves a stream of values.
    template <typename T = Payload>
    Call<T> watch(const std::string& path) const {
        CallDraft draft = makeDraft(command::retrieve, path, Payload());
        draft.options.stream = true;
        headers::appendResponseSemantic(draft.request, headers::PERSISTENT_STREAM);
        return Call<T>(std::move(draft));
    }
    /// @{
    /// Returns a call with any command.
    template <typename T = Payload>
    Call<T> call(std::string_view command, const std::string& path) const {
        return make<T>(command, path, Payload());
    }
    template <typename T = Payload, typename Body>
    Call<T> call(std::string_view command, const std::string& path, const Body& body) const {
        return make<T>(command, path, toPayload(textOf(body), options_.accept));
    }
    /// @}

    /// Rejects new calls, ends the pending calls silently, and waits until no callback and no other
    /// function is running for them. Returns the calls that are still running after `limit`
    /// (`Calls::close`).
    std::vector<CallInfo> close(std::chrono::milliseconds limit);
    /// Returns the calls that have not ended.
    std::vector<CallInfo> pending() const;
    /// Returns the untyped draft of a call. The body is sent if it is not empty. If `body` is an
    /// error, the call ends with this error.
    CallDraft makeDraft(std::string_view command, const std::string& path,
                        const Result<Payload>& body) const;
    /// Returns the untyped calls of the client.
    const std::shared_ptr<Calls>& calls() const noexcept { return calls_; }

private:
    template <typename T>
    static const T& textOf(const T& value) noexcept {
        return value;
    }
    static std::string textOf(char const* text) { return text; }

    template <typename T>
    Call<T> make(std::string_view command, const std::string& path,
                 const Result<Payload>& body) const {
        CallDraft draft = makeDraft(command, path, body);
        headers::appendResponseSemantic(draft.request, detail::NEEDS_VALUE<T>
                                                           ? headers::SINGLE_RESPONSE
                                                           : headers::EMPTY_RESPONSE);
        return Call<T>(std::move(draft));
    }
    const ClientOptions options_;
    const std::shared_ptr<Calls> calls_;
};

}  // namespace kova::kit
