// Measures the cost of loading kova and of an idle service: `idle_with MOUNTS`. Without mounts, the
// program only loads the libraries. Otherwise it creates a service, which answers one request.
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "kova/core/IResourceHandler.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"
#include "support/Memory.h"

namespace kova::bench {

namespace {

class Resource : public IResourceHandler {
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string&) override {
        handler->onCompleted();
        return nullptr;
    }
    void cancelRequest(void*) override {}
};

std::unique_ptr<StaticComposedKovaService> serviceOf(long mounts) {
    std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
    for (long i = 0; i < mounts; ++i) {
        handlers["/svc/r" + std::to_string(i)] = std::make_unique<Resource>();
    }
    return std::make_unique<StaticComposedKovaService>(std::move(handlers));
}

}  // namespace

}  // namespace kova::bench

int main(int count, char** arguments) {
    using namespace kova;
    const long mounts = count > 1 ? std::strtol(arguments[1], nullptr, 10) : 0;
    std::unique_ptr<StaticComposedKovaService> service;
    if (mounts > 0) {
        service = bench::serviceOf(mounts);
        service->actionRequest(
            Request("retrieve", "/svc/r0/a"),
            std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
                [](const Response&) { return false; }, [](const Response&) {}, [] {}));
    }
    bench::printResidentMemory();
}
