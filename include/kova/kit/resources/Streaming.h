#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kova/kit/Export.h"
#include "kova/kit/Mountable.h"
#include "kova/kit/Result.h"
#include "kova/kit/StreamOptions.h"
#include "kova/kit/resources/Change.h"

// The common part of `Observable`, `Events`, `ObservableList` and `ObservableMap`. Used only by the
// kit.
namespace kova::kit::detail {

/// The data of a stream. The hub guards it with its lock.
class KOVA_KIT_API StreamSource {
public:
    StreamSource() = default;
    virtual ~StreamSource();
    StreamSource(const StreamSource&) = delete;
    StreamSource& operator=(const StreamSource&) = delete;

    /// @{
    /// The hub calls these functions while it holds its lock, so they must not call functions of
    /// the user. They return null if the value does not exist.

    /// Returns the whole value, list or map as the first value of a stream: the snapshot.
    virtual std::shared_ptr<Change> snapshot() const = 0;
    /// Returns the whole value, list or map as the answer to a request for one value.
    virtual std::shared_ptr<Change> whole() const { return snapshot(); }
    /// Returns the element of a list or map with this path. The path is not empty.
    virtual std::shared_ptr<Change> element(std::string_view path) const;
    /// @}

    /// Reads the current value for a client that retrieves or begins to watch it. Returns null if
    /// the stream stores its value, so that nothing has to be read. Called without a lock.
    virtual Result<std::shared_ptr<Change>> read();
    /// Called after a watcher was added, without a lock.
    virtual void watched();
    /// Returns whether clients may write the value.
    virtual bool isWritable(const Hub& hub) const;
    /// Checks and sets the value that a client wrote. Called without a lock.
    virtual Result<void> write(Hub& hub, const Payload& body);
    /// Returns the operations.
    virtual std::vector<Operation> operations(const Hub& hub) const = 0;
    /// Returns whether each change applies to the result of the change before it, so that no change
    /// may be missed.
    virtual bool isIncremental() const noexcept { return false; }
};

/// @{
/// Calls `apply(user)` while the lock of the hub is held. If it returns true, `change` becomes the
/// newest change of the stream. Returns the result of `apply`.
KOVA_KIT_API bool publish(Hub& hub, std::shared_ptr<Change> change, bool (*apply)(void*),
                          void* user);
/// Does the same for a function object instead of a function pointer.
template <typename Apply>
bool publishWith(Hub& hub, std::shared_ptr<Change> change, Apply&& apply) {
    using Function = std::remove_reference_t<Apply>;
    return publish(
        hub, std::move(change), [](void* user) { return (*static_cast<Function*>(user))(); },
        const_cast<void*>(static_cast<const void*>(std::addressof(apply))));
}
/// @}

/// @{
/// Calls `read(user)` while the lock of the hub is held.
KOVA_KIT_API void readLocked(const Hub& hub, void (*read)(void*), void* user);
/// Does the same for a function object instead of a function pointer.
template <typename Read>
void readWith(const Hub& hub, Read&& read) {
    using Function = std::remove_reference_t<Read>;
    readLocked(
        hub, [](void* user) { (*static_cast<Function*>(user))(); },
        const_cast<void*>(static_cast<const void*>(std::addressof(read))));
}
/// @}

/// The base class of `Observable`, `Events` and the other types that clients can watch.
class KOVA_KIT_API Streaming : public Mountable {
public:
    /// Returns a handle with which the options of the watchers' queues can be changed.
    StreamOptions options() const noexcept;
    /// Returns the watchers.
    std::vector<WatcherInfo> watchers() const;
    /// Returns whether there is a watcher.
    bool isWatched() const;

protected:
    Streaming(std::shared_ptr<StreamSource> source, const StreamQueue& queue);
    ~Streaming() = default;

    Hub& hub() const noexcept { return *hub_; }

private:
    KOVA_KIT_LOCAL explicit Streaming(const std::shared_ptr<Hub>& hub) noexcept;

    Hub* const hub_;
};

}  // namespace kova::kit::detail
