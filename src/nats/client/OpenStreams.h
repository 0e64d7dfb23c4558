#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "nats/client/ClientStream.h"

namespace kova::nats::detail {

/// The open requests of a client, in the order of their numbers.
///
/// The number ends the subject of the answer. A request that is sent again gets a new number, so
/// that late messages of its former server are not part of the new answer. It keeps its handle,
/// which is the number with which it was sent first. Not synchronized.
class OpenStreams {
public:
    using Stream = std::unique_ptr<ClientStream>;

    bool isEmpty() const noexcept { return byNumber_.empty(); }
    /// Adds a request with a number that no other request has had.
    ClientStream& add(Stream stream, std::uint64_t number);
    /// @{
    /// Return the request with a number or a handle; null if it is not open.
    ClientStream* find(std::uint64_t number) const;
    ClientStream* findHandle(std::uint64_t handle) const;
    /// @}
    /// Removes a request and returns it.
    Stream take(const ClientStream& stream);
    /// Removes all requests.
    void clear() noexcept;

    /// Calls a function for each request. The function may take its request, and add others with
    /// higher numbers, for which the function is called, too.
    template <typename Function>
    void forEach(Function function) {
        for (auto next = byNumber_.begin(); next != byNumber_.end();) {
            function(*(next++)->second);
        }
    }
    /// Returns the first request for which the condition is true; null if no request is found.
    template <typename Condition>
    ClientStream* findIf(Condition condition) const {
        for (const auto& [number, stream] : byNumber_) {
            if (condition(*stream)) {
                return stream.get();
            }
        }
        return nullptr;
    }
    /// Removes the requests for which the condition is true, and returns them.
    template <typename Condition>
    std::vector<Stream> takeIf(Condition condition) {
        std::vector<Stream> taken;
        forEach([&](const ClientStream& stream) {
            if (condition(stream)) {
                taken.push_back(take(stream));
            }
        });
        return taken;
    }

private:
    std::map<std::uint64_t, Stream> byNumber_;
    /// The numbers of the requests whose number is not their handle.
    std::unordered_map<std::uint64_t, std::uint64_t> numbers_;
};

}  // namespace kova::nats::detail
