#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "kova/core/MimeTypes.h"
#include "kova/testing/ConformanceCheck.h"

namespace kova::testing {

namespace detail {

/// The checks of `conformance`. Each check uses a new handler.
class Conformance {
    using Check = ConformanceCheck;

public:
    using Make = std::function<std::unique_ptr<IResourceHandler>()>;

    Conformance(Make make, ConformanceOptions options)
        : make_(std::move(make)), options_(std::move(options)) {}

    std::vector<std::string> run() {
        check("request", [](Check& c) { c.answered(mimetypes::JSON_TYPE, false); });
        check("request of the binary format",
              [](Check& c) { c.answered(mimetypes::AXOBIN_TYPE, true); });
        check("request on the mount path", [](Check& c) { c.terminated(c.options.command, ""); });
        if (options_.unknownPath) {
            check("unknown path",
                  [](Check& c) { c.refused(c.options.command, *c.options.unknownPath); });
        }
        check("unknown command",
              [](Check& c) { c.refused(c.options.unknownCommand, c.options.path); });
        check("receiver that wants no more", [](Check& c) { c.satisfied(); });
        check("cancellation", [](Check& c) { c.cancelled(); });
        check("requests at once", [](Check& c) { c.atOnce(); });
        return std::move(findings_);
    }

private:
    // Runs a check on a new thread. If the handler does not return, the thread is detached and
    // keeps running.
    void check(const std::string& name, const std::function<void(Check&)>& body) {
        const auto each = std::make_shared<Check>(options_);
        each->handler = make_();
        std::thread([each, body] {
            each->guarded([&] { body(*each); });
            each->guarded([&] { each->finish(); });
            const std::lock_guard<std::mutex> guard(each->mutex);
            each->isDone = true;
            each->changed.notify_all();
        }).detach();
        std::unique_lock<std::mutex> lock(each->mutex);
        if (!each->changed.wait_for(lock, options_.checkLimit, [&] { return each->isDone; })) {
            each->findings.emplace_back("does not return");
        }
        for (const std::string& finding : each->findings) {
            add(std::string(name).append(": ").append(finding));
        }
    }
    void add(const std::string& finding) {
        for (const std::string& other : findings_) {
            if (other == finding) {
                return;
            }
        }
        findings_.push_back(finding);
    }

    const Make make_;
    const ConformanceOptions options_;
    std::vector<std::string> findings_;
};

}  // namespace detail

/// Checks resource handlers against the contract of `IResourceHandler`. Returns the violations as
/// texts, such as "cancellation: ignores the cancellation"; an empty list means that there are
/// none.
///
/// `makeHandler` returns a new handler for each check. A handler must answer each request with
/// exactly one end and send nothing after it, send one event at a time, complete a request whose
/// receiver wants no more values, end cancellations within the limit, serve requests of several
/// threads at once, answer unknown paths and commands with errors, use the format that the client
/// accepts, throw nothing, and keep no response handler when it is destroyed.
///
/// The handler gets the requests directly, as in a service without middleware. There are eight
/// checks, and each takes at most `checkLimit`. If the handler does not return, the thread and the
/// handler of the check keep running. A handler that ends the process ends the test, too.
///
///     const auto findingsOf = [](std::unique_ptr<kova::IResourceHandler> (*make)()) {
///         kova::testing::ConformanceOptions options;
///         options.path = "state";
///         return kova::testing::conformance(make, options);
///     };
inline std::vector<std::string> conformance(detail::Conformance::Make makeHandler,
                                            ConformanceOptions options = {}) {
    return detail::Conformance(std::move(makeHandler), std::move(options)).run();
}

}  // namespace kova::testing
