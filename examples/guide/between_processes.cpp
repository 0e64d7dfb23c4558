// A service in one process, and its client in another one, which finds it by its locator.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "kova/http/Directory.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Client.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Service.h"
#include "kova/kit/Stream.h"

using kova::kit::Client;
using std::chrono::seconds;

// Registers a service with a volume, and serves it until the process is told to end.
void serve() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // threads created below inherit this

    kova::kit::Observable<int> volume(30);
    volume.onWrite([](const int& wanted) -> kova::kit::Result<void> {
        return wanted <= 100 ? kova::kit::Result<void>()
                             : kova::kit::Error{400, "the volume is at most 100"};
    });
    const auto service = kova::kit::ServiceBuilder().mount("/volume", volume).build();
    kova::http::Endpoint endpoint(*service, "kova:/player");
    int signal = 0;
    sigwait(&signals, &signal);
    endpoint.stop(seconds(2));
}

// A client of a remote service is written like a client of a service in the same process.
void use(const Client& client, const std::string& path) {
    kova::kit::Stream<int> values(client.watch<int>(path));
    std::cout << "the volume is " << *values.wait(seconds(5)) << '\n';
    client.update(path, 55).get().orThrow();
    std::cout << "the volume is " << *values.wait(seconds(5)) << '\n';
    std::cout << client.update(path, 101).get().error().toString() << '\n';
}

int main() {
    // A directory for the sockets of this example, in place of the default directory.
    setenv("KOVA_RUNTIME_DIR", "between_processes", 1);
    const pid_t child = fork();
    if (child == 0) {
        serve();
        return 0;
    }
    kova::http::OpenOptions options;
    options.patience = seconds(5);  // the service may still be starting
    const kova::http::Opened volume = kova::http::open("kova:/player$/volume", options).orThrow();
    const Client client(*volume.service);
    use(client, volume.path);

    kova::kit::Stream<int> values(client.watch<int>(volume.path));
    static_cast<void>(values.wait(seconds(5)));
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    std::cout << values.wait(seconds(5)).error().code << ": the service has ended\n";
    std::filesystem::remove_all("between_processes");
}
