#include "Client.h"

#include <optional>
#include <ostream>
#include <utility>

#include "Numbers.h"
#include "kova/core/MimeTypes.h"
#include "util/config/Scalars.h"

namespace device {

namespace {

/// Cuts the first word off the line.
std::string takeWord(std::string& line) {
    constexpr char const* BLANKS = " \t";
    line.erase(0, line.find_first_not_of(BLANKS));
    const std::string word = line.substr(0, line.find_first_of(BLANKS));
    line.erase(0, line.find_first_not_of(BLANKS, word.size()));
    return word;
}

/// The first bytes in hexadecimal, for formats that are not text.
std::string hexText(const kova::Payload& payload) {
    constexpr std::size_t MOST = 24;
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < payload.size() && i < MOST; ++i) {
        text += {DIGITS[payload.data()[i] >> 4], DIGITS[payload.data()[i] & 0x0F], ' '};
    }
    return text + (payload.size() > MOST ? "… = " : "= ");
}

std::string payloadText(const kova::Payload& payload) {
    std::string text;
    kova::Payload::createStringFrom(payload, text, true);
    const bool binary = payload.getMimeType() == kova::mimetypes::AXOBIN_TYPE;
    return payload.getMimeType() + ", " + std::to_string(payload.size()) +
           " bytes: " + (binary ? hexText(payload) : std::string()) + text;
}

std::string responseText(const kova::Response& response) {
    std::string text = response.getErrorMessageWithCode();
    if (response.getHeader().isDictionary()) {
        text += "\n      header  " + response.getHeader().toJson(true);
    }
    if (!response.getPayload().isEmpty()) {
        text += "\n      payload " + payloadText(response.getPayload());
    }
    return text;
}

}  // namespace

/// The client's side of one request.
class Client::Printer : public kova::IResponseHandler<kova::Response> {
public:
    Printer(Client& client, unsigned long number) : client_(client), number_(number) {}

    bool onNext(const kova::Response& value) override {
        client_.print(number_, "next " + responseText(value), false);
        return false;
    }
    void onError(const kova::Response& error) override {
        client_.print(number_, "error " + responseText(error), true);
    }
    void onCompleted() override { client_.print(number_, "completed", true); }

private:
    Client& client_;
    unsigned long number_;
};

Client::Client(std::unique_ptr<kova::StaticComposedKovaService> service,
               std::function<bool()> interrupted, std::ostream& out)
    : interrupted_(std::move(interrupted)),
      out_(out),
      mimeType_(kova::mimetypes::JSON_TYPE),
      service_(std::move(service)) {}

char const* Client::help() {
    return "retrieve PATH         ask for what is there: /, /system, /system/memory, /store\n"
           "watch PATH            the same as a stream of fresh values: /system/load\n"
           "cancel [NUMBER]       end a stream, by default the latest\n"
           "update PATH JSON      put a value in place of another: update /store/volume 7\n"
           "insert PATH JSON      put a value where nothing is yet\n"
           "delete PATH           take a value out\n"
           "accept json|binary    the format in which answers are wanted\n"
           "wait [COUNT]          wait for so many more events (1), ten seconds at most\n"
           "shutdown              shut the service down\n"
           "help, quit\n";
}

bool Client::execute(const std::string& line) {
    std::string rest = line;
    const std::string word = takeWord(rest);
    if (word.empty() || word[0] == '#') {
        say(line);
    } else if (word == "quit") {
        return false;
    } else if (word == "help") {
        say(help());
    } else if (word == "cancel") {
        cancel(takeWord(rest));
    } else if (word == "wait") {
        wait(takeWord(rest));
    } else if (word == "accept") {
        accept(takeWord(rest));
    } else if (word == "shutdown") {
        say("> shutdown");
        shutdown();
    } else {
        ask(word, rest);
    }
    return true;
}

void Client::ask(const std::string& command, const std::string& rest) {
    std::string payload = rest;
    const std::string path = takeWord(payload);
    const bool watching = command == "watch";
    kova::Request request(
        watching ? "retrieve" : command, path,
        payload.empty() ? kova::Payload() : kova::Payload::createFromJSON(payload));
    request.setMimeType(mimeType_);
    if (watching) {
        request.add2header("$response-semantic",
                           new util::config::ValueString("persistent-stream"));
    }
    send(request);
}

void Client::send(const kova::Request& request) {
    const unsigned long number = ++lastNumber_;
    say("> #" + std::to_string(number) + " " + request.toString());
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        pending_[number] = nullptr;
    }
    std::unique_ptr<kova::IResponseHandler<kova::Response>> handler =
        std::make_unique<Printer>(*this, number);
    void* const handle = service_->actionRequest(request, std::move(handler));
    const bool refused = handler != nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = pending_.find(number);
        if (found != pending_.end()) {
            found->second = handle;
        }
        if (handle == kova::IKovaApi::UNDEFINED_REQUEST_HANDLE) {
            pending_.erase(number);
        }
    }
    if (refused) {
        say("  #" + std::to_string(number) + " refused: the service is shut down");
    }
}

void Client::cancel(const std::string& which) {
    std::unique_lock<std::mutex> lock(mutex_);
    auto found = pending_.end();
    if (const auto number = numberOf(which)) {
        found = pending_.find(*number);
    } else if (which.empty() && !pending_.empty()) {
        --found;
    }
    if (found == pending_.end()) {
        lock.unlock();
        say("nothing to cancel");
        return;
    }
    const auto [number, handle] = *found;
    pending_.erase(found);
    lock.unlock();
    service_->cancelRequest(handle);
    say("> cancelled #" + std::to_string(number));
}

void Client::wait(const std::string& count) {
    const auto wanted = count.empty() ? std::optional<unsigned long>(1) : numberOf(count);
    if (!wanted) {
        say("wait, or wait COUNT");
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    const unsigned long before = events_;
    lock.unlock();
    bool came = false;
    for (int slice = 0; slice < SLICES && !came && !interrupted_(); ++slice) {
        lock.lock();
        came = changed_.wait_for(lock, SLICE, [&] { return events_ - before >= *wanted; });
        lock.unlock();
    }
    if (!came) {
        say("gave up waiting");
    }
}

void Client::accept(const std::string& type) {
    if (type == "json") {
        mimeType_ = kova::mimetypes::JSON_TYPE;
    } else if (type == "binary") {
        mimeType_ = kova::mimetypes::AXOBIN_TYPE;
    } else {
        say("accept json, or accept binary");
        return;
    }
    say("> answers are wanted as " + mimeType_);
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
            return;  // cancelled meanwhile
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
