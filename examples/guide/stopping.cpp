// A service that mounts and unmounts a drive, and is stopped while it serves requests.
#include <chrono>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/KovaException.h"
#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"

namespace command = kova::kit::command;
using kova::kit::Ask;
using kova::kit::Client;
using kova::kit::Reply;
using std::chrono::milliseconds;
using std::chrono::seconds;

void show(const Client& client, const std::string& path) {
    const auto answer = client.retrieve<std::string>(path).get();
    std::cout << path << ": " << (answer ? *answer : answer.error().toString()) << '\n';
}

// Mounts a drive, and unmounts it while the service runs.
void plugAndUnplug(kova::kit::Slot slot, const Client& client) {
    kova::kit::Resource drive;
    drive.on(command::retrieve, "name", [](const Ask&) { return std::string("holiday music"); });
    show(client, "/usb/name");
    slot.set(drive);
    show(client, "/usb/name");
    slot.clear();
    show(client, "/usb/name");
}

void printStuck(const std::vector<kova::kit::CallInfo>& stuck) {
    std::cout << stuck.size() << " still running\n";
    for (const auto& call : stuck) {
        std::cout << "  " << call.command << ' ' << call.path << '\n';
    }
}

int main() {
    std::promise<void> hasBegun;
    std::promise<void> mayReturn;
    std::optional<Reply<std::string>> kept;
    kova::kit::Worker worker;
    kova::kit::Resource device;
    device.on(command::retrieve, "answer",
              [&](const Ask&, Reply<std::string> reply) { kept = std::move(reply); });
    device.on(command::insert, "copy", worker, [&](kova::kit::Job&) {
        hasBegun.set_value();
        mayReturn.get_future().wait();  // does not check whether the job is cancelled
    });
    kova::kit::ServiceBuilder builder;
    builder.mount("/device", device);
    const kova::kit::Slot usb = builder.slot("/usb");
    const std::unique_ptr<kova::kit::Service> service = builder.build();
    const Client client(*service);
    plugAndUnplug(usb, client);

    std::future<std::string> answer = client.retrieve<std::string>("/device/answer").future();
    std::future<void> copy = client.insert<void>("/device/copy", "").future();
    hasBegun.get_future().wait();
    printStuck(service->stop(milliseconds(100)));
    try {
        answer.get();
    } catch (const kova::KovaException& error) {
        std::cout << "the answer: " << error.what() << '\n';
    }
    show(client, "/device/answer");
    std::cout << "the late value is " << (kept->value("42") ? "sent" : "ignored") << '\n';
    mayReturn.set_value();
    printStuck(service->stop(seconds(2)));
}
