#include "foreign/ForeignExchange.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <functional>
#include <new>
#include <utility>

#include "foreign/EventText.h"
#include "foreign/JsonText.h"
#include "foreign/Page.h"
#include "foreign/Replies.h"
#include "foreign/StatusTexts.h"
#include "kova/core/Path.h"
#include "wire/OutOfMemory.h"

namespace kova::http::detail {

namespace {

// The bytes of a stream that are encoded at once.
constexpr std::size_t STREAM_BLOCK = std::size_t{4} * 1024;
// The memory of a stream for clients of HTTP/1.0. For others, libmicrohttpd sends from its pool.
constexpr std::size_t OLD_CLIENT_BLOCK = 512;
constexpr long ROOT_USER = 0;

ForeignConnection& connectionOf(MHD_Connection* connection) {
    return *static_cast<ForeignConnection*>(
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
}

// The fields of a request, whether there was no memory for one, and whether a line of the header
// was folded.
struct CollectedFields {
    Fields fields;
    bool isIncomplete = false;
    bool isFolded = false;
};

// Returns whether a field is on one line. libmicrohttpd 0.9.75 leaves the parts of a line where
// they have arrived, the value behind the colon. It appends a line that begins with a blank to the
// name of the field before, and moves the name or overwrites the value. So "Content-Length: 1" with
// a folded line would count as a request without a body.
bool isOnOneLine(char const* name, std::size_t nameSize, char const* value) noexcept {
    char const* const behindColon = name + nameSize + 1;
    return std::less_equal<>()(behindColon, value) &&
           std::all_of(behindColon, value, [](char c) { return c == ' ' || c == '\t'; });
}

MHD_Result addField(void* collected, MHD_ValueKind, char const* name, std::size_t nameSize,
                    char const* value, std::size_t valueSize) noexcept {
    auto& result = *static_cast<CollectedFields*>(collected);
    try {
        result.isFolded =
            result.isFolded || (value != nullptr && !isOnOneLine(name, nameSize, value));
        result.fields.push_back(
            {std::string(name, nameSize), std::string(value == nullptr ? "" : value, valueSize)});
        return MHD_YES;
    } catch (const std::bad_alloc&) {
        result.isIncomplete = true;
        return MHD_NO;
    }
}

void freePayload(void* payload) noexcept {
    delete static_cast<Payload*>(payload);
}

// Returns whether the path is one of the inspection.
bool isInspection(const std::string& path) {
    std::string first;
    return !Path::part(path, 0, first) && first == ".kova";
}

// Returns false if there is no memory for the field.
bool add(MHD_Response* response, char const* name, char const* value) noexcept {
    return MHD_add_response_header(response, name, value) == MHD_YES;
}

HttpReply refusal(unsigned short status, const std::string& reason) {
    return toReply(kit::Error{status, reason});
}

}  // namespace

ForeignExchange::ForeignExchange(ForeignDaemon& daemon, MHD_Connection* connection,
                                 char const* target)
    : daemon_(daemon), connection_(connection), client_(connectionOf(connection)), target_(target) {
    daemon_.exchanges.insert(this);
    daemon_.startDeadline(client_);  // does not throw: the set has a pointer to this object
}

ForeignExchange::~ForeignExchange() {
    daemon_.exchanges.erase(this);
    if (isSuspended_) {
        daemon_.loop()->remove(client_.socket);
    }
    if (comment_) {
        daemon_.loop()->cancel(*comment_);
    }
    cancelAll();
    if (isCounted_ && daemon_.terms().endRequest) {
        daemon_.terms().endRequest(client_.peer);
    }
    daemon_.startIdle(client_);
}

// An exception cannot pass through libmicrohttpd.
MHD_Result ForeignExchange::onInput(char const* method, char const* version, char const* bytes,
                                    std::size_t* size) noexcept {
    if (isAbandoned_) {
        return MHD_NO;
    }
    try {
        return accept(method, version, bytes, size);
    } catch (const std::exception&) {
        wire::reportOutOfMemory("a connection is closed: no memory for a request");
        return MHD_NO;
    }
}

MHD_Result ForeignExchange::accept(char const* method, char const* version, char const* bytes,
                                   std::size_t* size) {
    if (!std::exchange(hasBegun_, true)) {
        return begin(version);
    }
    if (*size > 0) {
        addBody(bytes, std::exchange(*size, 0));
        return MHD_YES;
    }
    return answer_ ? answer() : dispatch(method);
}

MHD_Result ForeignExchange::begin(std::string_view version) {
    CollectedFields collected;
    MHD_get_connection_values_n(connection_, MHD_HEADER_KIND, addField, &collected);
    if (collected.isIncomplete) {
        throw std::bad_alloc();
    }
    fields_ = std::move(collected.fields);
    if (collected.isFolded) {
        return queue(refusal(statuscodes::BAD_REQUEST, "a line of the header is folded"), true);
    }
    const kit::Result<Target> target = Target::parse(target_);
    if (target) {
        authority_ = target->authority;
    }
    if (const std::optional<HttpReply> refused = checkHead(version)) {
        return queue(*refused, true);
    }
    return MHD_YES;
}

// Returns the answer to a request that is refused before its body arrives.
std::optional<HttpReply> ForeignExchange::checkHead(std::string_view version) const {
    const EndpointOptions& options = daemon_.terms().options;
    if (const kit::Result<void> framing = checkFraming(fields_, version); !framing) {
        return toReply(framing.error());
    }
    const std::size_t headerSize =
        MHD_get_connection_info(connection_, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)->header_size;
    if (headerSize > options.headerBytes) {
        return refusal(HEADER_TOO_LARGE, "a request has at most " +
                                             std::to_string(options.headerBytes) +
                                             " bytes of header fields");
    }
    if (daemon_.isRefusing) {
        return refusal(statuscodes::SERVICE_UNAVAILABLE, "the endpoint stops");
    }
    if (!client_.isUnix()) {
        const kit::Result<void> origin =
            checkOrigin(fields_, authority_, daemon_.terms().port, options.allowsRemote);
        if (!origin) {
            return toReply(origin.error());
        }
    }
    const std::string length(findField(fields_, "Content-Length").value_or("0"));
    if (length.size() > 19 || std::strtoull(length.c_str(), nullptr, 10) > options.bodyBytes) {
        return refusal(CONTENT_TOO_LARGE,
                       "a body has at most " + std::to_string(options.bodyBytes) + " bytes");
    }
    return std::nullopt;
}

// The rest of a body in chunks that is too large is read, because libmicrohttpd cannot answer
// before its end. The deadline limits it.
void ForeignExchange::addBody(char const* bytes, std::size_t size) {
    if (!body_) {
        body_ = std::make_shared<std::string>();
    }
    isTooLarge_ = isTooLarge_ || body_->size() + size > daemon_.terms().options.bodyBytes;
    if (isTooLarge_) {
        body_->clear();
    } else {
        body_->append(bytes, size);
    }
}

MHD_Result ForeignExchange::dispatch(char const* method) {
    daemon_.stopDeadline(client_);
    if (isTooLarge_) {
        return queue(refusal(CONTENT_TOO_LARGE,
                             "a body has at most " +
                                 std::to_string(daemon_.terms().options.bodyBytes) + " bytes"),
                     true);
    }
    const HttpRequest request{method, target_, fields_, std::exchange(body_, nullptr)};
    if (const std::optional<HttpReply> page = toPageReply(request)) {
        return queue(*page, false);
    }
    const std::variant<ForeignCall, HttpReply> call = toCall(request);
    if (const auto* const refused = std::get_if<HttpReply>(&call)) {
        return queue(*refused, false);
    }
    return send(std::get<ForeignCall>(call));
}

MHD_Result ForeignExchange::send(const ForeignCall& call) {
    std::vector<IKovaApi*> services;
    if (const std::optional<HttpReply> refused = resolve(call, services)) {
        return queue(*refused, false);
    }
    if (daemon_.terms().beginRequest) {
        if (!daemon_.terms().beginRequest(client_.peer)) {
            return queue(refusal(TOO_MANY_REQUESTS, "too many requests of this peer are pending"),
                         false);
        }
        isCounted_ = true;
    }
    isStream_ = call.answer == ForeignCall::Answer::events;
    ForeignAnswer::Limits limits;
    limits.bytes = daemon_.terms().options.queuedBytes;
    answer_ = std::make_shared<ForeignAnswer>(call, limits, daemon_.loop(), [this] { onReady(); });
    sent_.reserve(call.parts.size());  // a request that was sent must be known, to be cancelled
    const kit::PeerScope scope(client_.peer);
    for (std::size_t i = 0; i < call.parts.size(); ++i) {
        void* const handle =
            services[i]->actionRequest(call.parts[i].request, answer_->makeHandler(i));
        sent_.push_back({services[i], handle});
    }
    return answer();
}

std::optional<HttpReply> ForeignExchange::resolve(const ForeignCall& call,
                                                  std::vector<IKovaApi*>& services) {
    for (const ForeignCall::Part& part : call.parts) {
        services.push_back(nullptr);
        if (std::optional<HttpReply> refused = findService(part, services.back())) {
            return refused;
        }
    }
    return std::nullopt;
}

std::optional<HttpReply> ForeignExchange::findService(const ForeignCall::Part& part,
                                                      IKovaApi*& service) const {
    const auto& all = daemon_.terms().services;
    const auto found = part.servicePath  ? all.find(*part.servicePath)
                       : all.size() == 1 ? all.begin()
                                         : all.end();
    if (found == all.end()) {
        std::string names;
        for (const auto& each : all) {
            names += (names.empty() ? "" : ", ") + each.first + '$';
        }
        return refusal(statuscodes::NOT_FOUND, "the services of this endpoint are: " + names);
    }
    const bool isOwn = client_.isUnix() && (client_.peer.uid == static_cast<long>(::geteuid()) ||
                                            client_.peer.uid == ROOT_USER);
    const bool isAllowed = isOwn || (!client_.isUnix() && daemon_.terms().options.inspectsOverTcp);
    if (isInspection(part.request.getPath()) && !isAllowed) {
        return refusal(statuscodes::FORBIDDEN,
                       "the inspection is for the endpoint's own user over a Unix socket");
    }
    service = found->second;
    return std::nullopt;
}

// Answers with the reply if there is one. Without a reply, begins the stream, or suspends the
// connection until there is a reply.
MHD_Result ForeignExchange::answer() {
    const bool isReady = answer_->isReady();
    if (answer_->hasFailed()) {
        throw std::bad_alloc();
    }
    if (isReady) {
        if (const std::optional<HttpReply> reply = answer_->takeReply()) {
            cancelAll();
            return queue(*reply, false);
        }
    }
    if (isStream_) {
        return queueStream();
    }
    suspend();
    return MHD_YES;
}

MHD_Result ForeignExchange::queue(const HttpReply& reply, bool closes) {
    auto payload = std::make_unique<Payload>(reply.body);
    const std::string_view bytes = bytesOf(*payload);
    MHD_Response* const response = MHD_create_response_from_buffer_with_free_callback_cls(
        bytes.size(), const_cast<char*>(bytes.empty() ? "" : bytes.data()), freePayload,
        payload.get());
    if (response == nullptr) {
        return MHD_NO;
    }
    static_cast<void>(payload.release());
    bool isWhole = true;
    for (const Field& field : reply.fields) {
        isWhole = isWhole && add(response, field.name.c_str(), field.value.c_str());
    }
    isWhole = isWhole && (!closes || add(response, "Connection", "close"));
    return queue(response, reply.status, isWhole);
}

// Queues a response that has all its fields.
MHD_Result ForeignExchange::queue(MHD_Response* response, unsigned short status, bool isWhole) {
    const MHD_Result result = isWhole ? MHD_queue_response(connection_, status, response) : MHD_NO;
    MHD_destroy_response(response);
    return result;
}

MHD_Result ForeignExchange::queueStream() {
    fields_ = Fields();  // a stream may be open for days
    MHD_Response* const response = MHD_create_response_from_callback(
        MHD_SIZE_UNKNOWN, OLD_CLIENT_BLOCK, &ForeignExchange::readStream, this, nullptr);
    if (response == nullptr) {
        return MHD_NO;
    }
    const bool isWhole = add(response, "Content-Type", EVENT_STREAM_TYPE.data()) &&
                         add(response, "Cache-Control", "no-cache");
    return queue(response, statuscodes::OK, isWhole);
}

// To end a stream that fails, shuts its socket down and returns a byte, which cannot be sent.
// libmicrohttpd 0.9.75 would never close a resumed connection that ends with
// MHD_CONTENT_READER_END_WITH_ERROR, because it does not watch the socket any more.
ssize_t ForeignExchange::readStream(void* self, std::uint64_t, char* buffer,
                                    std::size_t size) noexcept {
    auto& exchange = *static_cast<ForeignExchange*>(self);
    try {
        if (!exchange.isAbandoned_) {
            return exchange.fill(buffer, size);
        }
    } catch (const std::exception&) {
        wire::reportOutOfMemory("a connection is closed: no memory for its events");
    }
    ::shutdown(exchange.client_.socket, SHUT_RDWR);
    *buffer = '\n';
    return 1;
}

ssize_t ForeignExchange::fill(char* buffer, std::size_t size) {
    while (taken_ == text_.size()) {
        if (answer_->hasFailed()) {
            throw std::bad_alloc();
        }
        text_.clear();
        taken_ = 0;
        const bool continues = answer_->takeText(text_, STREAM_BLOCK);
        if (!continues) {
            return MHD_CONTENT_READER_END_OF_STREAM;
        }
        if (text_.empty() && !answer_->isReady()) {
            suspend();
            return 0;
        }
    }
    const std::size_t count = std::min(size, text_.size() - taken_);
    std::memcpy(buffer, text_.data() + taken_, count);
    taken_ += count;
    return static_cast<ssize_t>(count);
}

// Suspends the connection last, because nothing may throw after that.
void ForeignExchange::suspend() {
    if (isStream_) {
        comment_ = daemon_.loop()->after(daemon_.terms().commentInterval, [this] { onComment(); });
    }
    const bool isWatched = daemon_.loop()->add(client_.socket, EPOLLRDHUP, [this](std::uint32_t) {
        abandon();
        daemon_.run();
    });
    if (!isWatched) {
        throw std::bad_alloc();
    }
    isSuspended_ = true;
    MHD_suspend_connection(connection_);
}

// Stops watching the socket at once: when libmicrohttpd has closed the socket, the system may give
// its number to another one.
void ForeignExchange::resume() {
    if (!std::exchange(isSuspended_, false)) {
        return;
    }
    daemon_.loop()->remove(client_.socket);
    if (comment_) {
        daemon_.loop()->cancel(*std::exchange(comment_, std::nullopt));
    }
    MHD_resume_connection(connection_);
}

void ForeignExchange::onReady() {
    cancelEnough();
    if (isSuspended_) {
        resume();
        daemon_.run();  // may destroy this object
    }
}

void ForeignExchange::onComment() {
    comment_.reset();
    text_ = EVENT_COMMENT;
    taken_ = 0;
    resume();
    daemon_.run();
}

void ForeignExchange::abandon() {
    isAbandoned_ = true;
    cancelAll();
    resume();
}

// Cancels the requests of which no further value is wanted.
void ForeignExchange::cancelEnough() {
    for (std::size_t i = 0; i < sent_.size(); ++i) {
        if (answer_->isEnough(i) && !answer_->hasEnded(i) &&
            !std::exchange(sent_[i].isCancelled, true)) {
            sent_[i].service->cancelRequest(sent_[i].handle);
        }
    }
}

void ForeignExchange::cancelAll() noexcept {
    if (!answer_) {
        return;
    }
    answer_->close();
    for (std::size_t i = 0; i < sent_.size(); ++i) {
        if (!answer_->hasEnded(i) && !std::exchange(sent_[i].isCancelled, true)) {
            sent_[i].service->cancelRequest(sent_[i].handle);
        }
    }
}

}  // namespace kova::http::detail
