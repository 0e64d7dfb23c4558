// The cost of `kit::Calls` in front of a service, and of a blocking call with a value.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/Factory.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/TypeSerializers.h"
#include "kova/core/response_handlers.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Client.h"
#include "support/Contest.h"
#include "support/Resources.h"
#include "util/ByteBufferReader.h"

namespace kova::bench {

namespace {

using Handler = std::unique_ptr<IResponseHandler<Response>>;

// --- A request that is answered at once ----------------------------------------------------------

/// A composed service with ten resources that answer immediately.
struct Service {
    Service()
        : service(
              mounts<ImmediateResource, std::map<std::string, std::unique_ptr<IResourceHandler>>>(
                  10, asked)) {}

    ImmediateResource* asked = nullptr;
    StaticComposedKovaService service;
    Request request{"retrieve", pathBelow(10)};
};

auto answeredByTheCore() {
    return [service = std::make_shared<Service>()] {
        return service->service.actionRequest(service->request, std::make_unique<Receiver>());
    };
}

auto answeredThroughCalls(std::chrono::milliseconds deadline) {
    auto service = std::make_shared<Service>();
    kit::CallsOptions options;
    options.deadline = deadline;
    auto calls = std::make_shared<kit::Calls>(service->service, options);
    return [service, calls] {
        return calls->actionRequest(service->request, std::make_unique<Receiver>());
    };
}

// --- A blocking call -----------------------------------------------------------------------------

struct Track {
    std::int32_t number = 7;
    std::int64_t id = 4'711'000'000;
    std::uint32_t length = 241;
    bool liked = true;
    double gain = -3.25;
    double rating = 4.5;
    std::string title = "A title of some length";
    std::string artist = "somebody who sings";
    std::string album = "short";
    std::int32_t year = 1999;
};
KOVA_FIELDS(Track, number, id, length, liked, gain, rating, title, artist, album, year)

/// A service that answers each request immediately with a track in the binary format.
class TrackService : public IKovaApi {
public:
    void* actionRequest(const Request&, Handler&& handler) override {
        const Handler own = std::move(handler);
        own->onNext(answer_);
        own->onCompleted();
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void*) override {}

private:
    const Response answer_{200, kit::toPayload(Track(), mimetypes::AXOBIN_TYPE).orThrow()};
};

/// Calls `field(name, member)` for each field. Returns true if a call fails.
template <typename Field>
bool forFields(Track& track, Field field) {
    return field("number", track.number) || field("id", track.id) ||
           field("length", track.length) || field("liked", track.liked) ||
           field("gain", track.gain) || field("rating", track.rating) ||
           field("title", track.title) || field("artist", track.artist) ||
           field("album", track.album) || field("year", track.year);
}

/// Reads the fields in their order with the interfaces of the core. Returns true on failure.
bool read(const Payload& payload, Track& track) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> source(
        serializer::Factory::createDeserializer(mimetypes::AXOBin));
    util::ByteBufferReader reader(payload.data(), payload.size(), false);
    std::string name;
    return source->beginDeserialize(&reader, nullptr) || source->beginStruct(nullptr) ||
           forFields(track,
                     [&](std::string_view wanted, auto& value) {
                         return source->beginField(name) || name != wanted ||
                                serializer::deserialize(*source, value) || source->endField();
                     }) ||
           source->endStruct();
}

/// Sends a request through the interface of the core, and waits for the answer.
std::int32_t yearByHand(IKovaApi& service) {
    std::promise<Track> promise;
    Request request("retrieve", "/tracks/7");
    headers::appendTracingInfo(request, "/player", "hmi");
    request.setMimeType(mimetypes::AXOBIN_TYPE);
    headers::appendResponseSemantic(request, headers::SINGLE_RESPONSE);
    Track track;
    bool failed = true;
    service.actionRequest(request,
                          std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
                              [&](const Response& value) {
                                  failed = read(value.getPayload(), track);
                                  return false;
                              },
                              [&](const Response&) { promise.set_value({}); },
                              [&] { promise.set_value(std::move(track)); }));
    const Track answer = promise.get_future().get();
    return failed ? 0 : answer.year;
}

auto retrievedByTheKit() {
    auto service = std::make_shared<TrackService>();
    kit::ClientOptions options;
    options.servicePath = "/player";
    options.clientId = "hmi";
    options.accept = mimetypes::AXOBIN_TYPE;
    auto client = std::make_shared<kit::Client>(*service, options);
    return [service, client] { return client->retrieve<Track>("/tracks/7").get()->year; };
}

auto retrievedByHand() {
    return [service = std::make_shared<TrackService>()] { return yearByHand(*service); };
}

// --- Cancellation --------------------------------------------------------------------------------

/// A service without a lock: a handle is the number of the request, and its cancellation destroys
/// the response handler. Only one thread sends requests.
class LocklessService : public IKovaApi {
public:
    explicit LocklessService(std::size_t requests) : handlers_(requests) {}

    void* actionRequest(const Request&, Handler&& handler) override {
        handlers_[used_++] = std::move(handler);
        return reinterpret_cast<void*>(used_);  // NOLINT(performance-no-int-to-ptr)
    }
    void cancelRequest(void* handle) override {
        handlers_[reinterpret_cast<std::uintptr_t>(handle) - 1].reset();
    }

private:
    std::vector<Handler> handlers_;
    std::uintptr_t used_ = 0;
};

/// The handles of a service in a map with a lock.
class PlainTable {
public:
    explicit PlainTable(IKovaApi& service) : service_(service) {}

    void* actionRequest(const Request& request, Handler&& handler) {
        void* const inner = service_.actionRequest(request, std::move(handler));
        const std::lock_guard<std::mutex> guard(mutex_);
        void* const handle = reinterpret_cast<void*>(++last_);  // NOLINT(performance-no-int-to-ptr)
        handles_.emplace(handle, inner);
        return handle;
    }
    void cancelRequest(void* handle) {
        void* inner = nullptr;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            const auto found = handles_.find(handle);
            if (found == handles_.end()) {
                return;
            }
            inner = found->second;
            handles_.erase(found);
        }
        service_.cancelRequest(inner);
    }

private:
    IKovaApi& service_;
    std::mutex mutex_;
    std::map<void*, void*> handles_;
    std::uintptr_t last_ = 0;
};

constexpr std::size_t PENDING = 100'000;

/// Lets the current thread run on all cores, even if the process was started on one of them.
void useAllCores() {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    for (int core = 0; core < CPU_SETSIZE; ++core) {
        CPU_SET(core, &cores);
    }
    pthread_setaffinity_np(pthread_self(), sizeof cores, &cores);
}

/// Runs `body` on `count` threads that begin at the same time, and returns the seconds until all
/// have ended.
template <typename Body>
double secondsOf(unsigned count, Body body) {
    std::atomic<unsigned> ready{0};
    std::atomic<bool> begin{false};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < count; ++t) {
        threads.emplace_back([&, t] {
            useAllCores();
            ++ready;
            while (!begin) {
                std::this_thread::yield();
            }
            body(t);
        });
    }
    while (ready != count) {
        std::this_thread::yield();
    }
    const auto start = std::chrono::steady_clock::now();
    begin = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Registers a case in which `threads` threads cancel 100 000 requests. The result is the time for
/// one request.
template <typename Calls>
void cancelAll(unsigned threads, char const* contestant) {
    const std::string name = "cancel one of 100 000, " + std::to_string(threads) +
                             (threads == 1 ? " thread/" : " threads/") + contestant;
    benchmark::RegisterBenchmark(
        name.c_str(),
        [threads](benchmark::State& state) {
            for (auto _ : state) {
                LocklessService service(PENDING);
                Calls calls(service);
                const Request request("retrieve", "/state");
                std::vector<void*> handles;
                for (std::size_t i = 0; i < PENDING; ++i) {
                    handles.push_back(calls.actionRequest(request, std::make_unique<Receiver>()));
                }
                const double seconds = secondsOf(threads, [&](unsigned thread) {
                    const std::size_t share = PENDING / threads;
                    for (std::size_t i = thread * share; i < (thread + 1) * share; ++i) {
                        calls.cancelRequest(handles[i]);
                    }
                });
                state.SetIterationTime(seconds / static_cast<double>(PENDING));
            }
        })
        ->UseManualTime()
        ->Iterations(20);
}

const Entries ENTRIES([] {
    const std::string atOnce = "request through Calls, answered at once";
    contest(atOnce, "kova", [] { return answeredThroughCalls(std::chrono::milliseconds(0)); });
    contest(atOnce, "plain", [] { return answeredByTheCore(); });
    contest(atOnce + ", with a deadline", "kova",
            [] { return answeredThroughCalls(std::chrono::seconds(30)); });
    contest(atOnce + ", with a deadline", "plain", [] { return answeredByTheCore(); });
    contest("retrieve ten fields, blocking", "kova", [] { return retrievedByTheKit(); });
    contest("retrieve ten fields, blocking", "plain", [] { return retrievedByHand(); });
    for (const unsigned threads : {1U, 2U, 8U}) {
        cancelAll<kit::Calls>(threads, "kova");
        cancelAll<PlainTable>(threads, "plain");
    }
});

}  // namespace

}  // namespace kova::bench
