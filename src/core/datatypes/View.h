#pragma once

#include <cstddef>
#include <vector>

namespace kova::detail {

/// A view of the items of a vector. The vector may have any allocator. The vector must outlive the
/// view.
template <typename T>
class View {
public:
    View() = default;
    template <typename Allocator>
    View(const std::vector<T, Allocator>& items) : data_(items.data()), size_(items.size()) {}

    T const* data() const { return data_; }
    std::size_t size() const { return size_; }
    T const* begin() const { return data_; }
    T const* end() const { return data_ + size_; }
    const T& operator[](std::size_t index) const { return data_[index]; }

private:
    T const* data_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace kova::detail
