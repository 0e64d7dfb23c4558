#include "nats/client/OpenStreams.h"

namespace kova::nats::detail {

ClientStream& OpenStreams::add(Stream stream, std::uint64_t number) {
    ClientStream& added = *stream;
    added.number = number;
    if (number != added.handle) {
        numbers_[added.handle] = number;
    }
    byNumber_.emplace(number, std::move(stream));
    return added;
}

ClientStream* OpenStreams::find(std::uint64_t number) const {
    const auto found = byNumber_.find(number);
    return found != byNumber_.end() ? found->second.get() : nullptr;
}

// A number that is not the handle of its request is the handle of none.
ClientStream* OpenStreams::findHandle(std::uint64_t handle) const {
    const auto found = numbers_.find(handle);
    return find(found != numbers_.end() ? found->second : handle);
}

OpenStreams::Stream OpenStreams::take(const ClientStream& stream) {
    if (stream.number != stream.handle) {
        numbers_.erase(stream.handle);
    }
    return std::move(byNumber_.extract(stream.number).mapped());
}

void OpenStreams::clear() noexcept {
    byNumber_.clear();
    numbers_.clear();
}

}  // namespace kova::nats::detail
