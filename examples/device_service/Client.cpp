#include "Client.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Printing.h"
#include "Versions.h"
#include "kova/core/Commands.h"
#include "kova/core/RootAccessor.h"
#include "kova/core/headers.h"
#include "kova/core/tracing.h"
#include "util/config/Array.h"
#include "util/config/Scalars.h"

namespace device {

/// Prints the events of one request.
class Client::Printer : public kova::IResponseHandler<kova::Response> {
public:
    Printer(Client& client, unsigned long number) : client_(client), number_(number) {}

    bool onNext(const kova::Response& value) override {
        const auto payload = plainText(value.getPayload());
        client_.print(number_, "next " + textOf(value), payload,
                      payload ? exitstatus::of(value.getStatusCode()) : exitstatus::FAILED);
        return false;
    }
    void onError(const kova::Response& error) override { client_.fail(number_, error); }
    void onCompleted() override { client_.end(number_); }

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
        util::config::Array locators;
        for (const std::string& resource : resources) {
            const std::string locator = client_.address_.locatorOf(resource);
            text += "\n      " + locator;
            locators.add(new util::config::ValueString(locator));
        }
        client_.print(number_, text, locators.toJson(true), exitstatus::ANSWERED);
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
               const std::string& servicePath, std::function<bool()> interrupted, Display display)
    : address_(servicePath),
      interrupted_(std::move(interrupted)),
      display_(display),
      service_(std::move(service)) {}

bool Client::connect(const std::string& version) {
    kova::Request question(kova::commands::RETRIEVE, VERSIONS_PATH);
    sign(question);
    const Agreement agreement = agreeOnVersion(*service_, question, version, SLICE * SLICES);
    const std::string text = "> connect to " + address_.servicePath() + ": " + agreement.outcome;
    const std::lock_guard<std::mutex> guard(mutex_);
    if (agreement.version) {
        display_.say(text);
    } else {
        display_.complain(text, agreement.outcome);
        note(exitstatus::NOT_STARTED);
    }
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
    // cppcheck-suppress accessMoved ; a service that rejects a request does not move the handler
    const bool refused = handler != nullptr;
    if (!follow(number, handle)) {
        giveUp(number, refused ? "refused: the service is shut down" : "no answer");
    }
}

void Client::list(const std::string& mimeType) {
    const unsigned long number = begin("list " + address_.servicePath());
    kova::RootAccessor root(service_.get(), mimeType, address_.servicePath());
    void* const handle = root.trackResources(std::make_shared<ListPrinter>(*this, number));
    if (!follow(number, handle)) {
        giveUp(number, "no list: the service is shut down, or answers something else");
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

void Client::giveUp(unsigned long number, const std::string& reason) {
    const std::lock_guard<std::mutex> guard(mutex_);
    display_.complain("  #" + std::to_string(number) + " " + reason, reason);
    note(exitstatus::FAILED);
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
        complain("nothing to cancel");
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
        complain("gave up waiting");
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
    display_.say(text);
}

void Client::complain(const std::string& text) {
    const std::lock_guard<std::mutex> guard(mutex_);
    display_.complain(text);
}

void Client::refuse(const std::string& reason) {
    const std::lock_guard<std::mutex> guard(mutex_);
    display_.complain(reason);
    note(exitstatus::MISUSED);
}

int Client::exitStatus() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return exitStatus_;
}

void Client::note(int status) {
    exitStatus_ = std::max(exitStatus_, status);
}

void Client::print(unsigned long number, const std::string& event,
                   const std::optional<std::string>& payload, int status) {
    const std::string line = "  #" + std::to_string(number) + " " + event;
    tell(number, false, [&] {
        if (payload) {
            display_.show(line, *payload);
        } else {
            display_.complain(line, "the payload cannot be read");
        }
        note(status);
    });
}

void Client::end(unsigned long number) {
    tell(number, true, [&] { display_.say("  #" + std::to_string(number) + " completed"); });
}

void Client::fail(unsigned long number, const kova::Response& error) {
    tell(number, true, [&] {
        display_.complain("  #" + std::to_string(number) + " error " + textOf(error),
                          error.getErrorMessageWithCode());
        // An error counts as rejected even if its code is a success.
        note(std::max(exitstatus::REFUSED, exitstatus::of(error.getStatusCode())));
    });
}

// Shows an event of a request, unless the request has been cancelled.
void Client::tell(unsigned long number, bool last, const std::function<void()>& show) {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = pending_.find(number);
        if (found == pending_.end()) {
            return;
        }
        if (last) {
            pending_.erase(found);
        }
        show();
        ++events_;
    }
    changed_.notify_all();
}

}  // namespace device
