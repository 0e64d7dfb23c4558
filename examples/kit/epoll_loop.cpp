// A client whose callbacks run on the thread of an epoll loop.
#include <sys/epoll.h>
#include <unistd.h>

#include <iostream>

#include "Countdown.h"
#include "kova/kit/Client.h"
#include "kova/kit/Loop.h"

int main() {
    Countdown service;
    kova::kit::Client client(service);
    kova::kit::Loop loop;

    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    epoll_event interest{};
    interest.events = EPOLLIN;  // level-triggered: `runReady` need not run all that is ready
    interest.data.fd = loop.fd();
    if (epoll < 0 || epoll_ctl(epoll, EPOLL_CTL_ADD, loop.fd(), &interest) != 0) {
        std::cerr << "no epoll\n";
        return 1;
    }

    bool over = false;
    // No lock is needed: everything below runs on this thread.
    const kova::kit::Subscription countdown =
        client.watch<int>("/countdown")
            .onValue([](int value) { std::cout << value << '\n'; })
            .onEnd([&over](const kova::kit::End& end) {
                std::cout << end.toString() << '\n';
                over = true;
            })
            .start(loop);
    while (!over) {
        epoll_event ready{};
        if (epoll_wait(epoll, &ready, 1, -1) == 1 && ready.data.fd == loop.fd()) {
            loop.runReady();
        }
    }
    close(epoll);
}
