#include "Console.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "Numbers.h"
#include "kova/core/Commands.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/headers.h"

namespace device {

namespace {

/// Removes the first word from the line and returns it.
std::string takeWord(std::string& line) {
    constexpr char const* BLANKS = " \t";
    line.erase(0, line.find_first_not_of(BLANKS));
    std::string word = line.substr(0, line.find_first_of(BLANKS));
    line.erase(0, line.find_first_not_of(BLANKS, word.size()));
    return word;
}

std::string firstWord(std::string line) {
    return takeWord(line);
}

}  // namespace

Console::Console(Client& client) : client_(client), mimeType_(kova::mimetypes::JSON_TYPE) {}

char const* Console::help() {
    return "list                  list the resources of the service with their locators\n"
           "retrieve PATH         read a resource: /, /system, /system/memory, /store, /clock\n"
           "watch PATH            read a resource as a stream of values: /system/load, /clock\n"
           "retrieve /clock/in \"P0000-00-00T00:00:01\"\n"
           "                      read the time after a duration\n"
           "retrieve /about/request\n"
           "                      read what the service receives with a request\n"
           "cancel [NUMBER]       cancel a request (default: the latest pending one)\n"
           "update PATH JSON      set a value or replace it: update /store/volume 7\n"
           "insert PATH JSON      add a value that does not exist yet\n"
           "delete PATH           remove a value\n"
           "accept json|binary    select the format of responses\n"
           "wait [COUNT]          wait for COUNT more events (default: 1), at most ten seconds\n"
           "shutdown              shut the service down\n"
           "help, quit\n\n"
           "PATH can also be a locator: kova:/device$/system/memory\n";
}

const Console::Word Console::WORDS[] = {
    {"list", &Console::list},     {"retrieve", &Console::ask},      {"watch", &Console::ask},
    {"cancel", &Console::cancel}, {"update", &Console::ask},        {"insert", &Console::ask},
    {"delete", &Console::ask},    {"accept", &Console::accept},     {"wait", &Console::wait},
    {"help", &Console::showHelp}, {"shutdown", &Console::shutdown}, {"quit", &Console::quit}};

std::string Console::knownWords() {
    std::string names;
    for (const Word& word : WORDS) {
        names += (names.empty() ? "" : ", ") + std::string(word.name);
    }
    return names;
}

bool Console::execute(const std::string& line) {
    std::string rest = line;
    const std::string name = takeWord(rest);
    if (name.empty() || name[0] == '#') {
        client_.say(line);
        return true;
    }
    const auto* const word = std::find_if(std::begin(WORDS), std::end(WORDS),
                                          [&](const Word& known) { return known.name == name; });
    if (word == std::end(WORDS)) {
        client_.refuse("there is no command '" + name + "'; there are: " + knownWords());
    } else {
        (this->*word->run)(name, rest);
    }
    return !quits_;
}

void Console::list(const std::string& /*name*/, const std::string& /*rest*/) {
    client_.list(mimeType_);
}

void Console::shutdown(const std::string& /*name*/, const std::string& /*rest*/) {
    client_.say("> shutdown");
    client_.shutdown();
}

void Console::showHelp(const std::string& /*name*/, const std::string& /*rest*/) {
    client_.say(help());
}

void Console::quit(const std::string& /*name*/, const std::string& /*rest*/) {
    quits_ = true;
}

void Console::ask(const std::string& command, const std::string& rest) {
    std::string payload = rest;
    std::string path;
    std::string reason;
    if (client_.address().read(takeWord(payload), path, reason)) {
        client_.refuse(reason);
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

void Console::cancel(const std::string& /*name*/, const std::string& rest) {
    const std::string which = firstWord(rest);
    const std::optional<unsigned long> number = numberOf(which);
    if (number || which.empty()) {
        client_.cancel(number);
    } else {
        client_.refuse("cancel, or cancel NUMBER");
    }
}

void Console::wait(const std::string& /*name*/, const std::string& rest) {
    const std::string count = firstWord(rest);
    const std::optional<unsigned long> number =
        count.empty() ? std::optional<unsigned long>(1) : numberOf(count);
    if (number) {
        client_.wait(*number);
    } else {
        client_.refuse("wait, or wait COUNT");
    }
}

void Console::accept(const std::string& /*name*/, const std::string& rest) {
    const std::string type = firstWord(rest);
    if (type == "json") {
        mimeType_ = kova::mimetypes::JSON_TYPE;
    } else if (type == "binary") {
        mimeType_ = kova::mimetypes::AXOBIN_TYPE;
    } else {
        client_.refuse("accept json, or accept binary");
        return;
    }
    client_.say("> answers are wanted as " + mimeType_);
}

}  // namespace device
