// A request through a broker whose answer is hostile bytes. The response handler gets values, then
// at most one end, and nothing after it or after a cancellation; a message that is missing or
// arrives twice ends the request; no more credit is granted than values have arrived. The first
// byte is the credit of the request, and whether the response handler wants only one value. Then
// follow messages: any bytes, a frame with a number near the expected one, or records in the
// expected frame.
#include <memory>
#include <optional>
#include <string>

#include "nats/Frames.h"
#include "nats/client/ClientStream.h"
#include "support/Fuzz.h"
#include "wire/Records.h"

using namespace fuzz;
using namespace kova;
using namespace kova::nats::detail;

namespace {

struct Outcome {
    std::uint64_t values = 0;
    bool hasEnded = false;
    bool hasErrorOfTheClient = false;
    bool isDestroyed = false;
};

class Handler : public IResponseHandler<Response> {
public:
    Handler(Outcome& outcome, bool wantsOne) : outcome_(outcome), wantsOne_(wantsOne) {}
    ~Handler() override { outcome_.isDestroyed = true; }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    bool onNext(const Response&) override {
        require(!outcome_.hasEnded, "no value follows the end");
        require(!wantsOne_ || outcome_.values == 0, "no value follows the last one that is wanted");
        ++outcome_.values;
        return wantsOne_;
    }
    void onError(const Response& error) override {
        require(!wantsOne_ || outcome_.values == 0, "a receiver that wants no more is completed");
        outcome_.hasErrorOfTheClient = error.getStatusCode() == 502 || error.getStatusCode() == 503;
        end();
    }
    void onCompleted() override { end(); }

private:
    void end() {
        require(!outcome_.hasEnded, "a request has one end");
        outcome_.hasEnded = true;
    }

    Outcome& outcome_;
    const bool wantsOne_;
};

void checkReadAgain(const Frame& frame, const std::string& bytes) {
    std::string again;
    appendFrame(again, frame.kind, frame.number, frame.heartbeat);
    requireEqual(again.append(frame.rest), bytes, "a round trip does not change a message");
}

/// Returns the frame of a message. Nothing means that a reader must skip it.
kit::Result<std::optional<Frame>> read(const std::string& bytes) {
    kit::Result<std::optional<Frame>> frame = readFrame(bytes);
    if (!frame) {
        require(frame.error().code == 400 && !frame.error().message.empty() &&
                    lacks(frame.error().message, "\r\n"),
                "a failure has the code 400 and a line of text");
    } else if (*frame) {
        checkReadAgain(**frame, bytes);
    }
    return frame;
}

class Client {
public:
    explicit Client(std::uint8_t selection)
        : window_(1U + (selection & 7U)),
          stream_(std::make_unique<Handler>(outcome_, (selection & 8U) != 0), nullptr, "request",
                  window_) {}

    void receive(Input& input) {
        switch (input.byte() & 3U) {
            case 0:
                onMessage(input.take(input.byte()));
                break;
            case 1:
                onMessage(nearFrame(input));
                break;
            case 2:
                onMessage(nextFrame(input));
                break;
            default:
                stream_.drop();
                isDropped_ = true;
                break;
        }
        check();
    }

private:
    std::string nearFrame(Input& input) const {
        std::string bytes;
        const auto kind = static_cast<FrameKind>(input.byte());
        const std::uint64_t before = received_ > 0 ? received_ - 1 : 0;
        appendFrame(bytes, kind, before + (input.byte() & 3U));
        return bytes + input.take(input.byte());
    }
    std::string nextFrame(Input& input) {
        std::string bytes;
        appendFrame(bytes, FrameKind::answer, received_ + 1);
        for (unsigned left = input.byte() & 7U; left > 0; --left) {
            const std::uint8_t selection = input.byte();
            const bool isFirst =
                (selection & 64U) != 0 || (received_ == 0 && bytes.size() == FRAME_SIZE);
            if ((selection & 3U) == 3) {
                wire::appendCompleted(bytes, isFirst);
                continue;
            }
            const auto kind =
                (selection & 3U) == 2 ? wire::RecordKind::error : wire::RecordKind::next;
            const Response response(selection,
                                    Payload::createFromString(input.take(selection >> 4U)));
            require(wire::appendEvent(bytes, kind, response, isFirst).ok(), "a record is written");
        }
        return bytes;
    }

    void onMessage(const std::string& bytes) {
        const kit::Result<std::optional<Frame>> frame = read(bytes);
        const bool wasEnded = stream_.isEnded();
        if (!frame) {
            stream_.refuse(frame.error().message);
        } else if (*frame) {
            stream_.onFrame(**frame);
            checkOrder(**frame, wasEnded);
        }
    }
    void checkOrder(const Frame& frame, bool wasEnded) {
        if (wasEnded) {
            return;
        }
        const bool isNext = frame.kind == FrameKind::answer && frame.number == received_ + 1;
        const bool isOld = frame.kind == FrameKind::alive && frame.number <= received_;
        received_ += isNext ? 1 : 0;
        require(isNext || isOld || (stream_.isEnded() && outcome_.hasErrorOfTheClient),
                "a message out of its order ends the request");
    }
    void check() {
        const std::uint32_t credit = stream_.takeCredit();
        granted_ += credit;
        require(granted_ <= outcome_.values, "each value is granted again once");
        require(stream_.takeCredit() == 0, "a value is granted again once");
        if (stream_.isEnded()) {
            require(credit == 0, "an answer that has ended needs no credit");
            require(outcome_.isDestroyed, "the response handler is destroyed at the end");
            require(outcome_.hasEnded || isDropped_, "only a cancelled request has no end");
        } else {
            require(!stream_.isComplete() && !outcome_.hasEnded, "an end is the last event");
            require(2 * (outcome_.values - granted_) < window_ + 1,
                    "half of the window is granted in time");
        }
    }

    const std::uint32_t window_;
    Outcome outcome_;
    ClientStream stream_;
    std::uint64_t received_ = 0;
    std::uint64_t granted_ = 0;
    bool isDropped_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    Client client(input.byte());
    while (!input.isEmpty()) {
        client.receive(input);
    }
    static_cast<void>(takeReports());
    return 0;
}
