// Writes a page of metrics for promtool to check. The page contains every kind of content: requests
// of all kinds, counters and gauges of a user, and texts that need escapes.
#include <cmath>
#include <iostream>

#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"

namespace kova::kit::test {
namespace {

/// A service that answers with the status code in the last segment of the path, or never.
class CodeService : public IKovaApi {
public:
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        const std::string& path = request.getPath();
        const int code = std::atoi(path.c_str() + path.rfind('/') + 1);
        if (code == 0) {
            kept_.push_back(std::move(handler));
            return this;
        }
        const std::unique_ptr<IResponseHandler<Response>> answered = std::move(handler);
        if (code >= 400) {
            answered->onError(
                Response::createErrorResponse(static_cast<unsigned short>(code), "failed"));
        } else {
            answered->onNext(Response(static_cast<unsigned short>(code)));
            answered->onCompleted();
        }
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void*) override {}

private:
    std::vector<std::unique_ptr<IResponseHandler<Response>>> kept_;
};

void countRequests(const MetricsRegistry& registry) {
    CodeService service;
    Chain chain(service);
    chain.use(metrics(registry, {"/", "/lamp", "/a\"b\\c\nd", "/caf\xc3\xa9"}));
    chain.use(metrics(registry));
    for (char const* const command : {"retrieve", "update", "insert", "delete", "shine\n"}) {
        for (char const* const mount : {"", "/lamp", "/a\"b\\c\nd", "/caf\xc3\xa9", "/new", "x"}) {
            for (char const* const code :
                 {"/100", "/200", "/299", "/304", "/404", "/503", "/999"}) {
                chain.actionRequest({command, std::string(mount) + code},
                                    testing::record().handler());
            }
            chain.cancelRequest(chain.actionRequest({command, std::string(mount) + "/never"},
                                                    testing::record().handler()));
        }
    }
}

void countOwn(const MetricsRegistry& registry) {
    registry
        .counter("player_scans_total", "Scans of \"media\" \\ discs.\nTwo lines.",
                 {{"medium", "a\"b\\c\nd"}, {"a", ""}})
        .add(18'446'744'073'709'551'615U);
    registry.counter("player_scans_total", "").add();
    const double numbers[] = {0, -2.5, 1e300, 1e-300, INFINITY, -INFINITY, NAN};
    for (std::size_t i = 0; i < std::size(numbers); ++i) {
        registry.gauge("player_level_ratio", "Levels.", {{"i", std::to_string(i)}}).set(numbers[i]);
    }
}

}  // namespace
}  // namespace kova::kit::test

int main() {
    const kova::kit::MetricsRegistry registry;
    kova::kit::test::countRequests(registry);
    kova::kit::test::countOwn(registry);
    std::cout << registry.text();
    return 0;
}
