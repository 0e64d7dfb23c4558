#include "util/serializer/ItemBuilder.h"

#include <utility>

namespace util::serializer {

bool ItemBuilder::beginSerialize(ByteBufferWriter* writer, Options const* /*options*/) {
    writer_ = writer;
    open_.clear();
    expected_ = Expected::Value;
    return false;
}

bool ItemBuilder::endSerialize(unsigned long& written) {
    std::string bytes;
    if (expected_ != Expected::EndOfPayload || encode(root_, bytes)) {
        return fail();
    }
    if (writer_ != nullptr) {
        writer_->append(bytes.data(), bytes.size());
    }
    written = bytes.size();
    expected_ = Expected::Nothing;
    return false;
}

bool ItemBuilder::fail() {
    expected_ = Expected::Nothing;
    return true;
}

bool ItemBuilder::put(Item item) {
    if (expected_ != Expected::Value) {
        return fail();
    }
    if (open_.empty()) {
        root_ = std::move(item);
        expected_ = Expected::EndOfPayload;
    } else {
        open_.back().items.push_back(std::move(item));
        expected_ = Expected::EndOfItem;
    }
    return false;
}

bool ItemBuilder::begin(Item::Kind kind) {
    if (expected_ != Expected::Value || open_.size() == MAX_NESTING_DEPTH) {
        return fail();
    }
    open_.emplace_back(kind);
    expected_ = Expected::ItemOrEnd;
    return false;
}

bool ItemBuilder::end(Item::Kind kind) {
    if (expected_ != Expected::ItemOrEnd || open_.back().kind != kind) {
        return fail();
    }
    Item complete = std::move(open_.back());
    open_.pop_back();
    expected_ = Expected::Value;
    return put(std::move(complete));
}

bool ItemBuilder::beginItem(Item::Kind kind) {
    if (expected_ != Expected::ItemOrEnd || open_.back().kind != kind) {
        return fail();
    }
    expected_ = Expected::Value;
    return false;
}

bool ItemBuilder::endItem(Item::Kind kind) {
    if (expected_ != Expected::EndOfItem || open_.back().kind != kind) {
        return fail();
    }
    expected_ = Expected::ItemOrEnd;
    return false;
}

bool ItemBuilder::beginField(std::string_view name, int /*id*/, bool /*optional*/) {
    if (beginItem(Item::Kind::Struct)) {
        return true;
    }
    open_.back().names.emplace_back(name);
    return false;
}

}  // namespace util::serializer
