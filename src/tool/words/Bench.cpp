// The word bench: rate and latencies of a request.
#include <poll.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <utility>

#include "ExitStatus.h"
#include "JsonLine.h"
#include "Lane.h"
#include "PayloadInput.h"
#include "Report.h"
#include "Session.h"
#include "Table.h"
#include "Target.h"
#include "Text.h"
#include "Times.h"
#include "Words.h"
#include "kova/kit/Command.h"
#include "kova/kit/Fields.h"

namespace kova::tool {

namespace {

using Clock = LanePlan::Clock;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

// The interval between two checks for lost connections and open requests.
constexpr milliseconds ROUND{20};
// The longest value of an answer; a longer one is the error 502. Each open request may have one.
constexpr std::size_t LONGEST_ANSWER = std::size_t{16} * 1024 * 1024;
constexpr std::size_t MOST_CONNECTIONS = 1000;
constexpr std::size_t MOST_IN_FLIGHT = 10'000;
constexpr double HIGHEST_RATE = 10'000'000;

/// The parsed command line.
struct BenchOptions {
    ServiceOptions service;
    std::string path;
    std::string command = "get";
    PayloadInput payload;
    std::size_t connections = 1;
    std::size_t inFlight = 0;
    milliseconds duration{10'000};
    double rate = 0;
};

/// The latencies in microseconds. They have no value if no request was answered.
struct Latencies {
    double p50 = 0;
    double p90 = 0;
    double p99 = 0;
    double p999 = 0;
    double max = 0;
};
KOVA_FIELDS(Latencies, p50, p90, p99, as("p99.9", p999), max)

/// The printed result.
struct BenchView {
    std::string loop;
    std::uint64_t connections = 0;
    std::uint64_t inFlight = 0;
    double seconds = 0;
    std::optional<double> rate;
    std::uint64_t answered = 0;
    double perSecond = 0;
    std::map<std::string, std::uint64_t> errors;
    std::uint64_t open = 0;
    std::uint64_t unsent = 0;
    std::optional<std::string> lost;
    std::optional<Latencies> latencyUs;
};
KOVA_FIELDS(BenchView, loop, connections, inFlight, seconds, rate, answered, perSecond, errors,
            open, unsent, lost, latencyUs)

std::string_view commandOf(const std::string& word) {
    static const std::map<std::string, std::string_view> COMMANDS = {
        {"get", kit::command::retrieve},
        {"put", kit::command::update},
        {"insert", kit::command::insert},
        {"delete", kit::command::remove}};
    return COMMANDS.at(word);
}

/// A connection and its measurement.
struct Connection {
    std::unique_ptr<Lane> lane;  // destroyed last, because the session uses it
    std::unique_ptr<Session> session;
};

/// One measurement.
class Bench {
public:
    Bench(const Context& context, const BenchOptions& options)
        : context_(context), options_(options) {}

    int run();

private:
    ExitStatus connect(const Target& target, const Payload& body);
    ExitStatus connectOne(const Target& target, const Payload& body);
    void makeLanes(const Target& target, const Payload& body);
    kit::CallDraft draftOf(Session& session, const Target& target, const Payload& body) const;
    void waitUntil(Clock::time_point until);
    void measure();
    bool isOver() const;
    void print(const LaneResult& result) const;
    void printTable(const BenchView& view) const;
    ExitStatus statusOf(const LaneResult& result) const;
    bool hasRate() const { return options_.rate > 0; }
    std::size_t inFlight() const {
        return options_.inFlight != 0 ? options_.inFlight : hasRate() ? 64 : 1;
    }

    const Context& context_;
    const BenchOptions& options_;
    std::deque<Connection> connections_;
    Clock::time_point begin_;
    nanoseconds measured_{0};
    bool isInterrupted_ = false;
};

kit::CallDraft Bench::draftOf(Session& session, const Target& target, const Payload& body) const {
    kit::CallDraft draft =
        session.client().makeDraft(commandOf(options_.command), target.resource, body);
    headers::appendResponseSemantic(draft.request, headers::SINGLE_RESPONSE);
    return draft;
}

// Opens a connection and sends the first request, which is not measured.
ExitStatus Bench::connectOne(const Target& target, const Payload& body) {
    kit::ClientOptions options;
    options.deadline = options_.service.deadline;
    auto session = Session::open(target, context_, options, LONGEST_ANSWER);
    if (!session) {
        return reportOpen(context_, session.error());
    }
    connections_.push_back({nullptr, *std::move(session)});
    Session& opened = *connections_.back().session;
    return reportEnd(context_, target, opened.ask(draftOf(opened, target, body), {}).end);
}

ExitStatus Bench::connect(const Target& target, const Payload& body) {
    for (std::size_t count = 0; count < options_.connections; ++count) {
        if (const ExitStatus status = connectOne(target, body); status != DONE) {
            return status;
        }
    }
    return DONE;
}

// Spreads the intended starts of the connections over the interval between two requests of one
// connection.
void Bench::makeLanes(const Target& target, const Payload& body) {
    begin_ = Clock::now();
    LanePlan plan;
    plan.end = begin_ + options_.duration;
    plan.inFlight = inFlight();
    const nanoseconds step(hasRate() ? std::llround(1e9 / options_.rate) : 0);
    if (hasRate()) {
        plan.interval = std::max(step, nanoseconds(1)) * options_.connections;
    }
    std::size_t number = 0;
    for (Connection& connection : connections_) {
        plan.begin = begin_ + step * number++;
        Request request = draftOf(*connection.session, target, body).request;
        connection.lane =
            std::make_unique<Lane>(connection.session->service(), std::move(request), plan);
    }
}

// Waits for the time or Ctrl-C.
void Bench::waitUntil(Clock::time_point until) {
    const auto left = std::max(nanoseconds(until - Clock::now()), nanoseconds(0));
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec time{seconds.count(), (left - seconds).count()};
    pollfd source{context_.interrupt, POLLIN, 0};
    isInterrupted_ = ::ppoll(&source, 1, &time, nullptr) > 0;
}

bool Bench::isOver() const {
    return std::all_of(connections_.begin(), connections_.end(),
                       [](const Connection& connection) { return connection.lane->isOver(); });
}

// Sends until the end of the duration, and waits for the requests that are open then.
void Bench::measure() {
    const Clock::time_point end = begin_ + options_.duration;
    do {
        Clock::time_point next = std::min(Clock::now() + ROUND, end);
        for (Connection& connection : connections_) {
            next = std::min(next, connection.lane->pump());
        }
        waitUntil(next);
    } while (!isInterrupted_ && Clock::now() < end && !isOver());
    for (Connection& connection : connections_) {
        connection.lane->stop();
    }
    measured_ = std::min<nanoseconds>(Clock::now() - begin_, options_.duration);
    const bool isLimited = options_.service.deadline.count() != 0;
    const Clock::time_point last = Clock::now() + options_.service.deadline;
    while (!isInterrupted_ && !isOver() && (!isLimited || Clock::now() < last)) {
        waitUntil(Clock::now() + ROUND);
    }
}

std::string microseconds(double value) {
    const bool isLong = value >= 10'000;
    const double shown = isLong ? value / 1000 : value;
    const auto tenths = std::llround(shown * 10);
    return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) +
           (isLong ? " ms" : " us");
}

void Bench::printTable(const BenchView& view) const {
    std::vector<std::vector<std::string>> rows = {
        {"loop", hasRate()
                     ? "open: latency counts from the intended start"
                     : "closed: an answer starts the next request; --rate counts the waiting"},
        {"answered", std::to_string(view.answered) + " in " +
                         toText(std::chrono::duration_cast<milliseconds>(measured_))},
        {"rate", std::to_string(std::llround(view.perSecond)) + " per second"}};
    if (view.latencyUs) {
        const std::pair<char const*, double> shown[] = {{"p50", view.latencyUs->p50},
                                                        {"p90", view.latencyUs->p90},
                                                        {"p99", view.latencyUs->p99},
                                                        {"p99.9", view.latencyUs->p999},
                                                        {"max", view.latencyUs->max}};
        for (const auto& [name, value] : shown) {
            rows.push_back({name, microseconds(value)});
        }
    }
    for (const auto& [code, count] : view.errors) {
        rows.push_back({"error " + code, std::to_string(count)});
    }
    if (view.open != 0) {
        rows.push_back({"open", std::to_string(view.open) + " without an answer"});
    }
    if (view.unsent != 0) {
        rows.push_back({"unsent", std::to_string(view.unsent) + " that were due"});
    }
    tool::printTable(context_.out, rows);
}

void Bench::print(const LaneResult& result) const {
    BenchView view;
    view.loop = hasRate() ? "open" : "closed";
    view.connections = options_.connections;
    view.inFlight = inFlight();
    view.seconds = std::chrono::duration<double>(measured_).count();
    view.rate = hasRate() ? std::optional(options_.rate) : std::nullopt;
    view.answered = result.answered;
    // Answers may arrive after the time in which requests are sent.
    const std::chrono::duration<double> answering = result.lastAnswer - begin_;
    const double seconds = std::max(view.seconds, answering.count());
    view.perSecond = seconds > 0 ? static_cast<double>(result.answered) / seconds : 0;
    for (const auto& [code, count] : result.errors) {
        view.errors[std::to_string(code)] = count;
    }
    view.open = result.open;
    view.unsent = result.unsent;
    if (result.lost) {
        view.lost = visible(*result.lost);
    }
    if (result.answered != 0) {
        const auto at = [&result](double part) {
            return static_cast<double>(result.latencies.quantile(part)) / 1000;
        };
        view.latencyUs = Latencies{at(0.5), at(0.9), at(0.99), at(0.999), at(1)};
    }
    if (context_.out.isTerminal) {
        printTable(view);
    } else {
        context_.out.stream << jsonLineOf(view) << '\n';
    }
}

ExitStatus Bench::statusOf(const LaneResult& result) const {
    if (isInterrupted_) {
        return INTERRUPTED;
    }
    if (result.lost) {
        printError(context_, *result.lost);
        return NO_SERVICE;
    }
    if (!result.errors.empty()) {
        const unsigned short code = result.errors.begin()->first;
        printError(context_, "the service answered with errors", "the result has them by code");
        return exitStatusOf(kit::End(kit::End::Kind::failed, {code, ""}));
    }
    if (result.open != 0) {
        printError(context_, std::to_string(result.open) + " requests were not answered",
                   "--deadline is the time to wait for them");
        return TIMED_OUT;
    }
    return DONE;
}

int Bench::run() {
    const auto target = Target::ofResource(options_.path, options_.service.to);
    if (!target) {
        return misused(context_, target.error());
    }
    const auto body = readPayload(options_.payload, context_);
    if (!body) {
        return misused(context_, body.error());
    }
    if (const ExitStatus status = connect(*target, *body); status != DONE) {
        return status;
    }
    makeLanes(*target, *body);
    measure();
    LaneResult result;
    for (const Connection& connection : connections_) {
        result.add(connection.lane->result());
    }
    print(result);
    return statusOf(result);
}

void addLoad(CLI::App& word, BenchOptions& options) {
    word.add_option("--connections", options.connections, "the number of connections [1]")
        ->check(CLI::Range(std::size_t{1}, MOST_CONNECTIONS))
        ->type_name("N");
    word.add_option("--in-flight", options.inFlight,
                    "the open requests of a connection, at most [1, with --rate 64]")
        ->check(CLI::Range(std::size_t{1}, MOST_IN_FLIGHT))
        ->type_name("N");
    word.add_option("--rate", options.rate,
                    "the requests in a second of all connections; latencies count from the "
                    "intended starts. Without it, an answer starts the next request")
        ->check(CLI::Range(0.001, HIGHEST_RATE))
        ->type_name("N");
    const auto parse = [&options](const std::string& text) {
        const auto time = parseTime(text);
        if (!time || time->count() == 0) {
            throw CLI::ValidationError(time ? "the duration is not 0" : time.error().message);
        }
        options.duration = *time;
    };
    word.add_option_function<std::string>("--duration", parse, "the time to measure [10s]")
        ->type_name("TIME");
}

}  // namespace

void addBench(Words& words) {
    const auto options = std::make_shared<BenchOptions>();
    CLI::App& word = words.add(
        "bench",
        "Measures the rate and the latencies of a request. One request on each connection comes "
        "first, and is not measured",
        {"kova bench 'kova:/device$/system/memory' --duration 5s",
         "kova bench --to unix:player.sock /level --connections 4 --in-flight 16",
         "kova bench --to unix:player.sock /level --rate 1000 | jq .latencyUs",
         "kova bench --to unix:player.sock /level --command put --data 40"});
    word.add_option("PATH", options->path, "the resource: a path, a locator or an address")
        ->required()
        ->type_name("");
    word.add_option("--command", options->command, "get, put, insert or delete [get]")
        ->check(CLI::IsMember({"get", "put", "insert", "delete"}))
        ->type_name("WORD");
    word.add_option("--data", options->payload.text,
                    "the payload as JSON; - reads it from standard input")
        ->type_name("JSON");
    addLoad(word, *options);
    options->service.addTo(word);
    words.onSelected(word,
                     [options](const Context& context) { return Bench(context, *options).run(); });
}

}  // namespace kova::tool
