// The request of wire_bench.cpp to a gRPC service in another process, and a stream. Uses the
// synchronous functions of gRPC, which are its fastest on one core.
#include <memory>

#include "support/WireGrpc.h"

namespace kova::bench {

namespace {

WireServer server("grpc", serveGrpc);

const struct Entries {
    Entries() {
        wireContest("blocking call", "gRPC", server, 100, [] {
            return [client = std::make_shared<GrpcClient>(server.path())](std::size_t count) {
                while (count-- > 0) {
                    client->call();
                }
            };
        });
        for (char const* const name : {"value of a stream", "value of 1 000 streams"}) {
            wireContest(name, "gRPC", server, 1000, [] {
                return [client = std::make_shared<GrpcClient>(server.path())](std::size_t count) {
                    client->receive(count);
                };
            });
        }
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench
