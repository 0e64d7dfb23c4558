#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tool/ToolFixture.h"

namespace kova::tool {

/// Runs words that read the monitor of the service, while another thread sends requests.
class MonitorFixture : public ToolFixture {
protected:
    /// Executes the words with "--to", and calls `function` on another thread as soon as the
    /// service has a watcher. Returns the exit status.
    int runWhile(std::vector<std::string> words, const std::function<void()>& function) {
        std::thread sender([&] {
            awaitMonitor();
            function();
        });
        const int status = runAt(std::move(words));
        sender.join();
        while (hasMonitor(false)) {  // the service has not seen the end of the stream yet
            std::this_thread::yield();
        }
        return status;
    }
    /// Waits until the service has a watcher.
    void awaitMonitor() const {
        while (!hasMonitor(true)) {
            std::this_thread::yield();
        }
    }
    /// Sends a request, and waits for its end.
    void ask(const std::string& command, const std::string& path, const std::string& json = "") {
        const kit::Client client(service);
        kit::CallDraft draft = client.makeDraft(
            command, path, json.empty() ? Payload() : Payload::createFromJSON(json));
        draft.needsValue = false;
        static_cast<void>(draft.wait(std::chrono::seconds(60)));
    }

private:
    // A stream that is pending is in the list of watchers, because the service has returned from
    // it.
    bool hasMonitor(bool mustBePending) const {
        const std::vector<kit::CallInfo> calls = service.pending();
        return std::any_of(calls.begin(), calls.end(), [&](const kit::CallInfo& call) {
            return call.path.compare(0, 14, "/.kova/monitor") == 0 &&
                   (!mustBePending || call.phase == kit::CallInfo::Phase::pending);
        });
    }
};

}  // namespace kova::tool
