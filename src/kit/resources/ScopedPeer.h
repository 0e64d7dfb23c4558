#pragma once

#include "kova/kit/Peer.h"

namespace kova::kit::detail {

/// Returns the peer of the current thread's `PeerScope`, or null for requests from within the
/// process. Unlike `peerOf` it makes no system call; `Peer::self` makes three.
const Peer* scopedPeer() noexcept;

}  // namespace kova::kit::detail
