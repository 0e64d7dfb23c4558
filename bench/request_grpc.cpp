// The same request to a service of gRPC in the same process, through its in-process channel.
#include <grpcpp/grpcpp.h>

#include <memory>
#include <string>

#include "request_grpc.grpc.pb.h"
#include "support/Contest.h"
#include "support/Resources.h"

namespace kova::bench {

namespace {

class PromptResource final : public bench_grpc::Resource::Service {
    grpc::Status Retrieve(grpc::ServerContext*, const bench_grpc::Request* request,
                          bench_grpc::Response* response) override {
        response->set_status(request->path().empty() ? 404 : 200);
        return grpc::Status::OK;
    }
};

struct Local {
    Local() : server(grpc::ServerBuilder().RegisterService(&resource).BuildAndStart()) {}
    ~Local() { server->Shutdown(); }

    PromptResource resource;
    std::unique_ptr<grpc::Server> server;
    std::unique_ptr<bench_grpc::Resource::Stub> stub =
        bench_grpc::Resource::NewStub(server->InProcessChannel(grpc::ChannelArguments()));
};

// The service answers on a thread of its own, whose processor time counts, too.
const Entries ENTRIES([] {
    for (const long count : {10L, 1000L}) {
        contest("answered at once, among " + std::to_string(count), "gRPC", [count] {
            return [local = std::make_shared<Local>(), path = pathBelow(count)] {
                grpc::ClientContext context;
                bench_grpc::Request request;
                request.set_path(path);
                bench_grpc::Response response;
                const grpc::Status status = local->stub->Retrieve(&context, request, &response);
                return status.ok() ? response.status() : 0;
            };
        })->MeasureProcessCPUTime();
    }
});

}  // namespace

}  // namespace kova::bench
