// The request of request_bench.cpp to a Cap'n Proto capability in the same process.
#include <capnp/capability.h>
#include <capnp/message.h>
#include <kj/async.h>

#include <memory>

#include "request.capnp.h"
#include "support/Contest.h"
#include "support/Resources.h"

namespace kova::bench {

namespace {

class PromptResource final : public capnp_bench::Resource::Server {
    kj::Promise<void> retrieve(RetrieveContext context) override {
        context.getResults().setStatus(context.getParams().getPath().size() != 0 ? 200 : 404);
        return kj::READY_NOW;
    }
};

struct Local {
    kj::EventLoop loop;
    kj::WaitScope scope{loop};
    capnp_bench::Resource::Client resource{kj::heap<PromptResource>()};
};

const Entries ENTRIES([] {
    for (const long count : {10L, 1000L}) {
        contest("answered at once, among " + std::to_string(count), "Cap'n Proto", [count] {
            return [local = std::make_shared<Local>(), path = pathBelow(count)] {
                auto request = local->resource.retrieveRequest();
                request.setPath(path);
                return request.send().wait(local->scope).getStatus();
            };
        });
    }
});

}  // namespace

}  // namespace kova::bench
