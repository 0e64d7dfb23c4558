// The requests of nats_bench.cpp to a gRPC service in another process, without a broker.
#include <memory>

#include "support/Broker.h"
#include "support/WireGrpc.h"

namespace kova::bench {

namespace {

constexpr char const* NAME = "gRPC without a broker";

WireServer server("grpc", serveGrpc);

const struct Entries {
    Entries() {
        wireContest(BROKER_REQUEST, NAME, server, 100, [] {
            return [client = std::make_shared<GrpcClient>(server.path())](std::size_t count) {
                while (count-- > 0) {
                    client->call();
                }
            };
        });
        wireContest(BROKER_TEN, NAME, server, 100, [] {
            return [client = std::make_shared<GrpcClient>(server.path())](std::size_t count) {
                while (count-- > 0) {
                    client->receive(TEN);
                }
            };
        });
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench
