// A service in one process, and its client in another.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <string>

#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Client.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Service.h"
#include "kova/kit/Stream.h"

using kova::kit::Client;
using std::chrono::seconds;

// Serves a volume at a Unix socket until the process is told to end.
void serve(const std::string& address) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // in the threads that are created below, too

    kova::kit::Observable<int> volume(30);
    volume.onWrite([](const int& wanted) -> kova::kit::Result<void> {
        return wanted <= 100 ? kova::kit::Result<void>()
                             : kova::kit::Error{400, "the volume is at most 100"};
    });
    const auto service = kova::kit::ServiceBuilder().mount("/volume", volume).build();
    kova::http::Endpoint endpoint(*service, address);
    int signal = 0;
    sigwait(&signals, &signal);
    endpoint.stop(seconds(2));
}

// A client of a remote service is written like a client of a service in the same process.
void use(const Client& client) {
    kova::kit::Stream<int> values(client.watch<int>("/volume"));
    std::cout << "the volume is " << *values.wait(seconds(5)) << '\n';
    client.update("/volume", 55).get().orThrow();
    std::cout << "the volume is " << *values.wait(seconds(5)) << '\n';
    std::cout << client.update("/volume", 101).get().error().toString() << '\n';
}

int main() {
    const std::string address = "unix:between_processes.sock";
    const pid_t child = fork();
    if (child == 0) {
        serve(address);
        return 0;
    }
    // The first request waits until the service is there.
    const std::unique_ptr<kova::IKovaApi> player = kova::http::connect(address).orThrow();
    const Client client(*player);
    use(client);

    kova::kit::Stream<int> values(client.watch<int>("/volume"));
    static_cast<void>(values.wait(seconds(5)));
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    std::cout << values.wait(seconds(5)).error().code << ": the service has ended\n";
}
