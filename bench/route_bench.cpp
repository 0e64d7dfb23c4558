// Looking up the mount of a path. The path has four segments, the mount has two.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "kova/core/StaticComposedKovaServiceImpl.h"
#include "support/Contest.h"
#include "support/Resources.h"
#ifdef KOVA_BENCH_ABSL
#include <absl/container/flat_hash_map.h>
#endif

namespace kova::bench {

namespace {

/// A resource that destroys the response handler immediately, so that routing dominates the cost.
class NullResource : public IResourceHandler {
public:
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&&,
                        const std::string&) override {
        return nullptr;
    }
    void cancelRequest(void*) override {}
};

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Returns the time of one call of `work`, averaged over enough calls that the cost of reading the
/// clock does not matter.
template <typename Work>
double secondsOf(Work work) {
    constexpr int CALLS = 200;
    const double begin = processorSeconds();
    for (int i = 0; i < CALLS; ++i) {
        work();
    }
    return (processorSeconds() - begin) / CALLS;
}

/// Measures the look-up in the service as the difference between `actionRequest` and
/// `delegateRequest`, because the service has no operation that only looks up a mount.
void lookUpInService(benchmark::State& state, long count) {
    NullResource* asked = nullptr;
    StaticComposedKovaServiceImpl service(
        mounts<NullResource, StaticComposedKovaServiceImpl::Handlers>(count, asked));
    const Request request("retrieve", pathBelow(count));
    const std::string mount = "/svc/r" + std::to_string(count - 1);
    for (auto _ : state) {
        const double whole =
            secondsOf([&] { service.actionRequest(request, std::make_unique<Receiver>()); });
        const double rest = secondsOf(
            [&] { service.delegateRequest(asked, mount, request, std::make_unique<Receiver>()); });
        state.SetIterationTime(std::max(whole - rest, 0.0));
    }
}

#ifdef KOVA_BENCH_ABSL
/// Returns the number of the longest parent of `path` that `find(parent)` finds, or -1.
template <typename Find>
long walk(std::string_view path, Find find) {
    long found = find(path);
    while (found < 0 && path.size() > 1) {
        path = path.substr(0, path.rfind('/'));
        found = find(path);
    }
    return found;
}

/// A hash map from the mount paths to their numbers. Its keys are views of `texts`.
struct HashedMounts {
    explicit HashedMounts(long count) {
        for (long i = 0; i < count; ++i) {
            texts.push_back("/svc/r" + std::to_string(i));
            numbers.emplace(texts.back(), i);
        }
    }
    std::deque<std::string> texts;
    absl::flat_hash_map<std::string_view, long> numbers;
};

auto walkHash(long count) {
    return [count] {
        return [mounts = std::make_shared<HashedMounts>(count), path = pathBelow(count)] {
            return walk(path, [&](std::string_view parent) {
                const auto found = mounts->numbers.find(parent);
                return found == mounts->numbers.end() ? -1 : found->second;
            });
        };
    };
}
#endif

/// Looks up the greatest mount that is not greater than the path. If that is not a parent of the
/// path, continues with the path's own parent.
auto walkMap(long count) {
    return [count] {
        std::map<std::string, long, std::less<>> map;
        for (long i = 0; i < count; ++i) {
            map.emplace("/svc/r" + std::to_string(i), i);
        }
        return [map = std::move(map), text = pathBelow(count)] {
            std::string_view path = text;
            while (!path.empty()) {
                auto above = map.upper_bound(path);
                if (above == map.begin()) {
                    return -1L;
                }
                const auto& [mount, number] = *--above;
                if (path.substr(0, mount.size()) == mount &&
                    (path.size() == mount.size() || path[mount.size()] == '/')) {
                    return number;
                }
                path = path.substr(0, path.rfind('/'));
            }
            return -1L;
        };
    };
}

const Entries ENTRIES([] {
    for (const long count : {10L, 1000L, 10'000L}) {
        const std::string caseName = "route among " + std::to_string(count);
        benchmark::RegisterBenchmark((caseName + "/kova").c_str(), lookUpInService, count)
            ->UseManualTime()
            ->Iterations(500);
        contest(caseName, "map walk", walkMap(count));
#ifdef KOVA_BENCH_ABSL
        contest(caseName, "flat hash walk", walkHash(count));
#endif
    }
});

}  // namespace

}  // namespace kova::bench
