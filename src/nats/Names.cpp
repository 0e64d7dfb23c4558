#include "nats/Names.h"

#include <nats/nats.h>

#include <new>

namespace kova::nats::detail {

// libnats has no other function for unique names: an inbox is "_INBOX." and such a name.
std::string uniqueName() {
    natsInbox* inbox = nullptr;
    if (natsInbox_Create(&inbox) != NATS_OK) {
        throw std::bad_alloc();
    }
    const std::string text = inbox;
    natsInbox_Destroy(inbox);
    return text.substr(text.rfind('.') + 1);
}

std::string quotedIn(std::string_view text) {
    const std::size_t first = text.find('"');
    if (first == std::string_view::npos) {
        return {};
    }
    const std::size_t last = text.find('"', first + 1);
    return last == std::string_view::npos ? std::string()
                                          : std::string(text.substr(first + 1, last - first - 1));
}

}  // namespace kova::nats::detail
