// Uses the platform without the core: a digest, a random UUID and its text form, and parsed JSON.
#include <iostream>
#include <string>

#include "osal/SecureRandom.h"
#include "util/SHA1Engine.h"
#include "util/config/Dictionary.h"
#include "util/config/JSONParser.h"
#include "util/config/Scalars.h"
#include "zel/UUID.h"

int main() {
    util::SHA1Engine engine;
    engine.update("abc", 3);
    std::cout << static_cast<int>(engine.finish()[0]) << '\n';

    zel::UUID::Bytes bytes{};
    zel::UUID read;
    const bool random = !osal::SecureRandom(false).read(bytes.data(), bytes.size());
    const zel::UUID made(bytes, 4);
    std::cout << (random && !zel::UUID::tryParse(read, made.toString()) && read == made) << '\n';

    util::config::Dictionary* dictionary = nullptr;
    util::config::Array* array = nullptr;
    if (util::config::JSONParser(false).parseString(R"({"kind": "tree"})", &dictionary, &array)) {
        return 1;
    }
    // The library created the node; this program's type information must match it.
    std::string kind;
    const auto& node = dynamic_cast<const util::config::ValueString&>((*dictionary)["kind"]);
    std::cout << (node.get(kind) ? "unreadable" : kind) << '\n';
    delete dictionary;
}
