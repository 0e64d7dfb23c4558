#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

#include "kova/core/IKovaApi.h"
#include "nats/client/ClientState.h"
#include "nats/client/Gathering.h"

namespace kova::nats::detail {

/// A service that sends each request to all instances of a service path.
///
/// Any thread may call the functions. The response handlers are called on the thread of the
/// client's loop.
class AllInstances final : public IKovaApi, public std::enable_shared_from_this<AllInstances> {
public:
    AllInstances(std::shared_ptr<ClientState> state, GatheringSettings settings)
        : state_(std::move(state)), settings_(std::move(settings)) {}

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    void cancelRequest(void* handle) override;

private:
    const std::shared_ptr<ClientState> state_;
    const GatheringSettings settings_;
    std::atomic<std::uint64_t> lastNumber_{0};
    std::map<std::uint64_t, std::shared_ptr<Gathering>> gatherings_;  ///< of the loop's thread
};

}  // namespace kova::nats::detail
