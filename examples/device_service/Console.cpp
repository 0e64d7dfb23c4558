#include "Console.h"

#include <optional>
#include <utility>

#include "Numbers.h"
#include "kova/core/Commands.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/headers.h"

namespace device {

namespace {

/// Cuts the first word off the line.
std::string takeWord(std::string& line) {
    constexpr char const* BLANKS = " \t";
    line.erase(0, line.find_first_not_of(BLANKS));
    std::string word = line.substr(0, line.find_first_of(BLANKS));
    line.erase(0, line.find_first_not_of(BLANKS, word.size()));
    return word;
}

}  // namespace

Console::Console(Client& client) : client_(client), mimeType_(kova::mimetypes::JSON_TYPE) {}

char const* Console::help() {
    return "list                  what the service has, each with its locator\n"
           "retrieve PATH         ask for what is there: /, /system, /system/memory, /store, "
           "/clock\n"
           "watch PATH            the same as a stream of fresh values: /system/load, /clock\n"
           "retrieve /clock/in \"P0000-00-00T00:00:01\"\n"
           "                      ask for the time when a duration has passed\n"
           "retrieve /about/request\n"
           "                      ask what the service sees of a request\n"
           "cancel [NUMBER]       end a stream, by default the latest\n"
           "update PATH JSON      put a value in place of another: update /store/volume 7\n"
           "insert PATH JSON      put a value where nothing is yet\n"
           "delete PATH           take a value out\n"
           "accept json|binary    the format in which answers are wanted\n"
           "wait [COUNT]          wait for so many more events (1), ten seconds at most\n"
           "shutdown              shut the service down\n"
           "help, quit\n\n"
           "A PATH may be written as a locator: kova:/device$/system/memory\n";
}

bool Console::execute(const std::string& line) {
    std::string rest = line;
    const std::string word = takeWord(rest);
    if (word.empty() || word[0] == '#') {
        client_.say(line);
    } else if (word == "quit") {
        return false;
    } else if (word == "help") {
        client_.say(help());
    } else if (word == "list") {
        client_.list(mimeType_);
    } else if (word == "cancel") {
        cancel(takeWord(rest));
    } else if (word == "wait") {
        wait(takeWord(rest));
    } else if (word == "accept") {
        accept(takeWord(rest));
    } else if (word == "shutdown") {
        client_.say("> shutdown");
        client_.shutdown();
    } else {
        ask(word, rest);
    }
    return true;
}

void Console::ask(const std::string& command, const std::string& rest) {
    std::string payload = rest;
    std::string path;
    std::string reason;
    if (client_.address().read(takeWord(payload), path, reason)) {
        client_.say(reason);
        return;
    }
    const bool watching = command == "watch";
    kova::Request request(
        watching ? kova::commands::RETRIEVE : command, path,
        payload.empty() ? kova::Payload() : kova::Payload::createFromJSON(payload));
    request.setMimeType(mimeType_);
    if (watching) {
        kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
    }
    client_.send(std::move(request));
}

void Console::cancel(const std::string& which) {
    const std::optional<unsigned long> number = numberOf(which);
    if (number || which.empty()) {
        client_.cancel(number);
    } else {
        client_.say("nothing to cancel");
    }
}

void Console::wait(const std::string& count) {
    const std::optional<unsigned long> number =
        count.empty() ? std::optional<unsigned long>(1) : numberOf(count);
    if (number) {
        client_.wait(*number);
    } else {
        client_.say("wait, or wait COUNT");
    }
}

void Console::accept(const std::string& type) {
    if (type == "json") {
        mimeType_ = kova::mimetypes::JSON_TYPE;
    } else if (type == "binary") {
        mimeType_ = kova::mimetypes::AXOBIN_TYPE;
    } else {
        client_.say("accept json, or accept binary");
        return;
    }
    client_.say("> answers are wanted as " + mimeType_);
}

}  // namespace device
