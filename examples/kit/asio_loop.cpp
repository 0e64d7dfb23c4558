// A client whose callbacks run on the thread of an asio context.
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <iostream>
#include <system_error>

#include "Countdown.h"
#include "kova/kit/Client.h"
#include "kova/kit/Loop.h"

/// Runs a loop's callbacks in an asio context, until this object is destroyed.
class LoopRunner {
public:
    LoopRunner(asio::io_context& context, kova::kit::Loop& loop)
        : loop_(loop), descriptor_(context, loop.fd()) {
        wait();
    }
    // The descriptor belongs to the loop.
    ~LoopRunner() { descriptor_.release(); }
    LoopRunner(const LoopRunner&) = delete;
    LoopRunner& operator=(const LoopRunner&) = delete;

private:
    void wait() {
        descriptor_.async_wait(asio::posix::stream_descriptor::wait_read,
                               [this](const std::error_code& error) {
                                   if (!error) {
                                       loop_.runReady();
                                       wait();
                                   }
                               });
    }

    kova::kit::Loop& loop_;
    asio::posix::stream_descriptor descriptor_;
};

int main() {
    Countdown service;
    kova::kit::Client client(service);
    kova::kit::Loop loop;
    asio::io_context context;
    const LoopRunner runner(context, loop);

    const kova::kit::Subscription countdown =
        client.watch<int>("/countdown")
            .onValue([](int value) { std::cout << value << '\n'; })
            .onEnd([&context](const kova::kit::End& end) {
                std::cout << end.toString() << '\n';
                context.stop();
            })
            .start(loop);
    context.run();
}
