#include "Console.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iterator>
#include <sstream>
#include <utility>
#include <vector>

#include "kova/core/SemVer.h"
#include "kova/core/headers.h"
#include "kova/core/tracing.h"
#include "kova/kit/Describe.h"
#include "kova/kit/Locators.h"

namespace device {

namespace kit = kova::kit;
using Texts = std::vector<std::string>;

namespace {

constexpr char const* REQUESTS[] = {"retrieve", "watch", "update", "insert", "delete"};
constexpr std::chrono::seconds PATIENCE(10);
constexpr std::chrono::milliseconds NO_LIMIT(0);

// Parses a text that consists only of decimal digits; returns nothing for any other text.
std::optional<unsigned long> numberOf(const std::string& text) {
    unsigned long number = 0;
    char const* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool isWhole = read.ec == std::errc() && read.ptr == end;
    return isWhole ? std::optional<unsigned long>(number) : std::nullopt;
}

}  // namespace

Console::Console(kova::IKovaApi& service, std::string servicePath, Journal& journal,
                 std::function<bool()> interrupted)
    : servicePath_(std::move(servicePath)),
      journal_(journal),
      interrupted_(std::move(interrupted)),
      client_(service, {servicePath_, kova::tracing::getTraceClientId(), mimeType_, NO_LIMIT}) {}

char const* Console::help() {
    return R"(list                      list the resources of the service with their locators
retrieve PATH             read a resource: /, /system, /system/memory, /store, /clock
watch PATH                read a resource as a stream of values: /system/load, /clock
retrieve /clock/in TIME   read the time after a duration: "P0000-00-00T00:00:01"
retrieve /about/request   read what the service receives with a request
watch /volume             see each value of the volume: update /volume {"level": 55}
retrieve /scan "FOLDER"   count the files below a folder, with progress
cancel [NUMBER]           cancel a request (default: the latest pending one)
update PATH JSON          set a value or replace it: update /store/volume 7
insert PATH JSON          add a value that does not exist yet
delete PATH               remove a value
accept json|binary        select the format of responses
wait [COUNT]              wait for COUNT events (default: 1) after the latest request or wait, at
                          most ten seconds
shutdown                  cancel all requests, and refuse further ones
help, quit

PATH can also be a locator: kova:/device$/system/memory
)";
}

bool Console::connect(const std::string& version) {
    const auto offered = client_.retrieve<Texts>("/about/versions").get(PATIENCE);
    const auto chosen = kova::semver::getMostCompatible(version, offered.valueOr({}));
    const std::string outcome =
        (chosen ? "interface " + *chosen : "no interface") + " serves a client built for " +
        version +
        (offered ? " (offered: " + *kit::plainText(kit::toPayload(*offered).orThrow())
                 : " (" + offered.error().toString()) +
        ")";
    const std::string line = "> connect to " + servicePath_ + ": " + outcome;
    chosen ? journal_.say(line) : journal_.fail(line, outcome, exitstatus::NOT_STARTED);
    return chosen.has_value();
}

bool Console::execute(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    std::string argument;
    std::string rest;
    words >> word >> argument >> std::ws;
    std::getline(words, rest);
    const std::optional<unsigned long> number = numberOf(argument);
    const bool mayBeCount = number || argument.empty();
    if (word.empty() || word[0] == '#') {
        journal_.say(line);
    } else if (std::find(std::begin(REQUESTS), std::end(REQUESTS), word) != std::end(REQUESTS)) {
        request(word, argument, rest);
    } else if (word == "list") {
        start(client_.makeDraft(kit::command::retrieve, "/", kova::Payload()), true);
    } else if (word == "cancel" && mayBeCount) {
        cancel(number);
    } else if (word == "wait" && mayBeCount) {
        journal_.awaitEvents(number.value_or(1), interrupted_);
    } else if (word == "cancel" || word == "wait") {
        journal_.complain(word == "wait" ? "wait, or wait COUNT" : "cancel, or cancel NUMBER",
                          exitstatus::MISUSED);
    } else if (word == "accept") {
        accept(argument);
    } else if (word == "help") {
        journal_.say(help());
    } else if (word == "shutdown") {
        journal_.say("> shutdown");
        shutdown();
    } else if (word != "quit") {
        journal_.complain("there is no command '" + word +
                              "'; there are: list, retrieve, watch, cancel, update, insert, "
                              "delete, accept, wait, help, shutdown, quit",
                          exitstatus::MISUSED);
    }
    return word != "quit";
}

void Console::request(const std::string& word, const std::string& address,
                      const std::string& json) {
    const auto path = kit::pathOf(address, servicePath_);
    if (!path) {
        journal_.complain(path.error().message, exitstatus::MISUSED);
        return;
    }
    const bool watching = word == "watch";
    kit::CallDraft draft =
        client_.makeDraft(watching ? "retrieve" : word, *path,
                          json.empty() ? kova::Payload() : kova::Payload::createFromJSON(json));
    if (watching) {
        kova::headers::appendResponseSemantic(draft.request, kova::headers::PERSISTENT_STREAM);
    }
    start(std::move(draft), false);
}

void Console::start(kit::CallDraft draft, bool isList) {
    hasPending();  // forgets the calls that have ended
    const unsigned long number = ++lastNumber_;
    const std::string label = "#" + std::to_string(number) + " ";
    draft.request.setMimeType(mimeType_);
    journal_.say("> " + label + (isList ? "list " + servicePath_ : kit::describe(draft.request)));
    journal_.resetCount();
    draft.onValue = [this, label, isList](const kova::Response& value) {
        return show(label, value, isList);
    };
    draft.onProgress = draft.onValue;
    draft.onEnd = [this, label](const kit::End& reached) { end(label, reached); };
    calls_[number] = draft.start();
}

// Prints a value. Fails if the list of resources is wanted and the value is something else.
kit::Result<void> Console::show(const std::string& label, const kova::Response& value,
                                bool isList) {
    std::string line = "  " + label + "next ";
    std::optional<std::string> payload = kit::plainText(value.getPayload());
    if (isList) {
        auto resources = kit::fromPayload<Texts>(value.getPayload());
        if (!resources) {
            return resources.error();
        }
        line += std::to_string(resources->size()) + " resources";
        for (std::string& resource : *resources) {
            resource = kit::locatorOf(servicePath_, resource);
            line += "\n      " + resource;
        }
        payload = kit::plainText(kit::toPayload(*resources).orThrow());
    } else {
        line += kit::describe(value);
    }
    payload ? journal_.show(line, *payload)
            : journal_.fail(line, "the payload cannot be read", exitstatus::FAILED);
    return {};
}

void Console::end(const std::string& label, const kit::End& end) {
    if (end.ok()) {
        journal_.show("  " + label + "completed", "");
    } else if (end.kind() == kit::End::Kind::failed) {
        journal_.fail("  " + label + "error " + kit::describe(end.response()),
                      end.error().toString(),
                      end.error().code < 500 ? exitstatus::REFUSED : exitstatus::FAILED);
    } else {
        const bool refused = end.kind() == kit::End::Kind::refused;
        const std::string reason = refused ? "refused: the console is shut down" : end.toString();
        journal_.fail("  " + label + reason, reason, exitstatus::FAILED);
    }
}

void Console::cancel(const std::optional<unsigned long>& number) {
    const auto call = !hasPending() ? calls_.end()
                      : number      ? calls_.find(*number)
                                    : std::prev(calls_.end());
    if (call == calls_.end()) {
        journal_.complain("nothing to cancel", exitstatus::ANSWERED);
        return;
    }
    const unsigned long cancelled = call->first;
    calls_.erase(call);  // no event is printed from here on
    journal_.say("> cancelled #" + std::to_string(cancelled));
}

void Console::accept(const std::string& type) {
    if (type != "json" && type != "binary") {
        journal_.complain("accept json, or accept binary", exitstatus::MISUSED);
        return;
    }
    mimeType_ = type == "json" ? kova::mimetypes::JSON_TYPE : kova::mimetypes::AXOBIN_TYPE;
    journal_.say("> answers are wanted as " + mimeType_);
}

bool Console::hasPending() {
    for (auto call = calls_.begin(); call != calls_.end();) {
        call = call->second.pending() ? std::next(call) : calls_.erase(call);
    }
    return !calls_.empty();
}

void Console::shutdown() {
    calls_.clear();
    client_.close(PATIENCE);
}

}  // namespace device
