// The request of request_bench.cpp to a gRPC service in the same process, through the in-process
// channel. Client and server take turns on one thread, which is three times as fast as a server
// with its own threads.
#include <grpcpp/grpcpp.h>

#include <memory>
#include <string>

#include "request_grpc.grpc.pb.h"
#include "support/Contest.h"
#include "support/Resources.h"

namespace kova::bench {

namespace {

class Local {
public:
    Local() {
        grpc::ServerBuilder builder;
        builder.RegisterService(&resource_);
        queue_ = builder.AddCompletionQueue();
        server_ = builder.BuildAndStart();
        stub_ = bench_grpc::Resource::NewStub(server_->InProcessChannel({}));
    }
    ~Local() {
        server_->Shutdown();
        queue_->Shutdown();
        for (void* tag = nullptr; next(tag);) {
        }
    }

    unsigned retrieve(const std::string& path) {
        grpc::ServerContext serverContext;
        bench_grpc::Request taken;
        grpc::ServerAsyncResponseWriter<bench_grpc::Response> answering(&serverContext);
        resource_.RequestRetrieve(&serverContext, &taken, &answering, queue_.get(), queue_.get(),
                                  &asked_);
        grpc::ClientContext context;
        bench_grpc::Request request;
        request.set_path(path);
        bench_grpc::Response response;
        grpc::Status status;
        const auto pending = stub_->AsyncRetrieve(&context, request, queue_.get());
        pending->Finish(&response, &status, &answered_);
        // Three events: the request has arrived, the answer was sent, the answer has arrived.
        void* tag = nullptr;
        for (int events = 0; events < 3 && next(tag); ++events) {
            if (tag == &asked_) {
                bench_grpc::Response answer;
                answer.set_status(taken.path().empty() ? 404 : 200);
                answering.Finish(answer, grpc::Status::OK, &left_);
            }
        }
        return status.ok() ? response.status() : 0;
    }

private:
    bool next(void*& tag) {
        bool ok = false;
        return queue_->Next(&tag, &ok);
    }

    // Only the addresses of these members are used, as the tags of the events.
    char asked_ = 0;
    char left_ = 0;
    char answered_ = 0;

    bench_grpc::Resource::AsyncService resource_;
    std::unique_ptr<grpc::ServerCompletionQueue> queue_;
    std::unique_ptr<grpc::Server> server_;
    std::unique_ptr<bench_grpc::Resource::Stub> stub_;
};

// Measures the processor time of all threads, because the library has its own threads.
const Entries ENTRIES([] {
    for (const long count : {10L, 1000L}) {
        contest("answered at once, among " + std::to_string(count), "gRPC", [count] {
            return [local = std::make_shared<Local>(), path = pathBelow(count)] {
                return local->retrieve(path);
            };
        })->MeasureProcessCPUTime();
    }
});

}  // namespace

}  // namespace kova::bench
