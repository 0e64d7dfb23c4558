#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "MockDocument.h"
#include "kova/core/IResourceHandler.h"
#include "kova/core/Payload.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Result.h"
#include "kova/kit/Tree.h"

namespace kova::tool {

/// A value that clients watch.
struct MockStream {
    explicit MockStream(const Payload& json) : values(json), handler(values.handler()) {}

    /// The value. With this type, the kit encodes the JSON text in the format of each client.
    kit::Observable<std::optional<Payload>> values;
    /// The handler of the requests for the stream.
    const std::unique_ptr<IResourceHandler> handler;
};

/// The values of a mock. A value that was not changed is that of the document.
///
/// Any thread may call any function.
class MockItems {
public:
    /// @{
    /// The maximum number of values that were changed or are watched, and of their bytes.
    static constexpr std::size_t MOST_ITEMS = 10'000;
    static constexpr std::size_t MOST_BYTES = std::size_t{16} * 1024 * 1024;
    /// @}

    /// A value, or a part of it.
    struct Target {
        /// The path of the request, for messages.
        std::string path;
        /// The path of the document with the value.
        MockPath const* owner = nullptr;
        /// The key of the value: the part of the request's path that the owner matches.
        std::string key;
        /// The names and indexes that lead to the part; none for the value itself.
        std::vector<std::string> tail;
    };
    /// The changes of a value.
    enum class Change {
        put,     ///< Sets the value. In an array, adds it if the index is the size or "-".
        insert,  ///< Adds to an object or an array, or sets a value that does not exist.
        remove   ///< Removes the value.
    };

    /// The rules must outlive the object.
    explicit MockItems(const SchemaRules& rules) : rules_(rules) {}

    /// Returns the value as JSON. Fails with 404 if it does not exist.
    kit::Result<Payload> read(const Target& target) const;
    /// Changes the value. `body` is null for `remove`. Fails with 404 if there is no value to
    /// remove, or nothing in which the part could be; with 409 if the schema of the owner does not
    /// accept the result, or if the part exists; and with 503 if the result exceeds a limit.
    kit::Result<void> change(const Target& target, Change change, kit::Tree body);
    /// Returns the stream of a value, which is not a part. Fails as `read` does, and with 503.
    kit::Result<std::shared_ptr<MockStream>> watch(const Target& target);
    /// Sends the current value of each stream again.
    void repeat();
    /// Returns the streams.
    std::vector<std::shared_ptr<MockStream>> streams() const;

private:
    struct Item {
        Payload json;  // empty if there is no value
        std::shared_ptr<MockStream> stream;
    };

    Payload current(const Target& target) const;
    kit::Result<void> checkWhole(const Target& target, const util::config::Value& value) const;
    kit::Result<void> store(const std::string& key, const Payload& json);

    const SchemaRules& rules_;
    mutable std::mutex mutex_;
    /// @{
    /// Guarded by the mutex.
    std::map<std::string, Item> items_;
    std::size_t bytes_ = 0;
    /// @}
};

}  // namespace kova::tool
