#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <utility>
#include <vector>

namespace kova::bench {

/// Every input is made from this seed, so that all contestants and all runs see the same.
constexpr unsigned int SEED = 20190307;

/// Numbers for inputs; each place that makes inputs has one of its own.
class Random {
public:
    /// A number from `least` to `most`.
    int number(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(engine_);
    }
    double real(double least, double most) {
        return std::uniform_real_distribution<double>(least, most)(engine_);
    }
    template <typename Item>
    void shuffle(std::vector<Item>& items) {
        std::shuffle(items.begin(), items.end(), engine_);
    }

private:
    std::mt19937 engine_{SEED};
};

/// How many different inputs a benchmark of small things goes through.
constexpr std::size_t INPUTS = 64;

/// As many results of `make()`.
template <typename Make>
auto inputs(Make make) {
    std::vector<decltype(make())> made;
    for (std::size_t i = 0; i < INPUTS; ++i) {
        made.push_back(make());
    }
    return made;
}

/// Gives the items one after the other, without end.
template <typename Item>
class Cycle {
public:
    explicit Cycle(std::vector<Item> items) : items_(std::move(items)) {}

    const Item& next() {
        const Item& item = items_[next_];
        next_ = next_ + 1 == items_.size() ? 0 : next_ + 1;
        return item;
    }

private:
    std::vector<Item> items_;
    std::size_t next_ = 0;
};

/// A work that does `function` to one item after the other.
template <typename Item, typename Function>
auto each(std::vector<Item> items, Function function) {
    return [cycle = Cycle<Item>(std::move(items)), function]() mutable {
        return function(cycle.next());
    };
}

}  // namespace kova::bench
