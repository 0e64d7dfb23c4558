#include "nats/client/Gathering.h"

#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/core/headers.h"
#include "kova/kit/Command.h"
#include "kova/nats/Connect.h"
#include "nats/Subjects.h"

namespace kova::nats::detail {

namespace {

std::string textOf(const util::config::Value& value) {
    std::string text;
    return value.get(text) ? std::string() : text;
}

std::shared_ptr<const Target> searchTarget(const GatheringSettings& settings) {
    return std::make_shared<const Target>(
        Target{searchSubject(settings.prefix, settings.servicePath).orThrow(),
               "'" + settings.servicePath + "' with an instance name"});
}

std::shared_ptr<const Target> instanceTarget(const GatheringSettings& settings,
                                             const std::string& instance) {
    return std::make_shared<const Target>(
        Target{requestSubject(settings.prefix, settings.servicePath, instance).orThrow(),
               "'" + settings.servicePath + "' named '" + instance + "'"});
}

bool isStream(const Request& request) {
    return request.getCommand() == kit::command::retrieve &&
           textOf(request.getHeaderValue(headers::RESPONSE_SEMANTIC)) == headers::PERSISTENT_STREAM;
}

}  // namespace

/// Receives the instances that a search finds.
class Gathering::SearchHandler final : public IResponseHandler<Response> {
public:
    explicit SearchHandler(std::shared_ptr<Gathering> gathering)
        : gathering_(std::move(gathering)) {}

    bool onNext(const Response& found) override {
        if (const std::string name = textOf(found.getHeaderValue(INSTANCE_HEADER)); !name.empty()) {
            gathering_->onFound(name);
        }
        return false;
    }
    void onError(const Response& error) override { gathering_->endSearch(kit::Error::of(error)); }
    void onCompleted() override {}

private:
    const std::shared_ptr<Gathering> gathering_;
};

/// Receives the answer of one instance.
class Gathering::MemberHandler final : public IResponseHandler<Response> {
public:
    MemberHandler(std::shared_ptr<Gathering> gathering, std::string instance)
        : gathering_(std::move(gathering)), instance_(std::move(instance)) {}

    bool onNext(const Response& value) override { return gathering_->onValue(instance_, value); }
    void onError(const Response& error) override {
        if (!gathering_->onValue(instance_, error)) {
            const bool isLost = error.getStatusCode() == statuscodes::SERVICE_UNAVAILABLE;
            gathering_->onMemberEnd(instance_, isLost);
        }
    }
    void onCompleted() override { gathering_->onMemberEnd(instance_, false); }

private:
    const std::shared_ptr<Gathering> gathering_;
    const std::string instance_;
};

Gathering::Gathering(std::shared_ptr<ClientState> state, const GatheringSettings& settings,
                     const Request& request, ClientStream::ResponseHandler handler,
                     std::function<void()> onOver)
    : state_(std::move(state)),
      settings_(settings),
      target_(searchTarget(settings)),
      request_(request),
      isStream_(isStream(request)),
      handler_(std::move(handler)),
      onOver_(std::move(onOver)) {}

void Gathering::cancel() {
    handler_.reset();
    stopAll();
}

void Gathering::stopAll() {
    if (void* const search = std::exchange(search_, nullptr)) {
        state_->cancelRequest(search);
    }
    for (const auto& [instance, member] : members_) {
        if (member.isOpen) {
            state_->cancelRequest(member.handle);
        }
    }
    members_.clear();
}

// A timer that fires after the end finds no object, or no response handler.
template <typename Task>
void Gathering::after(std::chrono::milliseconds delay, Task task) {
    state_->loop()->after(delay, [self = weak_from_this(), task] {
        const auto gathering = self.lock();
        if (gathering && gathering->handler_) {
            task(*gathering);
        }
    });
}

void Gathering::search() {
    search_ = state_->search(target_, std::make_unique<SearchHandler>(shared_from_this()));
    checkSearchAfter(settings_.quiet);
}

void Gathering::checkSearchAfter(std::chrono::milliseconds delay) {
    after(delay, [search = search_](Gathering& self) {
        if (self.search_ == search) {
            self.checkSearch();
        }
    });
}

// The search is not sent while there is no connection. `ClientState` ends it then.
void Gathering::checkSearch() {
    const auto silence = state_->silenceOf(search_);
    if (!silence || *silence < settings_.quiet) {
        checkSearchAfter(settings_.quiet - silence.value_or(std::chrono::milliseconds(0)));
        return;
    }
    state_->cancelRequest(search_);
    endSearch({statuscodes::SERVICE_UNAVAILABLE, "no server of " + target_->name});
}

void Gathering::endSearch(const kit::Error& reason) {
    search_ = nullptr;
    if (members_.empty()) {
        finish([&](auto& handler) { handler.onError(reason.toResponse()); });
        return;
    }
    completeIfFinished();
    if (handler_ && isStream_) {
        after(settings_.period, [](Gathering& self) { self.search(); });
    }
}

// An instance whose stream was lost is asked again.
void Gathering::onFound(const std::string& instance) {
    const auto [found, isNew] = members_.try_emplace(instance);
    Member& member = found->second;
    if (!handler_ || (!isNew && !(isStream_ && member.isLost))) {
        return;
    }
    if (members_.size() > MOST_INSTANCES) {
        const kit::Error reason{statuscodes::SERVICE_UNAVAILABLE,
                                "'" + settings_.servicePath + "' has more than " +
                                    std::to_string(MOST_INSTANCES) + " instances"};
        finish([&](auto& handler) { handler.onError(reason.toResponse()); });
        return;
    }
    lost_ -= member.isLost ? 1 : 0;
    ++open_;
    member.isOpen = true;
    member.isLost = false;
    void* const handle =
        state_->send(instanceTarget(settings_, instance), request_,
                     std::make_unique<MemberHandler>(shared_from_this(), instance));
    if (const auto sent = members_.find(instance); sent != members_.end()) {
        sent->second.handle = handle;
    }
}

bool Gathering::onValue(const std::string& instance, const Response& value) {
    Response named = value;
    addInstance(named, instance);
    if (handler_ && handler_->onNext(named)) {
        finish([](auto& handler) { handler.onCompleted(); });
    }
    return !handler_;
}

void Gathering::onMemberEnd(const std::string& instance, bool isLost) {
    const auto found = members_.find(instance);
    if (found == members_.end()) {
        return;
    }
    found->second.isOpen = false;
    found->second.isLost = isLost;
    --open_;
    lost_ += isLost ? 1 : 0;
    completeIfFinished();
}

void Gathering::completeIfFinished() {
    if (search_ == nullptr && open_ == 0 && (!isStream_ || lost_ == 0)) {
        finish([](auto& handler) { handler.onCompleted(); });
    }
}

template <typename Report>
void Gathering::finish(Report report) {
    if (const ClientStream::ResponseHandler handler = std::move(handler_)) {
        stopAll();
        report(*handler);
        onOver_();
    }
}

}  // namespace kova::nats::detail
