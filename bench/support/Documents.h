#pragma once

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <string>

#include "support/Inputs.h"

namespace kova::bench {

/// @{
/// Returns the JSON text of a typical document of a service: a random record, or an object with an
/// array of them.
std::string record(Random& random);
std::string records(Random& random);
/// Returns the JSON text of polygons, as map services send them: pairs of coordinates with 15
/// decimals in nested arrays.
std::string polygons(Random& random);
/// Returns the JSON text of a mesh of triangles: long arrays of small integers, and of
/// single-precision numbers that are converted to doubles and printed.
std::string mesh(Random& random);
/// Returns the JSON text of short messages in several scripts, with their authors.
std::string timeline(Random& random);
/// Returns the JSON text of people whose names and addresses are not in ASCII.
std::string people(Random& random);
/// Returns the JSON text of events with prices and areas. Most of it is small integers.
std::string catalogue(Random& random);
/// @}

/// A kind of JSON document. Its root is an object.
struct DocumentKind {
    char const* name;
    std::string (*make)(Random& random);
    /// The number of nodes in the tree, containers included; 0 if its memory is not measured.
    std::size_t nodes;
};

constexpr std::size_t RECORDS = 3600;
constexpr std::size_t NODES_PER_RECORD = 20;
constexpr std::array<DocumentKind, 7> DOCUMENT_KINDS = {
    {{"300 B", record, NODES_PER_RECORD},
     {"1 MB", records, RECORDS* NODES_PER_RECORD + 2},
     {"polygons", polygons, 0},
     {"mesh", mesh, 60'004},
     {"timeline", timeline, 0},
     {"people", people, 0},
     {"catalogue", catalogue, 0}}};

/// Returns the JSON text of a document.
inline std::string document(const DocumentKind& kind) {
    Random random;
    return kind.make(random);
}

/// @{
/// Returns the name of a case with JSON.
inline std::string readCase(const DocumentKind& kind) {
    return std::string("JSON to tree, ") + kind.name;
}
inline std::string heapCase(const DocumentKind& kind) {
    return std::string("heap of the tree, ") + kind.name;
}
inline std::string writeCase(const DocumentKind& kind) {
    return std::string("tree to JSON, ") + kind.name;
}
/// @}
/// @{
/// Returns the name of a case with the binary format.
inline std::string toBinaryCase(const DocumentKind& kind) {
    return std::string("tree to binary, ") + kind.name;
}
inline std::string fromBinaryCase(const DocumentKind& kind) {
    return std::string("binary to tree, ") + kind.name;
}
/// @}

/// @{
/// The names of the cases in which a payload of 300 bytes is refused.
constexpr char const* REFUSED_JSON = "refused JSON, 300 B";
constexpr char const* REFUSED_BINARY = "refused binary, 300 B";
/// @}
/// Returns the JSON text of a record without its closing brace.
inline std::string brokenRecord() {
    std::string text = document(DOCUMENT_KINDS[0]);
    text.pop_back();
    return text;
}

/// Returns `count` results of `make()` with commas between them.
template <class Make>
std::string listOf(std::size_t count, Make make) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ",") + make();
    }
    return text;
}

/// Returns one of the texts.
template <std::size_t COUNT>
char const* oneOf(Random& random, char const* const (&texts)[COUNT]) {
    return texts[static_cast<std::size_t>(random.number(0, static_cast<int>(COUNT) - 1))];
}

inline std::string record(Random& random) {
    return fmt::format(
        R"({{"id":{},"name":"item {}","path":"/media/player/tracks/{}","active":{},)"
        R"("volume":{:.2f},"position":{{"lat":{:.6f},"lon":{:.6f}}},"tags":["a{}","grün","c"],)"
        R"("owner":null,"history":[{},{},{},{}],"note":"line one\nline two \"quoted\" end"}})",
        random.number(1, 1'000'000), random.number(1, 1'000'000), random.number(1, 9999),
        random.number(0, 1) == 1 ? "true" : "false", random.real(0, 100), random.real(-90, 90),
        random.real(-180, 180), random.number(0, 99), random.number(-1000, 1000),
        random.number(0, 100), random.number(0, 10), random.number(0, 100'000));
}

inline std::string records(Random& random) {
    return R"({"records":[)" + listOf(RECORDS, [&] { return record(random); }) + "]}";
}

inline std::string polygons(Random& random) {
    const auto point = [&] {
        return fmt::format("[{:.15f},{:.15f}]", random.real(-180, 180), random.real(-90, 90));
    };
    return R"({"type":"FeatureCollection","features":[)" +
           listOf(50,
                  [&] {
                      return fmt::format(
                          R"({{"type":"Feature","properties":{{"name":"area {}"}},)"
                          R"("geometry":{{"type":"Polygon","coordinates":[[{}]]}}}})",
                          random.number(1, 9999), listOf(300, point));
                  }) +
           "]}";
}

inline std::string mesh(Random& random) {
    const auto number = [&](double most) {
        return fmt::format("{}", double{static_cast<float>(random.real(-most, most))});
    };
    const auto index = [&] { return std::to_string(random.number(0, 9999)); };
    return fmt::format(R"({{"positions":[{}],"normals":[{}],"indices":[{}]}})",
                       listOf(18'000, [&] { return number(10); }),
                       listOf(18'000, [&] { return number(1); }), listOf(24'000, index));
}

inline std::string timeline(Random& random) {
    constexpr char const* MESSAGES[] = {
        "今日は朝から雨が降っています。傘を忘れないでください！ http://example.com/a1b2c3",
        "新しいプレーヤーが届きました。音がとても良いです #音楽 #レビュー",
        "Сегодня вечером концерт в парке, начало в семь часов. Приходите все!",
        "الحفلة غدًا في الساعة السابعة مساءً، لا تتأخروا",
        "오늘 저녁에 새 앨범을 들었습니다. 정말 좋네요 ♪",
        "Zürich über Köln nach Århus: schöne Grüße von unterwegs 🚂🎵",
        "Waiting for the train, listening to the new record again."};
    constexpr char const* NAMES[] = {"佐藤 さくら", "Иван Петров",   "محمد علي",
                                     "김민준",      "Jürgen Müller", "Ann Smith"};
    return R"({"statuses":[)" +
           listOf(1500,
                  [&] {
                      return fmt::format(
                          R"({{"id":{0},"id_str":"{0}","text":"{1}\n{2}","truncated":false,)"
                          R"("reply_to":null,"user":{{"id":{3},"name":"{4}","description":"{5}",)"
                          R"("followers":{6},"verified":{7}}},"retweets":{8},"lang":"ja"}})",
                          random.number(100'000'000, 999'999'999), oneOf(random, MESSAGES),
                          oneOf(random, MESSAGES), random.number(1, 99'999'999),
                          oneOf(random, NAMES), oneOf(random, MESSAGES), random.number(0, 5000),
                          random.number(0, 1) == 1 ? "true" : "false", random.number(0, 99));
                  }) +
           "]}";
}

inline std::string people(Random& random) {
    constexpr char const* FIRST[] = {"Анна", "Борис", "Виктория", "Žofie", "Łukasz",  "Søren",
                                     "José", "Zoë",   "Ðorđe",    "Emma",  "Γιώργος", "Νίκη"};
    constexpr char const* LAST[] = {"Кузнецова", "Соловьёв", "Dvořáková",    "Wójcik",  "Jørgensen",
                                    "Núñez",     "Brontë",   "Παπαδόπουλος", "Williams"};
    constexpr char const* STREETS[] = {"улица Ленина", "náměstí Míru", "aleja Róż",  "Sønder Allé",
                                       "Calle Peñón",  "High Street",  "οδός Αθηνάς"};
    return R"({"result":[)" +
           listOf(
               3000,
               [&] {
                   const auto name = [&] {
                       return fmt::format("{} {}", oneOf(random, FIRST), oneOf(random, LAST));
                   };
                   return fmt::format(
                       R"({{"id":{},"age":{},"name":"{}","address":"{} {}","admin":{},)"
                       R"("mail":"user{}@example.com","friends":[{{"name":"{}"}},{{"name":"{}"}}]}})",
                       random.number(0, 9999), random.number(18, 99), name(),
                       oneOf(random, STREETS), random.number(1, 300),
                       random.number(0, 9) == 0 ? "true" : "false", random.number(1, 9999), name(),
                       name());
               }) +
           "]}";
}

inline std::string catalogue(Random& random) {
    const auto area = [&] {
        return fmt::format(R"({{"areaId":{},"blockIds":[]}})",
                           random.number(205'705'000, 205'706'000));
    };
    const auto price = [&] {
        return fmt::format(
            R"({{"amount":{},"audienceSubCategoryId":337100890,"seatCategoryId":{}}})",
            random.number(10, 300) * 50, random.number(338'937'000, 338'938'000));
    };
    return R"({"performances":[)" +
           listOf(
               700,
               [&] {
                   return fmt::format(
                       R"({{"eventId":{},"id":{},"logo":null,"name":null,"prices":[{}],)"
                       R"("seatCategories":[{{"areas":[{}],"seatCategoryId":{}}}],"start":{}000}})",
                       random.number(138'586'000, 138'587'000),
                       random.number(339'887'000, 339'888'000), listOf(3, price), listOf(12, area),
                       random.number(338'937'000, 338'938'000),
                       random.number(1'300'000'000, 1'400'000'000));
               }) +
           "]}";
}

}  // namespace kova::bench
