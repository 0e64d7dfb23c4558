// One end of a connection, which the chaos tests kill:
//   http_chaos_peer serve ADDRESS      serves a ChaosService
//   http_chaos_peer hold ADDRESS NAME  holds ten requests and five streams
//   http_chaos_peer ask ADDRESS NAME   does the same, and sends "/push" requests without an end
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <string>

#include "ChaosService.h"
#include "kova/core/response_handlers.h"
#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"

namespace {

using kova::Request;
using kova::Response;

std::unique_ptr<kova::IResponseHandler<Response>> ignored() {
    return std::make_unique<kova::responsehandlers::FuncResponseHandler<Response>>(
        [](const Response&) { return false; }, [](const Response&) {}, [] {});
}

void pushForEver(kova::IKovaApi& service) {
    service.actionRequest(Request("update", "/push"),
                          std::make_unique<kova::responsehandlers::FuncResponseHandler<Response>>(
                              [](const Response&) { return false; }, [](const Response&) {},
                              [&service] { pushForEver(service); }));
}

[[noreturn]] void waitForTheSignal() {
    while (true) {
        ::pause();
    }
}

}  // namespace

int main(int argc, char** argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string mode = argc > 2 ? argv[1] : "";
    if (mode == "serve") {
        kova::http::test::ChaosService service;
        const kova::http::Endpoint endpoint(service, argv[2]);
        waitForTheSignal();
    }
    if ((mode == "hold" || mode == "ask") && argc > 3) {
        const auto service = kova::http::connect(argv[2]).orThrow();
        const std::string name = argv[3];
        for (int i = 0; i < 10; ++i) {
            service->actionRequest(Request("retrieve", "/hold/" + name + "/"), ignored());
        }
        for (int i = 0; i < 5; ++i) {
            service->actionRequest(Request("retrieve", "/stream/" + name + "/"), ignored());
        }
        if (mode == "ask") {
            pushForEver(*service);
        }
        waitForTheSignal();
    }
    return 2;
}
