// The pull interface with both formats and any sequence of calls: a failed call leaves its output
// and the position unchanged, and afterwards the payload can be read completely.
#include "support/Convert.h"
#include "support/Fuzz.h"
#include "support/PullCalls.h"

using namespace fuzz;
using util::serializer::EntryType;

namespace {

template <typename Reader, bool DIRECT>
void checkOne(const std::string& script, const std::string& payload) {
    payloads::Pull<Reader, DIRECT> pull(payload);
    for (const char step : script) {
        const EntryType next = pull.peekNextEntry()->type;
        const bool failed = callPull(pull, static_cast<std::uint8_t>(step));
        require(!failed || pull.peekNextEntry()->type == next,
                "a failed call does not change the position");
    }
    pull.reset();
    util::ByteBufferReader reader = payloads::readerOf(payload);
    require(pull.beginDeserialize(&reader, nullptr) != pull.begun, "reading can start again");
    while (pull.begun && pull.getNextEntry()->type != EntryType::End) {
        require(pull.peekNextEntry()->type != EntryType::Failure, "all entries can be read");
    }
    require(pull.endDeserialize() != pull.begun, "endDeserialize succeeds after the last entry");
}

template <typename Reader>
void check(const std::string& script, const std::string& payload) {
    checkOne<Reader, true>(script, payload);
    checkOne<Reader, false>(script, payload);
    payloads::Pull<Reader, true> direct(payload);
    payloads::Pull<Reader, false> replayed(payload);
    require(direct.begun == replayed.begun, "both ways accept the same payloads");
    while (direct.begun) {
        auto const* const a = direct.getNextEntry();
        auto const* const b = replayed.getNextEntry();
        require(a->type == b->type && a->text == b->text, "both ways read the same entries");
        if (a->type == EntryType::End) {
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const bool binary = input.byte() == 'b';
    const std::string script = input.take(input.byte());
    binary ? check<BinaryReader>(script, input.rest()) : check<JsonReader>(script, input.rest());
    return 0;
}
