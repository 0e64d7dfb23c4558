#include "ClockHandler.h"

#include <ctime>
#include <optional>
#include <utility>

#include "Replies.h"
#include "kova/core/Commands.h"
#include "kova/core/Factory.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/dovglobals/Duration.h"
#include "util/ByteBufferReader.h"

namespace device {

namespace {

namespace statuscodes = kova::statuscodes;
using kova::dovglobals::Duration;
using std::chrono::milliseconds;

constexpr char const* ALARM = "in";

std::optional<Duration> durationIn(const kova::Payload& payload) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer(
        kova::serializer::Factory::createDeserializer(
            kova::mimetypes::typename2id(payload.getMimeType())));
    util::ByteBufferReader reader(payload.data(), payload.size(), false);
    Duration duration;
    if (!deserializer || deserializer->beginDeserialize(&reader, nullptr) ||
        kova::serializer::deserialize(*deserializer, duration) || deserializer->endDeserialize()) {
        return std::nullopt;
    }
    return duration;
}

// Returns nullopt for a duration with years or months. The result is at most 32 days, within the
// range of an alarm.
std::optional<milliseconds> lengthOf(const Duration& duration) {
    if (duration.years != 0 || duration.months != 0) {
        return std::nullopt;
    }
    return std::chrono::hours(24 * duration.days + duration.hours) +
           std::chrono::minutes(duration.minutes) + std::chrono::seconds(duration.seconds);
}

}  // namespace

/// A pending request, shared by the table and the callback that sends.
struct ClockHandler::Pending {
    Pending(kova::Request asked, unsigned short status, bool one, Handler receiver)
        : request(std::move(asked)), code(status), once(one), handler(std::move(receiver)) {}

    const kova::Request request;
    const unsigned short code;
    const bool once;
    const Handler handler;
    /// Whether the request has terminated or was cancelled; then nothing more is sent.
    std::atomic<bool> over{false};
};

kova::dovglobals::DateTime toDateTime(std::chrono::system_clock::time_point time) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(time);
    const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
    const auto rest = std::chrono::floor<milliseconds>(time - whole).count();
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    const auto narrow = [](int number) { return static_cast<unsigned char>(number); };
    return {{static_cast<unsigned short>(parts.tm_year + 1900), narrow(parts.tm_mon + 1),
             narrow(parts.tm_mday)},
            {narrow(parts.tm_hour), narrow(parts.tm_min), narrow(parts.tm_sec),
             static_cast<unsigned short>(rest), std::nullopt}};
}

ClockHandler::ClockHandler(std::function<kova::dovglobals::DateTime()> now, milliseconds interval,
                           osal::AlarmTimer& timer)
    : now_(std::move(now)),
      interval_(interval),
      timer_(timer),
      sweeper_(
          timer, [](void* self) { static_cast<ClockHandler*>(self)->sweep(); }, this) {}

ClockHandler::~ClockHandler() {
    std::map<void*, Entry> requests;
    std::vector<Alarm> retired;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        stopping_ = true;
        requests.swap(requests_);
        retired.swap(retired_);
    }
    // The alarms are destroyed without the lock, because their destructors wait for the running
    // callback, which acquires the lock.
}

void* ClockHandler::actionRequest(const kova::Request& request, Handler&& handler,
                                  const std::string& resourcePath) {
    const kova::Response present = respond(request, statuscodes::OK);
    if (!resourcePath.empty() && resourcePath != ALARM) {
        handler->onError(notFound(request));
    } else if (request.getCommand() != kova::commands::RETRIEVE) {
        refuseCommand(*handler, request);
    } else if (present.isErrorResponse()) {
        handler->onError(present);
    } else if (resourcePath == ALARM) {
        return openAlarm(request, std::move(handler));
    } else if (wantsStream(request)) {
        return openStream(request, std::move(handler));
    } else {
        answer(*handler, present);
    }
    return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

kova::Response ClockHandler::respond(const kova::Request& request, unsigned short code) const {
    return makeResponse(request, code, [this](auto& serializer) {
        return kova::serializer::serialize(serializer, now_());
    });
}

// Sends the first value before the request becomes pending. A stream that ends with this value thus
// never becomes pending.
void* ClockHandler::openStream(const kova::Request& request, Handler&& handler) {
    auto stream =
        std::make_shared<Pending>(request, statuscodes::STREAM, false, std::move(handler));
    return send(*stream) ? keep(std::move(stream), interval_)
                         : kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

void* ClockHandler::openAlarm(const kova::Request& request, Handler&& handler) {
    const auto duration = durationIn(request.getPayload());
    const auto delay = duration ? lengthOf(*duration) : std::nullopt;
    if (!delay) {
        handler->onError(fail(request, statuscodes::BAD_REQUEST,
                              "the payload is no duration without years and months, such as "
                              "\"P0000-00-01T02:03:04\""));
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }
    auto alarm = std::make_shared<Pending>(
        request, wantsStream(request) ? statuscodes::STREAM : statuscodes::OK, true,
        std::move(handler));
    if (*delay == milliseconds::zero()) {
        send(*alarm);
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }
    return keep(std::move(alarm), *delay);
}

// Starts the alarm and makes the request pending, unless the alarm has already ended the request.
void* ClockHandler::keep(std::shared_ptr<Pending> pending, milliseconds delay) {
    // A handle is a number that is never dereferenced.
    void* const handle =
        reinterpret_cast<void*>(++lastHandle_);  // NOLINT(performance-no-int-to-ptr)
    const std::weak_ptr<Pending> known = pending;
    auto alarm = std::make_unique<kova::FunctionalAlarm>(
        [this, handle, known] { expired(handle, known); }, timer_);
    if (alarm->start(static_cast<unsigned int>(delay.count()), !pending->once)) {
        pending->handler->onError(
            fail(pending->request, statuscodes::SERVICE_UNAVAILABLE, "the clock stands still"));
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!stopping_ && !pending->over) {
            requests_.emplace(handle, Entry{std::move(pending), std::move(alarm)});
            return handle;
        }
        retired_.push_back(std::move(alarm));
    }
    static_cast<void>(sweeper_.arm(milliseconds::zero()));
    return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

void ClockHandler::cancelRequest(void* handle) {
    std::shared_ptr<Pending> pending;  // destroyed without the lock, as is its response handler
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = requests_.find(handle);
        if (found == requests_.end()) {
            return;
        }
        pending = std::move(found->second.pending);
        pending->over = true;
        retired_.push_back(std::move(found->second.alarm));
        requests_.erase(found);
    }
    // Arming fails if a child of fork cannot start the alarm thread; then no alarm can expire
    // either.
    static_cast<void>(sweeper_.arm(milliseconds::zero()));
}

// Called on the alarm thread, like `sweep`.
void ClockHandler::expired(void* handle, const std::weak_ptr<Pending>& known) {
    const std::shared_ptr<Pending> pending = known.lock();
    if (pending && !send(*pending)) {
        cancelRequest(handle);
    }
}

// Sends the time. Returns false if the request ends with this value or is already over.
bool ClockHandler::send(Pending& pending) const {
    const kova::Response response = respond(pending.request, pending.code);
    if (pending.over) {
        return false;
    }
    const bool enough = pending.handler->onNext(response) || pending.once;
    if (enough && !pending.over) {
        pending.handler->onCompleted();
        pending.over = true;
    }
    return !enough;
}

void ClockHandler::sweep() {
    std::vector<Alarm> retired;  // destroyed without the lock
    const std::lock_guard<std::mutex> guard(mutex_);
    retired.swap(retired_);
}

}  // namespace device
