#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "kova/kit/Ask.h"
#include "kova/kit/Mountable.h"
#include "resources/Exchange.h"
#include "resources/Gate.h"
#include "resources/MountState.h"

namespace kova::kit::detail {

/// The shared state of a mountable object: its gate, and its pending requests.
///
/// Any thread may call any function.
class Served : public std::enable_shared_from_this<Served> {
public:
    Served() = default;
    virtual ~Served();
    Served(const Served&) = delete;
    Served& operator=(const Served&) = delete;

    /// Serves a request. Returns the handle of the request if it is pending, or null.
    void* actionRequest(const Request& request, ResponseHandler handler, const std::string& path,
                        const std::shared_ptr<MountState>& mount) noexcept;
    /// Cancels a pending request.
    void cancelRequest(void* handle) noexcept;
    /// Returns the operations of the object.
    virtual std::vector<Operation> operations() const = 0;
    /// Returns the hint that is appended to the message "path '...' not found", or "" if there is
    /// no hint.
    virtual std::string hintFor(std::string_view path) const;

    /// Refuses new requests and ends pending ones with 503. Does not wait.
    void refuse() noexcept;
    /// Waits until no function of the object is running. Returns false if the limit has passed
    /// before.
    bool waitUntilLeft(std::optional<std::chrono::milliseconds> limit = std::nullopt) {
        return gate_.waitUntilLeft(limit);
    }
    /// Destroys the data that only this object owns, after it is closed and none of its functions
    /// is running. If the current thread is inside one of its functions, does nothing.
    virtual void releaseOwned() noexcept {}
    /// Returns the number of pending requests.
    std::size_t pending() const { return table_->size(); }

    Gate& gate() noexcept { return gate_; }

protected:
    /// A request, its response handler and the state of its mount.
    struct Incoming {
        const Ask& ask;
        ResponseHandler handler;
        const std::shared_ptr<MountState>& mount;
    };
    /// Serves a request. Called inside the gate, on any thread. An exception ends the process.
    /// Returns the exchange that is still pending, or null.
    virtual std::shared_ptr<Exchange> serve(Incoming incoming) = 0;
    /// Called once, by the first `refuse`, before pending requests are ended.
    virtual void stopping() noexcept {}

    const std::shared_ptr<ExchangeTable>& table() const noexcept { return table_; }
    /// Returns a new exchange. It is in the table of this object while it is pending.
    std::shared_ptr<Exchange> makeExchange(ResponseHandler handler) const {
        return std::make_shared<Exchange>(table_, std::move(handler));
    }

private:
    Gate gate_;
    const std::shared_ptr<ExchangeTable> table_ = std::make_shared<ExchangeTable>();
};

/// Returns a resource handler that passes its requests on to the shared state.
std::unique_ptr<IResourceHandler> makeHandler(std::shared_ptr<Served> served,
                                              std::shared_ptr<MountState> mount);

/// Returns the error with which a request is answered if its function throws, and reports the
/// exception. Call it inside the catch block. `what` names the request. A `KovaException` is not
/// reported; the error is made from its response.
Error uncaught(const std::string& what, const OnUncaught& onUncaught) noexcept;
/// Returns the format of the answer, which is one of two static texts. Null if values cannot be
/// encoded in the format that the client wants.
std::string const* formatOf(const Ask& ask);
/// Returns the error for a format in which values cannot be encoded: 400 with a list of the
/// supported formats.
Error unknownFormat(const std::string& format);

/// Returns the response with 503 of a closed resource.
Response closedResponse();

}  // namespace kova::kit::detail
