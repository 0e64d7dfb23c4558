// The pull interface over both formats: whatever is asked in whatever order, a call that fails
// leaves its output and the position alone, and afterwards the payload is read from end to end.
#include "support/Convert.h"
#include "support/Fuzz.h"
#include "support/PullCalls.h"

using namespace fuzz;
using util::serializer::EntryType;

namespace {

template <typename Reader>
void check(const std::string& script, const std::string& payload) {
    payloads::Pull<Reader> pull(payload);
    for (const char step : script) {
        const EntryType next = pull.peekNextEntry()->type;
        const bool failed = callPull(pull, static_cast<std::uint8_t>(step));
        require(!failed || pull.peekNextEntry()->type == next, "a failure does not move on");
    }
    pull.reset();
    util::ByteBufferReader reader = payloads::readerOf(payload);
    require(pull.beginDeserialize(&reader, nullptr) != pull.begun, "reading starts anew");
    while (pull.begun && pull.getNextEntry()->type != EntryType::End) {
        require(pull.peekNextEntry()->type != EntryType::Failure, "a payload is read to its end");
    }
    require(pull.endDeserialize() != pull.begun, "a payload that was read is at its end");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const bool binary = input.byte() == 'b';
    const std::string script = input.take(input.byte());
    binary ? check<BinaryReader>(script, input.rest()) : check<JsonReader>(script, input.rest());
    return 0;
}
