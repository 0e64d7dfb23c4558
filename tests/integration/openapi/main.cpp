// Writes the OpenAPI documents of a few services, one document per line. `check.js` validates them.
#include <chrono>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"

namespace kova::kit::test {
namespace {

enum class Mode { off, on };
KOVA_ENUM(Mode, off, on)

struct Folder {
    std::string name;
    std::vector<Folder> folders;
};
KOVA_FIELDS(Folder, name, folders)

struct Track {
    std::string title;
    std::optional<int> year;
    Mode mode = Mode::off;
    std::variant<Folder, bool> place;
    std::chrono::milliseconds length{0};
};
KOVA_FIELDS(Track, title, year, mode, place, optional(count(length)), strict())

struct Strange {
    std::map<std::string, Payload> values;
};
KOVA_FIELDS(Strange, named("\"<script>\xC3\xA4 /~"), as("\"<script>'\xC3\xA4", values))

void print(const Payload& document) {
    std::cout.write(reinterpret_cast<char const*>(document.data()),
                    static_cast<std::streamsize>(document.size()));
    std::cout << '\n';
}

void print(ServiceBuilder& builder) {
    const auto service = builder.inspect().build();
    print(Client(*service).retrieve<Payload>("/.kova/openapi").get().orThrow());
}

void addPlaylist(Resource& playlist) {
    playlist.on(command::retrieve, "", [](const Ask&) { return std::vector<Track>(); });
    playlist.on(command::retrieve, "{id:uint}", [](const Ask&, unsigned) { return Track(); });
    playlist.on(command::retrieve, "{name}",
                [](const Ask&, const std::string&) { return Track(); });
    playlist.on(command::update, "{id:uint}", [](const Ask&, unsigned, const Track&) {});
    playlist.on(command::insert, "", [](const Ask&, const Track& track) { return created(track); });
    // Two names that are shown as the same text.
    playlist.on(command::remove, "{\xFE:int}/{\xFF:rest}",
                [](const Ask&, int, const std::string&) {});
    playlist.on("scan", "folders", [](const Ask&, const Folder& folder) { return folder; });
}

void printEmpty() {
    ServiceBuilder builder;
    print(builder);
}

void printPlayer() {
    Resource playlist;
    addPlaylist(playlist);
    ServiceBuilder builder;
    builder.name("player").version("1.2.0").mount("/playlist", playlist).mount("/", playlist);
    print(builder);
}

void printHostile() {
    Resource strange;
    strange.on(command::insert, "\"<script>' %\xFF/{\"<b>\xFF}",
               [](const Ask&, const std::string&, const Strange& body) { return body; });
    ServiceBuilder builder;
    builder.name("\"<script>\xFF").version("\x01'").mount("/\xC3\xA4?#{}\\\"", strange);
    print(builder);
}

void printWithoutOperations() {
    const auto inner = ServiceBuilder().build();
    ServiceBuilder builder;
    builder.name("outer").mount("/inner", *inner).slot("/usb");
    print(builder);
}

void printStreams() {
    Observable<Track> state;
    state.onWrite([](const Track&) -> Result<void> { return {}; });
    ServiceBuilder builder;
    builder.name("streams").version("1").mount("/state", state);
    print(builder);
}

}  // namespace
}  // namespace kova::kit::test

int main() {
    using namespace kova::kit::test;
    printEmpty();
    printPlayer();
    printHostile();
    printWithoutOperations();
    printStreams();
}
