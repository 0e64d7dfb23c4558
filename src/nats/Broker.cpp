#include "nats/Broker.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "nats/Dialers.h"
#include "wire/OutOfMemory.h"

namespace kova::nats::detail {

Broker::Broker(std::shared_ptr<wire::EventLoop> loop, Urls urls, BrokerOptions options,
               std::vector<Channel> channels, Owner& owner)
    : loop_(std::move(loop)),
      urls_(std::move(urls)),
      options_(std::move(options)),
      channels_(std::move(channels)),
      owner_(owner),
      self_(std::make_shared<Broker*>(this)) {
    inbound_ = std::make_shared<Inbound>([loop = loop_, self = self_] {
        loop->post([self] {
            if (*self != nullptr) {
                (*self)->handleEvents();
            }
        });
    });
}

void Broker::start() {
    Link::prepareThread();
    if (!isClosed_ && !link_) {
        dial();
    }
}

// The servers of a cluster announce each other, so that a client that knows one of them survives
// its end.
Urls Broker::knownUrls() const {
    Urls urls = urls_;
    for (const std::string& url : discovered_) {
        if (std::find(urls.all.begin(), urls.all.end(), url) == urls.all.end()) {
            urls.all.push_back(url);
        }
    }
    return urls;
}

void Broker::run(const std::shared_ptr<Dial>& dial, const std::shared_ptr<Inbound>& inbound,
                 const Urls& urls, const BrokerOptions& options,
                 const std::vector<Channel>& channels, std::uint64_t epoch) {
    const std::shared_ptr<Link> link = Link::open(inbound, urls, options, channels, epoch);
    std::unique_lock<std::mutex> lock(dial->mutex);
    if (dial->isAbandoned) {
        lock.unlock();
        if (link) {
            link->close();
        }
        return;
    }
    dial->link = link;
    dial->isOver = true;
    dial->changed.notify_all();
}

void Broker::dial() {
    try {
        dial_ = std::make_shared<Dial>();
        Dialers::shared().run([dial = dial_, inbound = inbound_, urls = knownUrls(),
                               options = options_, channels = channels_, epoch = ++epoch_] {
            run(dial, inbound, urls, options, channels, epoch);
        });
    } catch (const std::system_error& error) {
        dial_.reset();
        lose({statuscodes::SERVICE_UNAVAILABLE, error.what()});
    } catch (const std::bad_alloc&) {
        dial_.reset();
        giveUp();
    }
}

void Broker::handleEvents() {
    for (Event& event : inbound_->take()) {
        if (!isClosed_ && event.epoch == epoch_) {
            try {
                handle(event);
            } catch (const std::bad_alloc&) {  // an event that was handled in part
                giveUp();
            }
        }
    }
}

void Broker::handle(Event& event) {
    switch (event.kind) {
        case Event::Kind::connected:
            link_ = std::move(event.link);
            break;
        case Event::Kind::ready:
            isReady_ = true;
            backoff_.reset();
            discovered_ = link_ ? link_->servers() : discovered_;
            owner_.onReady();
            break;
        case Event::Kind::message:
            owner_.onMessage(event.channel, *event.message);
            break;
        case Event::Kind::drained:
            owner_.onDrained(event.channel);
            break;
        case Event::Kind::refused:
            owner_.onRefused(event.error);
            break;
        case Event::Kind::failed:
        case Event::Kind::closed:
            lose(event.error);
            break;
    }
}

void Broker::lose(const kit::Error& error) {
    const std::shared_ptr<Link> lost = std::move(link_);
    isReady_ = false;
    ++epoch_;  // further events of the connection are ignored
    if (lost) {
        lost->close();
    }
    if (!timer_) {
        dialLater();
    }
    owner_.onLost(error);
}

// This needs memory, too. Without it, even after the requests were dropped, the process ends.
void Broker::giveUp() noexcept {
    wire::reportOutOfMemory("the connection to the broker is closed");
    lose({statuscodes::SERVICE_UNAVAILABLE, "out of memory"});
}

void Broker::dialLater() {
    timer_ = loop_->after(backoff_.next(), [this] {
        timer_.reset();
        dial();
    });
}

bool Broker::publish(const std::string& subject, const std::string& reply, std::string_view data) {
    return link_ && link_->publish(subject, reply, data);
}

void Broker::close() noexcept {
    if (std::exchange(isClosed_, true)) {
        return;
    }
    *self_ = nullptr;
    inbound_->close();
    if (timer_) {
        loop_->cancel(*timer_);
    }
    if (link_) {
        link_->flush(FLUSH_LIMIT);
    }
    if (dial_) {
        std::unique_lock<std::mutex> lock(dial_->mutex);
        dial_->isAbandoned =
            !dial_->changed.wait_for(lock, DIAL_LIMIT, [this] { return dial_->isOver; });
        if (dial_->link && dial_->link != link_) {
            dial_->link->close();
        }
    }
    if (link_) {
        link_->close();
    }
}

}  // namespace kova::nats::detail
