#include "Client.h"

#include <ostream>
#include <utility>
#include <vector>

#include "Printing.h"
#include "Versions.h"
#include "kova/core/Commands.h"
#include "kova/core/RootAccessor.h"
#include "kova/core/headers.h"
#include "kova/core/tracing.h"

namespace device {

/// Prints the events of one request.
class Client::Printer : public kova::IResponseHandler<kova::Response> {
public:
    Printer(Client& client, unsigned long number) : client_(client), number_(number) {}

    bool onNext(const kova::Response& value) override {
        client_.print(number_, "next " + textOf(value), false);
        return false;
    }
    void onError(const kova::Response& error) override {
        client_.print(number_, "error " + textOf(error), true);
    }
    void onCompleted() override { client_.print(number_, "completed", true); }

private:
    Client& client_;
    unsigned long number_;
};

/// Prints the events of one request for the list of resources.
class Client::ListPrinter : public kova::IResponseHandler<std::vector<std::string>> {
public:
    ListPrinter(Client& client, unsigned long number)
        : client_(client), number_(number), printer_(client, number) {}

    bool onNext(const std::vector<std::string>& resources) override {
        std::string text = "next " + std::to_string(resources.size()) + " resources";
        for (const std::string& resource : resources) {
            text += "\n      " + client_.address_.locatorOf(resource);
        }
        client_.print(number_, text, false);
        return false;
    }
    void onError(const kova::Response& error) override { printer_.onError(error); }
    void onCompleted() override { printer_.onCompleted(); }

private:
    Client& client_;
    unsigned long number_;
    Printer printer_;
};

Client::Client(std::unique_ptr<kova::StaticComposedKovaService> service,
               const std::string& servicePath, std::function<bool()> interrupted, std::ostream& out)
    : address_(servicePath),
      interrupted_(std::move(interrupted)),
      out_(out),
      service_(std::move(service)) {}

bool Client::connect(const std::string& version) {
    kova::Request question(kova::commands::RETRIEVE, VERSIONS_PATH);
    sign(question);
    const Agreement agreement = agreeOnVersion(*service_, question, version, SLICE * SLICES);
    say("> connect to " + address_.servicePath() + ": " + agreement.outcome);
    return agreement.version.has_value();
}

void Client::sign(kova::Request& request) const {
    kova::headers::appendTracingInfo(request, address_.servicePath(),
                                     kova::tracing::getTraceClientId());
    kova::headers::appendAuthInfo(request);
}

void Client::send(kova::Request request) {
    sign(request);
    const unsigned long number = begin(textOf(request));
    std::unique_ptr<kova::IResponseHandler<kova::Response>> handler =
        std::make_unique<Printer>(*this, number);
    void* const handle = service_->actionRequest(request, std::move(handler));
    // cppcheck-suppress accessMoved ; a service that refuses does not move from the handler
    const bool refused = handler != nullptr;
    if (!follow(number, handle)) {
        say("  #" + std::to_string(number) +
            (refused ? " refused: the service is shut down" : " no answer"));
    }
}

void Client::list(const std::string& mimeType) {
    const unsigned long number = begin("list " + address_.servicePath());
    kova::RootAccessor root(service_.get(), mimeType, address_.servicePath());
    void* const handle = root.trackResources(std::make_shared<ListPrinter>(*this, number));
    if (!follow(number, handle)) {
        say("  #" + std::to_string(number) +
            " no list: the service is shut down, or answers something else");
    }
}

// Prints the request and adds its entry to `pending_`.
unsigned long Client::begin(const std::string& text) {
    const unsigned long number = ++lastNumber_;
    say("> #" + std::to_string(number) + " " + text);
    const std::lock_guard<std::mutex> guard(mutex_);
    pending_[number] = nullptr;
    return number;
}

// Stores the handle of a pending request. Returns false if the request ended without an event.
bool Client::follow(unsigned long number, void* handle) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = pending_.find(number);
    if (found == pending_.end()) {
        return true;
    }
    found->second = handle;
    if (handle == kova::IKovaApi::UNDEFINED_REQUEST_HANDLE) {
        pending_.erase(found);
        return false;
    }
    return true;
}

void Client::cancel(const std::optional<unsigned long>& number) {
    std::unique_lock<std::mutex> lock(mutex_);
    auto found = pending_.end();
    if (number) {
        found = pending_.find(*number);
    } else if (!pending_.empty()) {
        --found;
    }
    if (found == pending_.end()) {
        lock.unlock();
        say("nothing to cancel");
        return;
    }
    const auto [cancelled, handle] = *found;
    pending_.erase(found);
    lock.unlock();
    service_->cancelRequest(handle);
    say("> cancelled #" + std::to_string(cancelled));
}

void Client::wait(unsigned long count) {
    std::unique_lock<std::mutex> lock(mutex_);
    const unsigned long before = events_;
    lock.unlock();
    bool came = false;
    for (int slice = 0; slice < SLICES && !came && !interrupted_(); ++slice) {
        lock.lock();
        came = changed_.wait_for(lock, SLICE, [&] { return events_ - before >= count; });
        lock.unlock();
    }
    if (!came) {
        say("gave up waiting");
    }
}

bool Client::hasPending() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return !pending_.empty();
}

void Client::shutdown() {
    service_->shutdown();
    const std::lock_guard<std::mutex> guard(mutex_);
    pending_.clear();
}

void Client::say(const std::string& text) {
    const std::lock_guard<std::mutex> guard(mutex_);
    out_ << text << std::endl;
}

void Client::print(unsigned long number, const std::string& event, bool last) {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = pending_.find(number);
        if (found == pending_.end()) {
            return;  // the request has been cancelled
        }
        if (last) {
            pending_.erase(found);
        }
        out_ << "  #" << number << ' ' << event << std::endl;
        ++events_;
    }
    changed_.notify_all();
}

}  // namespace device
