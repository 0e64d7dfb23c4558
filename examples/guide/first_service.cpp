// A service with the lamps of a building, which clients list, read, switch and remove.
#include <iostream>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"

namespace command = kova::kit::command;
using kova::kit::Ask;
using kova::kit::Client;
using kova::kit::Error;
using kova::kit::Result;

struct Lamp {
    bool on = false;
    int brightness = 100;
};
KOVA_FIELDS(Lamp, on, optional(brightness))

// Several threads may send requests at the same time, so a mutex guards the lamps.
class Building {
public:
    std::vector<std::string> names() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        std::vector<std::string> result;
        for (const auto& [name, lamp] : lamps_) {
            result.push_back(name);
        }
        return result;
    }
    Result<Lamp> find(const Ask& ask, const std::string& name) const {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = lamps_.find(name);
        return found != lamps_.end() ? Result<Lamp>(found->second) : kova::kit::notFound(ask);
    }
    Result<void> change(const Ask& ask, const std::string& name, const Lamp& wanted) {
        if (wanted.brightness < 1 || wanted.brightness > 100) {
            return Error{400, "the brightness is 1 to 100"};
        }
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = lamps_.find(name);
        if (found == lamps_.end()) {
            return kova::kit::notFound(ask);
        }
        found->second = wanted;
        return kova::kit::done();
    }
    Result<void> remove(const Ask& ask, const std::string& name) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return lamps_.erase(name) != 0 ? kova::kit::done() : kova::kit::notFound(ask);
    }

private:
    mutable std::mutex mutex_;
    std::map<std::string, Lamp> lamps_{{"desk", {}}, {"hall", {true, 60}}};
};

template <typename T>
void print(const std::string& what, const Result<T>& result) {
    std::cout << what << ": " << (result ? "done" : result.error().toString()) << '\n';
}

void useLamps(const Client& client) {
    for (const auto& name : client.retrieve<std::vector<std::string>>("/lamps").get().orThrow()) {
        const Lamp lamp = client.retrieve<Lamp>("/lamps/" + name).get().orThrow();
        std::cout << name << ": " << (lamp.on ? "on, " : "off, ") << lamp.brightness << " %\n";
    }
    print("switch the desk lamp on", client.update("/lamps/desk", Lamp{true, 30}).get());
    print("remove the hall lamp", client.remove("/lamps/hall").get());

    print("read it", client.retrieve<Lamp>("/lamps/hall").get());
    print("too bright", client.update("/lamps/desk", Lamp{true, 300}).get());
    print("a text", client.update("/lamps/desk", "on").get());
    print("insert", client.insert("/lamps/desk", Lamp{}).get());
    print("a part", client.retrieve<Lamp>("/lamps/desk/bulb").get());
    print("a typing error", client.retrieve<Lamp>("/lamp").get());
}

int main() {
    Building building;
    kova::kit::Resource lamps;
    lamps.on(command::retrieve, "", [&](const Ask&) { return building.names(); });
    lamps.on(command::retrieve, "{name}",
             [&](const Ask& ask, const std::string& name) { return building.find(ask, name); });
    lamps.on(command::update, "{name}",
             [&](const Ask& ask, const std::string& name, const Lamp& wanted) {
                 return building.change(ask, name, wanted);
             });
    lamps.on(command::remove, "{name}",
             [&](const Ask& ask, const std::string& name) { return building.remove(ask, name); });
    const auto service = kova::kit::ServiceBuilder().mount("/lamps", lamps).build();

    const Client client(*service);
    useLamps(client);
}
