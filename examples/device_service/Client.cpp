#include "Client.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "Printing.h"
#include "kova/core/SemVer.h"
#include "kova/core/headers.h"
#include "kova/core/tracing.h"
#include "kova/kit/Command.h"
#include "kova/kit/Values.h"

namespace device {

namespace kit = kova::kit;
using Texts = std::vector<std::string>;

namespace {

constexpr std::chrono::seconds PATIENCE(10);
constexpr std::chrono::milliseconds SLICE(100);

std::string joined(const Texts& texts) {
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : ", ") + text;
    }
    return list;
}

std::string label(unsigned long number) {
    return "#" + std::to_string(number) + " ";
}

}  // namespace

/// Prints the events of one request.
class Client::Printer : public kit::Receiver {
public:
    Printer(Client& client, unsigned long number, bool list)
        : client_(client), number_(number), list_(list) {}

    kit::Result<void> onValue(const kova::Response& value) override {
        return client_.show(number_, value, list_);
    }
    void onEnd(const kit::End& end) override { client_.end(number_, end); }

private:
    Client& client_;
    const unsigned long number_;
    const bool list_;
};

Client::Client(kit::Service& service, const std::string& servicePath,
               std::function<bool()> interrupted, Display display)
    : address_(servicePath),
      interrupted_(std::move(interrupted)),
      service_(service),
      display_(display),
      calls_(service) {}

bool Client::connect(const std::string& version) {
    kova::Request question(std::string(kit::command::retrieve), "/about/versions");
    sign(question);
    kit::AskOptions options;
    options.limit = PATIENCE;
    const auto answer = calls_.ask(question, options);
    const auto offered = answer ? kit::fromPayload<Texts>(answer->getPayload()) : answer.error();
    const std::string title = "> connect to " + address_.servicePath() + ": ";
    if (!offered) {
        const std::string reason =
            "the service does not say which versions it offers: " + offered.error().toString();
        complain(title + reason, reason, exitstatus::NOT_STARTED);
        return false;
    }
    const std::string choice =
        "serves a client built for " + version + " (offered: " + joined(*offered) + ")";
    const auto chosen = kova::semver::getMostCompatible(version, *offered);
    if (chosen) {
        say(title + "interface " + *chosen + " " + choice);
    } else {
        complain(title + "no interface " + choice, "no interface " + choice,
                 exitstatus::NOT_STARTED);
    }
    return chosen.has_value();
}

void Client::sign(kova::Request& request) const {
    kova::headers::appendTracingInfo(request, address_.servicePath(),
                                     kova::tracing::getTraceClientId());
    kova::headers::appendAuthInfo(request);
}

void Client::send(kova::Request request) {
    sign(request);
    start(request, textOf(request), false);
}

void Client::list(const std::string& mimeType) {
    kova::Request request(std::string(kit::command::retrieve), "/");
    request.setMimeType(mimeType);
    sign(request);
    start(request, "list " + address_.servicePath(), true);
}

void Client::start(const kova::Request& request, const std::string& title, bool list) {
    const unsigned long number = ++lastNumber_;
    say("> " + label(number) + title);
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        pending_.try_emplace(number);
        events_ = 0;
    }
    kit::Subscription call = calls_.start(request, std::make_unique<Printer>(*this, number, list));
    const std::lock_guard<std::mutex> guard(mutex_);
    if (const auto found = pending_.find(number); found != pending_.end()) {
        found->second = std::move(call);
    }
}

void Client::cancel(const std::optional<unsigned long>& number) {
    decltype(pending_)::node_type cancelled;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (number) {
            cancelled = pending_.extract(*number);
        } else if (!pending_.empty()) {
            cancelled = pending_.extract(std::prev(pending_.end()));
        }
    }
    if (cancelled) {
        cancelled.mapped().reset();  // no event is printed from here on
        say("> cancelled #" + std::to_string(cancelled.key()));
    } else {
        complain("nothing to cancel", "nothing to cancel", exitstatus::ANSWERED);
    }
}

void Client::wait(unsigned long count) {
    std::unique_lock<std::mutex> lock(mutex_);
    bool came = events_ >= count;
    lock.unlock();
    for (auto waited = SLICE; waited <= PATIENCE && !came && !interrupted_(); waited += SLICE) {
        lock.lock();
        came = changed_.wait_for(lock, SLICE, [&] { return events_ >= count; });
        lock.unlock();
    }
    lock.lock();
    events_ = 0;
    lock.unlock();
    if (!came) {
        complain("gave up waiting", "gave up waiting", exitstatus::ANSWERED);
    }
}

bool Client::hasPending() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return !pending_.empty();
}

void Client::shutdown() {
    decltype(pending_) cancelled;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        cancelled.swap(pending_);
    }
    cancelled.clear();
    calls_.stop("the service is shut down", PATIENCE);
    service_.stop(PATIENCE);
}

void Client::say(const std::string& text) {
    const std::lock_guard<std::mutex> guard(mutex_);
    display_.say(text);
}

void Client::refuse(const std::string& reason) {
    complain(reason, reason, exitstatus::MISUSED);
}

int Client::exitStatus() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return exitStatus_;
}

void Client::complain(const std::string& line, const std::string& reason, int status) {
    const std::lock_guard<std::mutex> guard(mutex_);
    display_.complain(line, reason);
    exitStatus_ = std::max(exitStatus_, status);
}

// Prints a value. Fails if the list of resources is wanted and the value is something else.
kit::Result<void> Client::show(unsigned long number, const kova::Response& value, bool list) {
    std::string line = "  " + label(number) + "next " + textOf(value);
    std::optional<std::string> payload = plainText(value.getPayload());
    if (list) {
        auto resources = kit::fromPayload<Texts>(value.getPayload());
        if (!resources) {
            return resources.error();
        }
        line = "  " + label(number) + "next " + std::to_string(resources->size()) + " resources";
        for (std::string& resource : *resources) {
            resource = address_.locatorOf(resource);
            line += "\n      " + resource;
        }
        payload = plainText(kit::toPayload(*resources).orThrow());
    }
    happened(payload ? exitstatus::of(value.getStatusCode()) : exitstatus::FAILED, [&] {
        payload ? display_.show(line, *payload)
                : display_.complain(line, "the payload cannot be read");
    });
    return {};
}

void Client::end(unsigned long number, const kit::End& end) {
    kit::Subscription ended;  // destroyed without the lock
    const kit::Error error = end.error();
    const bool answered = end.kind() == kit::End::Kind::failed;
    // An error counts as rejected even if its code is a success.
    const int status =
        answered ? std::max(exitstatus::REFUSED, exitstatus::of(error.code)) : exitstatus::FAILED;
    happened(end.ok() ? exitstatus::ANSWERED : status, [&] {
        if (const auto found = pending_.find(number); found != pending_.end()) {
            ended = std::move(found->second);
            pending_.erase(found);
        }
        const std::string line = "  " + label(number);
        if (end.ok()) {
            display_.say(line + "completed");
        } else if (answered) {
            display_.complain(line + "error " + textOf(end.response()), error.toString());
        } else {
            const bool refused = end.kind() == kit::End::Kind::refused;
            const std::string reason =
                refused ? "refused: the service is shut down" : end.toString();
            display_.complain(line + reason, reason);
        }
    });
}

// Calls the function with the lock, and counts an event.
void Client::happened(int status, const std::function<void()>& print) {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        print();
        exitStatus_ = std::max(exitStatus_, status);
        ++events_;
    }
    changed_.notify_all();
}

}  // namespace device
