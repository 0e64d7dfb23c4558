#include "Console.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "Numbers.h"
#include "kova/core/headers.h"

namespace device {

namespace {

constexpr char const* REQUESTS[] = {"retrieve", "watch", "update", "insert", "delete"};

/// Removes the first word from the line and returns it.
std::string takeWord(std::string& line) {
    constexpr char const* BLANKS = " \t";
    line.erase(0, line.find_first_not_of(BLANKS));
    std::string word = line.substr(0, line.find_first_of(BLANKS));
    line.erase(0, line.find_first_not_of(BLANKS, word.size()));
    return word;
}

}  // namespace

char const* Console::help() {
    return "list                  list the resources of the service with their locators\n"
           "retrieve PATH         read a resource: /, /system, /system/memory, /store, /clock\n"
           "watch PATH            read a resource as a stream of values: /system/load, /clock\n"
           "retrieve /clock/in \"P0000-00-00T00:00:01\"\n"
           "                      read the time after a duration\n"
           "retrieve /about/request\n"
           "                      read what the service receives with a request\n"
           "watch /volume         see each value of the volume: update /volume {\"level\": 55}\n"
           "retrieve /scan \"FOLDER\"\n"
           "                      count the files below a folder, with progress\n"
           "cancel [NUMBER]       cancel a request (default: the latest pending one)\n"
           "update PATH JSON      set a value or replace it: update /store/volume 7\n"
           "insert PATH JSON      add a value that does not exist yet\n"
           "delete PATH           remove a value\n"
           "accept json|binary    select the format of responses\n"
           "wait [COUNT]          wait for COUNT events (default: 1) after the latest request or "
           "wait,\n"
           "                      at most ten seconds\n"
           "shutdown              shut the service down\n"
           "help, quit\n\n"
           "PATH can also be a locator: kova:/device$/system/memory\n";
}

bool Console::execute(const std::string& line) {
    std::string rest = line;
    const std::string word = takeWord(rest);
    std::string arguments = rest;
    const std::string argument = takeWord(arguments);
    const std::optional<unsigned long> number = numberOf(argument);
    if (word.empty() || word[0] == '#') {
        client_.say(line);
    } else if (std::find(std::begin(REQUESTS), std::end(REQUESTS), word) != std::end(REQUESTS)) {
        ask(word, std::move(rest));
    } else if (word == "list") {
        client_.list(mimeType_);
    } else if (word == "cancel") {
        number || argument.empty() ? client_.cancel(number)
                                   : client_.refuse("cancel, or cancel NUMBER");
    } else if (word == "wait") {
        number || argument.empty() ? client_.wait(number.value_or(1))
                                   : client_.refuse("wait, or wait COUNT");
    } else if (word == "accept") {
        accept(argument);
    } else if (word == "help") {
        client_.say(help());
    } else if (word == "shutdown") {
        client_.say("> shutdown");
        client_.shutdown();
    } else if (word != "quit") {
        client_.refuse("there is no command '" + word +
                       "'; there are: list, retrieve, watch, cancel, update, insert, delete, "
                       "accept, wait, help, shutdown, quit");
    }
    return word != "quit";
}

void Console::ask(const std::string& command, std::string rest) {
    const auto path = client_.address().read(takeWord(rest));
    if (!path) {
        client_.refuse(path.error().message);
        return;
    }
    const bool watching = command == "watch";
    kova::Request request(watching ? "retrieve" : command, *path,
                          rest.empty() ? kova::Payload() : kova::Payload::createFromJSON(rest));
    request.setMimeType(mimeType_);
    if (watching) {
        kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
    }
    client_.send(std::move(request));
}

void Console::accept(const std::string& type) {
    if (type != "json" && type != "binary") {
        client_.refuse("accept json, or accept binary");
        return;
    }
    mimeType_ = type == "json" ? kova::mimetypes::JSON_TYPE : kova::mimetypes::AXOBIN_TYPE;
    client_.say("> answers are wanted as " + mimeType_);
}

}  // namespace device
