#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "kova/core/Payload.h"
#include "kova/kit/Export.h"

namespace kova::kit {

namespace detail {
class Served;
}

/// One operation of a mountable object: a command at a path. The inspection of a service shows it.
struct Operation {
    /// The command word.
    std::string command;
    /// The path below the mount path, as a template such as "{id:uint}/name". "" for the mount path
    /// itself.
    std::string path;
    /// @{
    /// Return the JSON Schema of the request's body and of the answer's value; null if there is no
    /// schema.
    Payload (*bodySchema)() = nullptr;
    Payload (*valueSchema)() = nullptr;
    /// @}
    /// Whether the answer can be a stream of values.
    bool streams = false;
};

/// An object that a `ServiceBuilder` can mount: the common part of `Resource`, `Observable`,
/// `Events`, `ObservableList` and `ObservableMap`.
///
/// A handle of shared state. Its owner may destroy it before or after the service in which it is
/// mounted. After its destruction the mount answers new requests with 503. Destruction also ends
/// pending requests with 503, and waits until no function of the object is running. If one of these
/// functions destroys the object, destruction does not wait for the current call of that function.
/// Any thread may call any function.
///
///     const auto countOf = [](const kova::kit::Mountable& resource) {
///         return resource.operations().size();
///     };
class KOVA_KIT_API Mountable {
public:
    Mountable(const Mountable&) = delete;
    Mountable& operator=(const Mountable&) = delete;

    /// Returns a new resource handler that serves the requests, for a composed service that no
    /// `ServiceBuilder` builds. The handler may outlive the object. In such a service, a request
    /// leaves a stale entry in the table of pending requests if another thread answers it before
    /// `actionRequest` has returned (`IResourceHandler::actionRequest`).
    std::unique_ptr<IResourceHandler> handler() const;
    /// Returns the operations.
    std::vector<Operation> operations() const;
    /// Returns the shared state. Used only by the kit.
    const std::shared_ptr<detail::Served>& served() const noexcept { return served_; }

protected:
    /// Creates a handle of the shared state.
    explicit Mountable(std::shared_ptr<detail::Served> served) noexcept;
    /// Calls `close`.
    ~Mountable();

    /// Refuses new requests, ends pending ones with 503 and waits until no function of the object
    /// is running. A derived class whose functions use its members must call it in its destructor.
    void close() noexcept;

private:
    std::shared_ptr<detail::Served> served_;
};

}  // namespace kova::kit
