#include "kova/kit/resources/Streaming.h"

#include <utility>

#include "streams/Hub.h"

namespace kova::kit {

namespace {

constexpr char const* wordOf(WhenFull policy) noexcept {
    switch (policy) {
        case Wait:
            return "wait";
        case Conflate:
            return "conflate";
        case DropOldest:
            return "drop-oldest";
        default:
            return "disconnect";
    }
}

}  // namespace

// --- Options -------------------------------------------------------------------------------------

std::string StreamQueue::toString() const {
    return std::to_string(bound) + " " + wordOf(whenFull);
}

StreamOptions& StreamOptions::queue(std::size_t bound) {
    hub_->setBound(bound);
    return *this;
}

StreamOptions& StreamOptions::whenFull(WhenFull policy) {
    hub_->setPolicy(policy);
    return *this;
}

StreamOptions& StreamOptions::patience(std::chrono::milliseconds limit) {
    hub_->setPatience(limit);
    return *this;
}

StreamQueue StreamOptions::current() const {
    return hub_->queue();
}

namespace detail {

// --- Sources -------------------------------------------------------------------------------------

StreamSource::~StreamSource() = default;

std::shared_ptr<Change> StreamSource::element(std::string_view /*path*/) const {
    return nullptr;
}

Result<std::shared_ptr<Change>> StreamSource::read() {
    return std::shared_ptr<Change>();
}

void StreamSource::watched() {}

bool StreamSource::isWritable(const Hub& /*hub*/) const {
    return false;
}

Result<void> StreamSource::write(Hub& /*hub*/, const Payload& /*body*/) {
    return {};
}

bool publish(Hub& hub, std::shared_ptr<Change> change, bool (*apply)(void*), void* user) {
    return hub.publish(std::move(change), apply, user);
}

void readLocked(const Hub& hub, void (*read)(void*), void* user) {
    hub.read(read, user);
}

// --- Base class ----------------------------------------------------------------------------------

Streaming::Streaming(std::shared_ptr<StreamSource> source, const StreamQueue& queue)
    : Streaming(std::make_shared<Hub>(std::move(source), queue)) {}

Streaming::Streaming(const std::shared_ptr<Hub>& hub) noexcept : Mountable(hub), hub_(hub.get()) {}

StreamOptions Streaming::options() const noexcept {
    return StreamOptions(*hub_);
}

std::vector<WatcherInfo> Streaming::watchers() const {
    return hub_->watchers();
}

bool Streaming::isWatched() const {
    return hub_->isWatched();
}

}  // namespace detail

}  // namespace kova::kit
