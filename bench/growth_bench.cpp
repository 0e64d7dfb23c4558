// How cost grows: the number behind the "/" is the size, and the program's figures are set against
// it.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Path.h"
#include "kova/core/PathPatterns.h"
#include "kova/core/StaticComposedKovaService.h"
#include "support/Contest.h"
#include "support/Inputs.h"
#include "support/Resources.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova::bench {

namespace {

using Handlers = std::map<std::string, std::unique_ptr<IResourceHandler>>;

void enterMounts() {
    for (const long count : {10L, 100L, 1000L, 10'000L, 100'000L}) {
        contest("a request, among so many mounts", std::to_string(count), [count] {
            Prompt* asked = nullptr;
            auto service =
                std::make_shared<StaticComposedKovaService>(mounts<Prompt, Handlers>(count, asked));
            return [service, request = Request("retrieve", pathBelow(count))] {
                return service->actionRequest(request, std::make_unique<Receiver>());
            };
        });
    }
}

/// Keeps every request, and answers the latest.
class Hoarder : public IResourceHandler {
public:
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string&) override {
        kept_.push_back(std::move(handler));
        return this;
    }
    void cancelRequest(void*) override {}
    void answerLatest() {
        kept_.back()->onCompleted();
        kept_.pop_back();
    }

private:
    std::vector<std::unique_ptr<IResponseHandler<Response>>> kept_;
};

void enterPending() {
    for (const long count : {1L, 10L, 100L, 1000L, 10'000L, 100'000L, 1'000'000L}) {
        contest("a request answered later, so many pending", std::to_string(count), [count] {
            Hoarder* asked = nullptr;
            auto service =
                std::make_shared<StaticComposedKovaService>(mounts<Hoarder, Handlers>(10, asked));
            const Request request("retrieve", pathBelow(10));
            for (long i = 1; i < count; ++i) {
                service->actionRequest(request, std::make_unique<Receiver>());
            }
            return [service, request, asked] {
                void* const handle = service->actionRequest(request, std::make_unique<Receiver>());
                asked->answerLatest();
                return handle;
            };
        });
    }
}

void enterEntries(const std::string& road, bool shuffled) {
    for (const int count : {10, 100, 1000, 10'000, 100'000, 1'000'000}) {
        contest(road, std::to_string(count), [=] {
            std::vector<int> order(static_cast<std::size_t>(count));
            std::iota(order.begin(), order.end(), 1'000'000);
            if (shuffled) {
                Random().shuffle(order);
            }
            std::vector<std::string> keys;
            for (const int number : order) {
                keys.push_back("key" + std::to_string(number));
            }
            return [keys = std::move(keys)] {
                auto dictionary = std::make_unique<util::config::Dictionary>();
                for (const std::string& key : keys) {
                    dictionary->add(key, util::config::Value::getNull());
                }
                return dictionary->size();
            };
        });
    }
}

void enterHeaders() {
    for (const int count : {1, 5, 10, 25, 50}) {
        contest("a request made with so many header entries", std::to_string(count), [count] {
            std::vector<std::string> keys;
            for (int i = 0; i < count; ++i) {
                keys.push_back("entry" + std::to_string(i));
            }
            return [keys] {
                Request request("retrieve", "/svc/r1");
                for (const std::string& key : keys) {
                    request.add2header(key.c_str(), new util::config::ValueInt(1));
                }
                return request;
            };
        });
    }
}

void enterPaths() {
    for (const int count : {1, 10, 100, 1000}) {
        std::string path;
        for (int i = 0; i < count; ++i) {
            path += "/segment";
        }
        contest("a path of so many segments, read", std::to_string(count),
                [path] { return [path] { return Path(path); }; });
        contest("a request to a path of so many segments", std::to_string(count), [path] {
            Handlers handlers;
            handlers["/segment"] = std::make_unique<Prompt>();
            auto service = std::make_shared<StaticComposedKovaService>(std::move(handlers));
            return [service, request = Request("retrieve", path)] {
                return service->actionRequest(request, std::make_unique<Receiver>());
            };
        });
    }
    for (const int length : {256, 4096, 65'536, 1'048'576}) {
        contest("/*x*x*x*y on so many characters", std::to_string(length), [length] {
            return [glob = PathPatterns("/*x*x*x*y"),
                    path = "/" + std::string(static_cast<std::size_t>(length), 'x')] {
                return glob.match(path);
            };
        });
    }
}

/// So many threads on one service.
void enterThreads() {
    static Prompt* asked = nullptr;
    static StaticComposedKovaService service(mounts<Prompt, Handlers>(10, asked));
    for (const int count : {1, 2}) {
        const std::string name = "a request of each of so many threads/" + std::to_string(count);
        benchmark::RegisterBenchmark(name.c_str(), [](benchmark::State& state) {
            const Request request("retrieve", pathBelow(10));
            for (auto _ : state) {
                benchmark::DoNotOptimize(
                    service.actionRequest(request, std::make_unique<Receiver>()));
            }
        })->Threads(count);
    }
}

const Entries ENTRIES([] {
    enterMounts();
    enterPending();
    enterEntries("a dictionary of so many entries, in order", false);
    enterEntries("a dictionary of so many entries, at random", true);
    enterHeaders();
    enterPaths();
    enterThreads();
});

}  // namespace

}  // namespace kova::bench
