#include "kova/kit/Peer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <future>

namespace kova::kit {
namespace {

const Request REQUEST("retrieve", "/state");
const Peer STRANGER{1000, 100, 4711, "unix:"};

TEST(Peer, PeerOfALocalRequestIsTheOwnProcess) {
    const Peer peer = peerOf(REQUEST);
    EXPECT_EQ(peer.uid, static_cast<long>(::geteuid()));
    EXPECT_EQ(peer.gid, static_cast<long>(::getegid()));
    EXPECT_EQ(peer.pid, static_cast<long>(::getpid()));
    EXPECT_EQ(peer.address, "");
}

TEST(PeerScope, SetsThePeerOfItsThread) {
    const PeerScope scope(STRANGER);
    EXPECT_EQ(peerOf(REQUEST).uid, 1000);
    EXPECT_EQ(peerOf(REQUEST).address, "unix:");
    std::future<long> other = std::async(std::launch::async, [] { return peerOf(REQUEST).pid; });
    EXPECT_EQ(other.get(), static_cast<long>(::getpid()));
}

TEST(PeerScope, DestructorRestoresTheOuterPeer) {
    const Peer outer{1, 2, 3, "outer"};
    const PeerScope outerScope(outer);
    {
        const PeerScope scope(STRANGER);
        EXPECT_EQ(peerOf(REQUEST).pid, 4711);
    }
    EXPECT_EQ(peerOf(REQUEST).address, "outer");
}

}  // namespace
}  // namespace kova::kit
