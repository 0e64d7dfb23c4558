#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "kova/kit/Result.h"
#include "nats/client/ClientState.h"
#include "nats/client/ClientStream.h"

namespace kova::nats::detail {

/// The settings of a client of all instances.
struct GatheringSettings {
    std::string prefix;       ///< of all subjects
    std::string servicePath;  ///< whose instances get the requests
    /// The time without a further instance after which a search ends.
    std::chrono::milliseconds quiet;
    /// The time between two searches for a stream.
    std::chrono::milliseconds period;
};

/// One request to all instances of a service path, and their answers.
///
/// Searches for the instances, sends the request to each, and calls the response handler with the
/// values of all of them. An instance that fails is a value, too, with the error. A stream searches
/// again and again: it asks instances that are new, and those that were lost. All functions belong
/// to the thread of the loop.
class Gathering : public std::enable_shared_from_this<Gathering> {
public:
    /// The highest number of instances that get one request.
    static constexpr std::size_t MOST_INSTANCES = std::size_t{64} * 1024;

    /// `onOver` is called once, after the end.
    Gathering(std::shared_ptr<ClientState> state, const GatheringSettings& settings,
              const Request& request, ClientStream::ResponseHandler handler,
              std::function<void()> onOver);
    Gathering(const Gathering&) = delete;
    Gathering& operator=(const Gathering&) = delete;

    /// Begins to search.
    void start() { search(); }
    /// Cancels the request at all instances, without an end for the response handler.
    void cancel();

private:
    class SearchHandler;
    class MemberHandler;
    // An instance that was asked.
    struct Member {
        void* handle = nullptr;
        bool isOpen = false;  ///< it has not ended yet
        bool isLost = false;  ///< it has ended as lost
    };

    void search();
    void checkSearchAfter(std::chrono::milliseconds delay);
    void checkSearch();
    void endSearch(const kit::Error& reason);
    void onFound(const std::string& instance);
    bool onValue(const std::string& instance, const Response& value);
    void onMemberEnd(const std::string& instance, bool isLost);
    void completeIfFinished();
    void stopAll();
    template <typename Report>
    void finish(Report report);
    template <typename Task>
    void after(std::chrono::milliseconds delay, Task task);

    const std::shared_ptr<ClientState> state_;
    const GatheringSettings settings_;
    const std::shared_ptr<const Target> target_;  ///< of searches
    const Request request_;
    const bool isStream_;
    ClientStream::ResponseHandler handler_;
    const std::function<void()> onOver_;
    void* search_ = nullptr;  ///< the handle of the search; null if none is under way
    std::map<std::string, Member> members_;
    std::size_t open_ = 0;  ///< members
    std::size_t lost_ = 0;  ///< members
};

}  // namespace kova::nats::detail
