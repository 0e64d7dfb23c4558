#include "Live.h"

#include <stdexcept>

namespace device {

void Live::start(std::chrono::milliseconds interval) {
    if (alarm_.start(static_cast<unsigned int>(interval.count()), true)) {
        throw std::invalid_argument("the interval is not a positive number of milliseconds");
    }
}

void* Live::actionRequest(const kova::Request& request,
                          std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                          const std::string& resourcePath) {
    const auto found = streams_.find(resourcePath);
    const bool streams = found != streams_.end() &&
                         request.getCommand() == kova::kit::command::retrieve &&
                         kova::kit::Ask(request, resourcePath).wantsStream();
    // The snapshot, with which the stream begins, is then of this moment.
    const bool fresh = streams && found->second.refresh();
    const auto& chosen = fresh ? found->second.handler : handler_;
    return chosen->actionRequest(request, std::move(handler), fresh ? std::string() : resourcePath);
}

// A handle is never used twice in a process, so it means at most one of the requests.
void Live::cancelRequest(void* handle) {
    handler_->cancelRequest(handle);
    for (auto& [path, stream] : streams_) {
        stream.handler->cancelRequest(handle);
    }
}

}  // namespace device
