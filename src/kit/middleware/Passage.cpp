#include "middleware/Passage.h"

#include <utility>

#include "kova/kit/resources/BlockPool.h"

namespace kova::kit::detail {

std::size_t Observers::add(std::shared_ptr<Middleware> middleware) {
    constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);
    const std::size_t offset = size;
    size += (middleware->stateSize_ + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
    entries.push_back({std::move(middleware), offset});
    return entries.size() - 1;
}

std::unique_ptr<Passage> Passage::create(std::shared_ptr<const Observers> observers,
                                         ResponseHandler&& handler) {
    static_assert(sizeof(Passage) % alignof(std::max_align_t) == 0, "the states begin behind it");
    void* const memory = allocateBlock(sizeof(Passage) + observers->size);
    return std::unique_ptr<Passage>(new (memory) Passage(std::move(observers), std::move(handler)));
}

// NOLINTNEXTLINE(cert-dcl54-cpp,misc-new-delete-overloads): matches the placement operator new
void Passage::operator delete(void* memory) noexcept {
    releaseBlock(memory);
}

Passage::~Passage() {
    end({});
}

Result<void> Passage::begin(std::size_t index, const Ask& ask) {
    Result<void> result = observers_->entries[index].middleware->beginRequest(ask, stateOf(index));
    if (result) {
        begun_ = index + 1;
    }
    return result;
}

void Passage::end(const Outcome& outcome) noexcept {
    while (begun_ != 0) {
        --begun_;
        observers_->entries[begun_].middleware->endRequest(outcome, stateOf(begun_));
    }
}

bool Passage::onNext(const Response& value) {
    code_ = value.getStatusCode();
    for (std::size_t index = begun_; index != 0; --index) {
        observers_->entries[index - 1].middleware->passValue(value, stateOf(index - 1));
    }
    return handler_->onNext(value);
}

void Passage::onError(const Response& error) {
    end({error.getStatusCode(), &error});
    handler_->onError(error);
}

void Passage::onCompleted() {
    end({code_, nullptr});
    handler_->onCompleted();
}

}  // namespace kova::kit::detail
