#pragma once

#include <grpcpp/grpcpp.h>

#include <cstddef>
#include <memory>
#include <string>

#include "support/Wire.h"
#include "wire_grpc.grpc.pb.h"

namespace kova::bench {

/// Answers a request with its bytes, and sends values of a stream.
class GrpcResource final : public bench_wire::Resource::Service {
    grpc::Status Retrieve(grpc::ServerContext*, const bench_wire::Data* request,
                          bench_wire::Data* answer) override {
        answer->set_bytes(request->bytes());
        return grpc::Status::OK;
    }
    grpc::Status Watch(grpc::ServerContext*, const bench_wire::Count* request,
                       grpc::ServerWriter<bench_wire::Data>* writer) override {
        bench_wire::Data value;
        value.set_bytes(wirePayload());
        for (unsigned i = 0; i < request->count(); ++i) {
            writer->Write(value);
        }
        return grpc::Status::OK;
    }
};

/// Serves the resource at a Unix socket until the process is killed.
inline void serveGrpc(const std::string& path) {
    GrpcResource resource;
    grpc::ServerBuilder builder;
    builder.AddListeningPort("unix:" + path, grpc::InsecureServerCredentials());
    builder.RegisterService(&resource);
    const auto server = builder.BuildAndStart();
    server->Wait();
}

/// A client of the resource at a Unix socket.
class GrpcClient {
public:
    explicit GrpcClient(const std::string& path)
        : stub_(bench_wire::Resource::NewStub(
              grpc::CreateChannel("unix:" + path, grpc::InsecureChannelCredentials()))) {
        request_.set_bytes(wirePayload());
    }

    void call() {
        grpc::ClientContext context;
        bench_wire::Data answer;
        require(stub_->Retrieve(&context, request_, &answer).ok(), "gRPC");
        require(answer.bytes().size() == WIRE_BYTES, "gRPC: payload");
    }
    void receive(std::size_t count) {
        grpc::ClientContext context;
        bench_wire::Count request;
        request.set_count(static_cast<unsigned>(count));
        const auto reader = stub_->Watch(&context, request);
        bench_wire::Data value;
        std::size_t received = 0;
        while (reader->Read(&value)) {
            ++received;
        }
        require(reader->Finish().ok() && received == count, "gRPC: stream");
    }

private:
    std::unique_ptr<bench_wire::Resource::Stub> stub_;
    bench_wire::Data request_;
};

}  // namespace kova::bench
