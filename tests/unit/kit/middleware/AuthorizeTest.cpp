#include <gtest/gtest.h>

#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using Events = testing::Recording::Events;

TEST(Authorize, FunctionReceivesTheRequestAndThePeer) {
    test::HeldService service;
    Chain chain(service);
    chain.use(authorize([](const Request& request, const Peer& peer) {
        return peer.uid == 0 || request.getCommand() == "retrieve";
    }));
    struct Row {
        long uid;
        char const* command;
        bool allowed;
    };
    std::size_t passed = 0;
    for (const Row& row : {Row{0, "update", true}, Row{0, "retrieve", true},
                           Row{1000, "retrieve", true}, Row{1000, "update", false}}) {
        const Peer peer{row.uid, 0, 1, "unix:"};
        const PeerScope scope(peer);
        auto recording = testing::record();
        chain.actionRequest({row.command, "/state"}, recording.handler());
        if (row.allowed) {
            service.answer(++passed);
            EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
        } else {
            EXPECT_EQ(recording.events(), (Events{"error 403 the peer is not allowed to do this"}));
        }
    }
    EXPECT_EQ(passed, 3U);
}

}  // namespace
}  // namespace kova::kit
