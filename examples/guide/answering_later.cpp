// A service that answers later: from the thread of a sensor, and from a worker.
#include <chrono>
#include <future>
#include <iostream>
#include <string>
#include <utility>

#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"

namespace command = kova::kit::command;
using kova::kit::Ask;
using kova::kit::Client;
using kova::kit::Job;
using kova::kit::Reply;
using kova::kit::Result;
using std::chrono::seconds;

struct Progress {
    int step = 0;
    int of = 0;
};
KOVA_FIELDS(Progress, step, of)

// A driver that measures on a thread of its own, one value at a time.
class Sensor {
public:
    template <typename Function>
    void read(Function function) {
        measurement_ = std::async(std::launch::async, std::move(function), 21.5);
    }

private:
    std::future<void> measurement_;
};

Result<int> scan(Job& job, const std::string& folder) {
    for (int step = 1; step <= 3 && !job.cancelled(); ++step) {
        job.progress(Progress{step, 3});
        if (folder == "disk") {
            job.sleep(std::chrono::minutes(1));  // ends when the job is cancelled
        }
    }
    return 12;  // the number of tracks
}

void measure(const Client& client, const std::string& name) {
    const Result<double> answer = client.retrieve<double>("/device/" + name).get();
    if (answer) {
        std::cout << name << ": " << *answer << '\n';
    } else {
        std::cout << name << ": " << answer.error().toString() << '\n';
    }
}

void scanFolders(const Client& client) {
    const Result<int> found = client.insert<int>("/library/scan", "usb")
                                  .onProgress<Progress>([](const Progress& progress) {
                                      std::cout << progress.step << " of " << progress.of << '\n';
                                  })
                                  .get(seconds(5));
    std::cout << found.orThrow() << " tracks\n";
    const Result<int> late =
        client.insert<int>("/library/scan", "disk").get(std::chrono::milliseconds(100));
    std::cout << late.error().toString() << '\n';
}

int main() {
    Sensor sensor;
    kova::kit::Resource device;
    device.on(command::retrieve, "temperature", [&](const Ask&, Reply<double> reply) {
        sensor.read([reply = std::move(reply)](double celsius) mutable { reply.value(celsius); });
    });
    device.on(command::retrieve, "pressure", [](const Ask&, Reply<double> reply) {
        reply.fail({503, "the sensor is not connected"});
    });
    device.on(command::retrieve, "humidity", [](const Ask&, Reply<double>) {});  // never answers

    kova::kit::Worker worker;
    kova::kit::Resource library;
    library.on(command::insert, "scan", worker, scan);
    kova::kit::ServiceBuilder builder;
    builder.mount("/device", device).mount("/library", library);
    const auto service = builder.build();

    const Client client(*service);
    measure(client, "temperature");
    measure(client, "pressure");
    measure(client, "humidity");
    scanFolders(client);

    // The worker has one thread, so this job runs when the job that was cancelled has returned.
    std::cout << client.insert<int>("/library/scan", "card").get().orThrow() << " tracks\n";
}
