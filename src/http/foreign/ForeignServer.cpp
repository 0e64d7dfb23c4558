#include "foreign/ForeignServer.h"

#include <algorithm>
#include <utility>

#include "foreign/ForeignDaemon.h"
#include "foreign/ForeignExchange.h"

namespace kova::http::detail {

ForeignServer::ForeignServer(std::shared_ptr<wire::EventLoop> loop, ForeignTerms terms)
    : daemon_(std::make_unique<ForeignDaemon>(std::move(loop), std::move(terms))) {}

ForeignServer::~ForeignServer() = default;

void ForeignServer::adopt(wire::FileDescriptor socket, const kit::Peer& peer) {
    daemon_->adopt(std::move(socket), peer);
}

void ForeignServer::refuse() noexcept {
    daemon_->isRefusing = true;
}

void ForeignServer::close() noexcept {
    daemon_->close();
}

std::size_t ForeignServer::connections() const noexcept {
    return daemon_->connections;
}

std::size_t ForeignServer::requests() const noexcept {
    return static_cast<std::size_t>(
        std::count_if(daemon_->exchanges.begin(), daemon_->exchanges.end(),
                      [](const ForeignExchange* exchange) { return exchange->isPending(); }));
}

}  // namespace kova::http::detail
