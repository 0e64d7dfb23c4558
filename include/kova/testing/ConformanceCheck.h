#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "kova/core/Payload.h"
#include "kova/core/Request.h"
#include "kova/core/headers.h"
#include "kova/testing/Probe.h"

namespace kova::testing {

/// The options of `conformance`: the requests that it sends, and its time limits.
struct ConformanceOptions {
    /// The command of a request that the handler answers without an error.
    std::string command = "retrieve";
    std::string path;  ///< the path of this request below the mount path
    Payload body;      ///< the body of this request
    /// The header entry "$response-semantic" of the request; "" for a request without this entry.
    std::string semantic;
    /// Whether the handler never ends the request itself, and sends values until the request is
    /// cancelled.
    bool endless = false;
    /// A path that the handler does not serve; `std::nullopt` if it serves every path.
    std::optional<std::string> unknownPath = "no/such/path";
    /// A command that the handler does not serve.
    std::string unknownCommand = "no-such-command";
    /// The maximum time that an answer, a cancellation or a destructor may take.
    std::chrono::milliseconds limit{500};
    /// The maximum time that a check may take. After it, the handler is considered not to return.
    std::chrono::milliseconds checkLimit{30000};
    /// The time for which a check waits after the end of a request, to detect events that arrive
    /// after the end.
    std::chrono::milliseconds settle{30};
};

namespace detail {

/// One check of `conformance`. It lives until its thread has ended, even if the time limit of the
/// check has passed before.
struct ConformanceCheck {
    explicit ConformanceCheck(const ConformanceOptions& options) : options(options) {}

    Probe send(const std::string& command, const std::string& path, int values = 0,
               char const* format = nullptr, void** handle = nullptr) {
        Request request(command, "/mount" + (path.empty() ? path : "/" + path), options.body);
        if (format != nullptr) {
            request.setMimeType(format);
        }
        if (!options.semantic.empty()) {
            headers::appendResponseSemantic(request, options.semantic);
        }
        Probe probe(values);
        {
            const std::lock_guard<std::mutex> guard(mutex);
            probes.push_back(probe);
        }
        void* const own = handler->actionRequest(request, probe.handler(), path);
        if (handle != nullptr) {
            *handle = own;
        }
        return probe;
    }
    void find(const std::string& finding) {
        const std::lock_guard<std::mutex> guard(mutex);
        findings.push_back(finding);
    }
    // Waits for the end of the request, and then for events that arrive after the end.
    void finish(const Probe& probe) {
        if (!probe.waitForEndOrDestruction(options.limit)) {
            find("does not end the request");
        }
        std::this_thread::sleep_for(options.settle);
    }
    void cancel(const Probe& probe, void* handle) const {
        if (handle != nullptr && probe.ends() == 0) {
            probe.setCancelled();
            handler->cancelRequest(handle);
        }
    }

    void answered(char const* format, bool isExplicit) {
        void* handle = nullptr;
        const Probe probe =
            send(options.command, options.path, 0, isExplicit ? format : nullptr, &handle);
        if (options.endless) {
            probe.waitForValue(options.limit);
            cancel(probe, handle);
        }
        finish(probe);
        if (probe.error().getStatusCode() != 0) {
            find("answers with the error " + std::to_string(probe.error().getStatusCode()));
        } else if (probe.values() != 0 && !probe.format().empty() && probe.format() != format) {
            find("answers in the format " + probe.format() + " instead of " + format);
        }
    }
    void terminated(const std::string& command, const std::string& path) {
        void* handle = nullptr;
        const Probe probe = send(command, path, 0, nullptr, &handle);
        if (options.endless) {
            cancel(probe, handle);
        }
        finish(probe);
    }
    void refused(const std::string& command, const std::string& path) {
        const Probe probe = send(command, path);
        finish(probe);
        if (probe.ends() != 0 && probe.error().getStatusCode() == 0) {
            find("is not answered with an error");
        }
    }
    void satisfied() {
        const Probe probe = send(options.command, options.path, 1);
        finish(probe);
    }
    // An event that another thread has begun to send may still arrive during the first half of the
    // wait.
    void cancelled() {
        void* handle = nullptr;
        const Probe probe = send(options.command, options.path, 0, nullptr, &handle);
        if (handle == nullptr || probe.ends() != 0) {
            return;
        }
        cancel(probe, handle);
        std::this_thread::sleep_for(options.settle);
        probe.forbidEvents("sends an event after the cancellation");
        std::this_thread::sleep_for(options.settle);
        if (probe.ends() == 0 && !probe.waitForDestruction(options.limit)) {
            find("ignores the cancellation");
        }
    }
    // Another thread cancels every second request, possibly while the handler is answering that
    // request.
    void atOnce() {
        std::vector<std::thread> threads;
        threads.reserve(THREADS);
        for (int t = 0; t < THREADS; ++t) {
            threads.emplace_back([this] {
                for (int i = 0; i < REQUESTS; ++i) {
                    guarded([&] { sendAndCancel(i % 2 == 0 || options.endless); });
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        std::this_thread::sleep_for(options.settle);
    }
    void sendAndCancel(bool isCancelled) {
        void* handle = nullptr;
        const Probe probe = send(options.command, options.path, 0, nullptr, &handle);
        if (isCancelled) {
            std::thread([&] { guarded([&] { cancel(probe, handle); }); }).join();
        } else if (!probe.waitForEndOrDestruction(options.limit)) {
            find("does not end the request");
        }
    }
    // Calls a function and records an exception as a violation, because in a service an exception
    // of a handler would end the process.
    template <typename F>
    void guarded(F function) {
        try {
            function();
        } catch (const std::exception& exception) {
            find(std::string("throws: ") + exception.what());
        } catch (...) {
            find("throws");
        }
    }
    // Another thread may still be releasing response handlers. The limit applies to all of them
    // together.
    void finish() {
        handler.reset();
        using Clock = std::chrono::steady_clock;
        const Clock::time_point deadline = Clock::now() + options.limit;
        std::size_t left = 0;
        for (const Probe& probe : probes) {
            for (const std::string& finding : probe.findings()) {
                find(finding);
            }
            const auto rest =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            left += probe.waitForDestruction(rest) ? 0 : 1;
        }
        if (left != 0) {
            find("leaves a response handler behind");
        }
    }

    static constexpr int THREADS = 4;
    static constexpr int REQUESTS = 10;

    const ConformanceOptions options;
    std::unique_ptr<IResourceHandler> handler;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Probe> probes;
    std::vector<std::string> findings;
    bool isDone = false;
};

}  // namespace detail

}  // namespace kova::testing
