#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <utility>
#include <vector>

namespace kova::bench {

/// The seed of all inputs, so that all contestants and all runs have the same inputs.
constexpr unsigned int SEED = 20190307;

/// A generator of random numbers for inputs. Each set of inputs uses a new one.
class Random {
public:
    /// Returns a number from `least` to `most`, both included.
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

/// Number of different inputs of a benchmark with small inputs.
constexpr std::size_t INPUTS = 64;

/// Returns `INPUTS` results of `make()`.
template <typename Make>
auto inputs(Make make) {
    std::vector<decltype(make())> made;
    for (std::size_t i = 0; i < INPUTS; ++i) {
        made.push_back(make());
    }
    return made;
}

/// An endless sequence that repeats a list of items.
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

/// Returns a function to be measured, which calls `function` with one item after the other.
template <typename Item, typename Function>
auto each(std::vector<Item> items, Function function) {
    return [cycle = Cycle<Item>(std::move(items)), function]() mutable {
        return function(cycle.next());
    };
}

}  // namespace kova::bench
