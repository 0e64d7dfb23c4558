#include "kova/kit/Peer.h"

#include <unistd.h>

#include "resources/ScopedPeer.h"

namespace kova::kit {

namespace {

thread_local Peer const* currentPeer = nullptr;

}  // namespace

const Peer* detail::scopedPeer() noexcept {
    return currentPeer;
}

Peer Peer::self() {
    return {static_cast<long>(::geteuid()),
            static_cast<long>(::getegid()),
            static_cast<long>(::getpid()),
            {}};
}

Peer peerOf(const Request& /*request*/) {
    return currentPeer != nullptr ? *currentPeer : Peer::self();
}

PeerScope::PeerScope(const Peer& peer) noexcept : outer_(currentPeer) {
    currentPeer = &peer;
}

PeerScope::~PeerScope() {
    currentPeer = outer_;
}

}  // namespace kova::kit
