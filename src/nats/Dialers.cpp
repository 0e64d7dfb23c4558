#include "nats/Dialers.h"

#include <cstdlib>
#include <utility>

namespace kova::nats::detail {

Dialers& Dialers::shared() {
    static auto* const dialers = new Dialers;
    return *dialers;
}

// Also joins the threads that are over.
void Dialers::run(std::function<void()> task) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (isClosed_) {
        return;
    }
    dialers_.remove_if([](Dialer& dialer) {
        const bool isOver = dialer.isOver;
        if (isOver) {
            dialer.thread.join();
        }
        return isOver;
    });
    std::list<Dialer> added(1);
    Dialer& dialer = added.front();
    dialer.thread = std::thread([task = std::move(task), &dialer] {
        task();
        dialer.isOver = true;
    });
    dialers_.splice(dialers_.end(), added);
}

void Dialers::waitAtExit(bool usesTls) {
    const auto close = [] { shared().close(); };
    [[maybe_unused]] static const int inAnyCase = std::atexit(close);
    if (usesTls) {
        [[maybe_unused]] static const int beforeOpenSsl = std::atexit(close);
    }
}

void Dialers::close() noexcept {
    std::list<Dialer> rest;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isClosed_ = true;
        rest.swap(dialers_);
    }
    for (Dialer& dialer : rest) {
        dialer.thread.join();
    }
}

}  // namespace kova::nats::detail
