// The growth of cost with size. The number behind the "/" is the size n.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
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

#ifdef KOVA_BENCH_ABSL
#include <absl/container/btree_map.h>
#endif

namespace kova::bench {

namespace {

using Handlers = std::map<std::string, std::unique_ptr<IResourceHandler>>;

/// Registers a case for one size. All runs and repetitions share one result of `make()`, because
/// creating many mounts or requests takes far longer than the measured function.
template <typename Make>
void atSize(const std::string& caseName, long size, Make make) {
    using Work = decltype(make());
    contest(caseName, std::to_string(size),
            [make, kept = std::make_shared<std::unique_ptr<Work>>()] {
                if (!*kept) {
                    *kept = std::make_unique<Work>(make());
                }
                return [kept] { return (**kept)(); };
            });
}

void enterMounts() {
    for (const long count : {10L, 100L, 1000L, 10'000L, 100'000L}) {
        atSize("a request, among n mounts", count, [count] {
            ImmediateResource* asked = nullptr;
            auto service = std::make_shared<StaticComposedKovaService>(
                mounts<ImmediateResource, Handlers>(count, asked));
            return [service, request = Request("retrieve", pathBelow(count))] {
                return service->actionRequest(request, std::make_unique<Receiver>());
            };
        });
    }
}

/// A resource that stores all requests and answers the latest.
class StoringResource : public IResourceHandler {
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
        atSize("a request answered later, n pending", count, [count] {
            StoringResource* asked = nullptr;
            auto service = std::make_shared<StaticComposedKovaService>(
                mounts<StoringResource, Handlers>(10, asked));
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

std::vector<std::string> keysOf(int count, bool shuffled) {
    std::vector<int> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), 1'000'000);
    if (shuffled) {
        Random().shuffle(order);
    }
    std::vector<std::string> keys;
    for (const int number : order) {
        keys.push_back("key" + std::to_string(number));
    }
    return keys;
}

void enterEntries(const std::string& caseName, bool shuffled) {
    for (const int count : {10, 100, 1000, 10'000, 100'000, 1'000'000}) {
        atSize(caseName, count, [=] {
            return [keys = keysOf(count, shuffled)] {
                auto dictionary = std::make_unique<util::config::Dictionary>();
                for (const std::string& key : keys) {
                    dictionary->add(key, util::config::Value::getNull());
                }
                return dictionary->size();
            };
        });
    }
}

#ifdef KOVA_BENCH_ABSL
void enterPeerEntries() {
    for (const int count : {10, 100, 1000, 10'000, 100'000, 1'000'000}) {
        atSize("absl::btree_map of n entries, at random", count, [=] {
            return [keys = keysOf(count, true)] {
                absl::btree_map<std::string, util::config::Value*> map;
                for (const std::string& key : keys) {
                    map.emplace(key, nullptr);
                }
                return map.size();
            };
        });
    }
}
#endif

void enterHeaders() {
    for (const int count : {0, 1, 5, 10, 25, 50}) {
        atSize("a request made with n header entries", count, [count] {
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
        atSize("a path of n segments, read", count,
               [path] { return [path] { return Path(path); }; });
        atSize("a request to a path of n segments", count, [path] {
            Handlers handlers;
            handlers["/segment"] = std::make_unique<ImmediateResource>();
            auto service = std::make_shared<StaticComposedKovaService>(std::move(handlers));
            return [service, request = Request("retrieve", path)] {
                return service->actionRequest(request, std::make_unique<Receiver>());
            };
        });
    }
    for (const int length : {256, 4096, 65'536, 1'048'576}) {
        atSize("/*x*x*x*y on n characters", length, [length] {
            return [glob = PathPatterns("/*x*x*x*y"),
                    // The "/" before the "y" prevents a match, so that all stars are tried.
                    path = "/" + std::string(static_cast<std::size_t>(length), 'x') + "/y"] {
                return glob.match(path);
            };
        });
    }
}

double secondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Pins the calling thread to its own core if there are enough cores, even if the program is pinned
/// to another one.
void moveToCore(long number) {
    const long cores = sysconf(_SC_NPROCESSORS_ONLN);
    cpu_set_t own;
    CPU_ZERO(&own);
    CPU_SET(static_cast<std::size_t>(cores - 1 - number % cores), &own);
    pthread_setaffinity_np(pthread_self(), sizeof own, &own);
}

/// Sends requests to one service from `count` threads at the same time. Returns the time per
/// request on the given clock.
double secondsOfRequest(StaticComposedKovaService& service, long count, clockid_t clock) {
    constexpr long REQUESTS = 50'000;
    std::atomic<long> ready{0};
    std::vector<double> begin(static_cast<std::size_t>(count));
    std::vector<std::thread> threads;
    for (long number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            moveToCore(number);
            const Request request("retrieve", pathBelow(10));
            for (++ready; ready < count;) {
                std::this_thread::yield();
            }
            begin[static_cast<std::size_t>(number)] = secondsOf(clock);
            for (long i = 0; i < REQUESTS; ++i) {
                benchmark::DoNotOptimize(
                    service.actionRequest(request, std::make_unique<Receiver>()));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const double first = *std::min_element(begin.begin(), begin.end());
    return (secondsOf(clock) - first) / static_cast<double>(count * REQUESTS);
}

/// Registers the cases with one and two threads. Two threads that do not slow each other down need
/// half the wall time and the same processor time.
void enterThreads() {
    const auto enter = [](const std::string& caseName, clockid_t clock) {
        for (const long count : {1L, 2L}) {
            const auto measure = [=](benchmark::State& state) {
                ImmediateResource* asked = nullptr;
                StaticComposedKovaService service(mounts<ImmediateResource, Handlers>(10, asked));
                for (auto _ : state) {
                    state.SetIterationTime(secondsOfRequest(service, count, clock));
                }
            };
            benchmark::RegisterBenchmark((caseName + "/" + std::to_string(count)).c_str(), measure)
                ->UseManualTime()
                ->Iterations(5);
        }
    };
    enter("time a request, of n threads at once", CLOCK_MONOTONIC);
    enter("processor time a request, of n threads at once", CLOCK_PROCESS_CPUTIME_ID);
}

const Entries ENTRIES([] {
    enterMounts();
    enterPending();
    enterEntries("a dictionary of n entries, in order", false);
    enterEntries("a dictionary of n entries, at random", true);
#ifdef KOVA_BENCH_ABSL
    enterPeerEntries();
#endif
    enterHeaders();
    enterPaths();
    enterThreads();
});

}  // namespace

}  // namespace kova::bench
