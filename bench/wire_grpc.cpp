// The request of wire_bench.cpp to a gRPC service in another process, and a stream. Uses the
// synchronous functions of gRPC, which are its fastest on one core.
#include <grpcpp/grpcpp.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "support/Wire.h"
#include "wire_grpc.grpc.pb.h"

namespace kova::bench {

namespace {

class Resource final : public bench_wire::Resource::Service {
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

void serve(const std::string& path) {
    Resource resource;
    grpc::ServerBuilder builder;
    builder.AddListeningPort("unix:" + path, grpc::InsecureServerCredentials());
    builder.RegisterService(&resource);
    const auto server = builder.BuildAndStart();
    server->Wait();
}

WireServer server("grpc", serve);

class Client {
public:
    Client()
        : stub_(bench_wire::Resource::NewStub(
              grpc::CreateChannel("unix:" + server.path(), grpc::InsecureChannelCredentials()))) {
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

const struct Entries {
    Entries() {
        wireContest("blocking call", "gRPC", server, 100, [] {
            return [client = std::make_shared<Client>()](std::size_t count) {
                while (count-- > 0) {
                    client->call();
                }
            };
        });
        for (char const* const name : {"value of a stream", "value of 1 000 streams"}) {
            wireContest(name, "gRPC", server, 1000, [] {
                return [client = std::make_shared<Client>()](std::size_t count) {
                    client->receive(count);
                };
            });
        }
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench
