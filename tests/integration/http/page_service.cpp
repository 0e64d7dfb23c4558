// Serves resources for the test of the page at a port of 127.0.0.1, until SIGTERM. With "closed"
// the inspection is not available at the port. With "several" there are also
// "/garden", and "/script" and "/silent", which answer what the test has written.
//   http_page_service PORT [closed|several]
#include <array>
#include <atomic>
#include <cstdint>
#include <exception>
#include <iostream>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/http/Endpoint.h"
#include "kova/kit/Enum.h"
#include "kova/kit/Fields.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/kit/StopSignals.h"

namespace kit = kova::kit;
namespace command = kova::kit::command;

namespace {

enum class Colour : std::uint8_t { red, green };
KOVA_ENUM(Colour, red, green)

struct Zone {
    int level = 1;
    std::vector<std::string> names;
};
KOVA_FIELDS(Zone, level, names)

struct Lamp {
    std::string label;
    Colour colour = Colour::red;
    bool lit = false;
    Zone zone;
    std::map<std::string, double> factors;
    std::optional<int> limit;
};
KOVA_FIELDS(Lamp, label, colour, lit, zone, factors, optional(limit))

constexpr int TICKS = 100;
constexpr std::chrono::milliseconds PERIOD(100);

// Texts that would change a page that shows them as HTML, or disturb its layout.
constexpr std::array<char const*, 3> HOSTILE = {
    "<img src=x onerror='hacked = 1'><script>hacked = 1<script>", R"("quotes" & 'quotes' `$(id)`)",
    "\xE2\x80\xAE\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D \xD7\xA2\xD7\x95\xD7\x9C\xD7\x9D"};

kit::Result<void> checkLevel(const int& wanted) {
    if (wanted < 0 || wanted > 100) {
        return kit::Error{400, "expected a number from 0 to 100"};
    }
    return {};
}

kit::Result<void> checkLamp(const Lamp& wanted) {
    if (wanted.zone.level > 9) {
        return kit::Error{400, "zone.level: <b>at most</b> 9"};
    }
    return {};
}

/// A request that is answered only by its cancellation.
class Held {
public:
    Held() {
        resource_.on(command::retrieve, "", [this](const kit::Ask&, kit::Reply<int> reply) {
            reply.onCancel([this] { ++cancelled_; });
            const std::lock_guard<std::mutex> guard(mutex_);
            replies_.push_back(std::move(reply));
        });
        resource_.on(command::retrieve, "cancelled",
                     [this](const kit::Ask&) { return cancelled_.load(); });
    }
    const kit::Resource& resource() const { return resource_; }

private:
    std::atomic<int> cancelled_{0};
    std::mutex mutex_;
    std::list<kit::Reply<int>> replies_;
    kit::Resource resource_;
};

/// Numbers that change ten times a second.
class Ticks {
public:
    Ticks() {
        for (int i = 0; i < TICKS; ++i) {
            numbers_.emplace_back(0);
            resource_.mount(std::to_string(i), numbers_.back());
        }
    }
    void run(const kit::StopSignals& stop) {
        for (int count = 1; !stop.wait(PERIOD); ++count) {
            int phase = 0;
            for (kit::Observable<int>& number : numbers_) {
                number.set((count + ++phase) % 100);
            }
        }
    }
    const kit::Resource& resource() const { return resource_; }

private:
    std::list<kit::Observable<int>> numbers_;
    kit::Resource resource_;
};

/// A service that answers each path with the JSON that was written there. Until then requests for
/// the path are pending. A deletion removes all answers.
class Scripted : public kova::IKovaApi {
public:
    using Handler = std::unique_ptr<kova::IResponseHandler<kova::Response>>;

    void* actionRequest(const kova::Request& request, Handler&& handler) override {
        Handler own = std::move(handler);
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = answers_.find(request.getPath());
        if (request.getCommand() == "update") {
            answers_[request.getPath()] = request.getPayload();
            own->onNext(kova::Response(200, kova::Payload::getEmpty()));
        } else if (request.getCommand() == "delete") {
            answers_.clear();
            own->onNext(kova::Response(200, kova::Payload::getEmpty()));
        } else if (found != answers_.end()) {
            own->onNext(kova::Response(200, found->second));
        } else {
            return keep(std::move(own));
        }
        own->onCompleted();
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* handle) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        pending_.remove_if([handle](const Handler& each) { return each.get() == handle; });
    }

private:
    void* keep(Handler handler) {
        pending_.push_back(std::move(handler));
        return pending_.back().get();
    }
    std::mutex mutex_;
    std::map<std::string, kova::Payload> answers_;
    std::list<Handler> pending_;
};

void serve(const std::string& port, const std::string& mode) {
    const kit::StopSignals stop;  // created before the first thread starts
    kit::Observable<int> level(30);
    level.onWrite(checkLevel);
    kit::Observable<Lamp> lamp(
        Lamp{"desk", Colour::green, true, {3, {"a", "b"}}, {{"x", 0.5}}, {}});
    lamp.onWrite(checkLamp);
    kit::Observable<std::string> text(HOSTILE[0]);
    text.onWrite([](const std::string&) { return kit::Result<void>(); });
    kit::Resource tracks;
    tracks.on(command::insert, "", [](const kit::Ask&, const std::string& name) {
        return kit::created("/tracks/" + name);
    });
    tracks.on(command::remove, "{id:uint}", [](const kit::Ask&, std::uint64_t) {});
    kit::Resource names;
    for (char const* const name : HOSTILE) {
        names.on(command::retrieve, name, [name](const kit::Ask&) {
            return std::map<std::string, std::string>{{name, name}};
        });
    }
    kit::Resource large;
    large.on(command::retrieve, "", [](const kit::Ask&) { return UINT64_MAX; });
    Held held;
    Ticks ticks;

    kit::InspectionOptions inspection;
    inspection.isAllowed = [](const kit::Peer&) { return true; };
    inspection.metrics = [] { return std::string("# TYPE lamps gauge\nlamps{room=\"<b>\"} 2\n"); };
    kit::ServiceBuilder builder;
    builder.name("house").version("1.0.0").inspect(inspection);
    builder.mount("/level", level).mount("/lamp", lamp).mount("/text", text);
    builder.mount("/tracks", tracks).mount("/names", names).mount("/large", large);
    builder.mount("/held", held.resource()).mount("/ticks", ticks.resource());
    const auto service = builder.build();
    kit::Observable<int> height(5);
    height.onWrite(checkLevel);
    const auto garden = kit::ServiceBuilder()
                            .name("garden")
                            .version("3.0.0")
                            .inspect(inspection)
                            .mount("/level", height)
                            .build();
    kova::http::EndpointOptions options;
    options.inspectsOverTcp = mode != "closed";
    Scripted script;
    Scripted silent;
    std::map<std::string, kova::IKovaApi*> services{{"/house", service.get()}};
    if (mode == "several") {
        services.insert({{"/garden", garden.get()}, {"/script", &script}, {"/silent", &silent}});
    }
    kova::http::Endpoint endpoint(services, "tcp:127.0.0.1:" + port, options);
    std::cout << endpoint.address() << std::endl;
    ticks.run(stop);
}

}  // namespace

int main(int argc, char** argv) try {
    serve(argc > 1 ? argv[1] : "0", argc > 2 ? argv[2] : "");
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
