// RefnumMap against std::unordered_map<std::uint32_t, T*> doing the same work: handing out
// numbers for N objects, looking numbers up, and taking them back.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ka/kor/RefnumMap.h"

namespace {

struct Item {
    int value;
};

// The map-based equivalent of the table: numbers from a counter, freed numbers reused last in,
// first out, unknown numbers rejected.
class MapTable {
  public:
    std::uint32_t insert(Item* item) {
        std::uint32_t refnum;
        if (!free_.empty()) {
            refnum = free_.back();
            free_.pop_back();
        } else {
            refnum = ++last_;
        }
        map_.emplace(refnum, item);
        return refnum;
    }
    Item* lookup(std::uint32_t refnum) const {
        auto it = map_.find(refnum);
        if (it == map_.end()) {
            throw std::out_of_range("refnum");
        }
        return it->second;
    }
    Item* remove(std::uint32_t refnum) {
        auto it = map_.find(refnum);
        if (it == map_.end()) {
            throw std::out_of_range("refnum");
        }
        Item* item = it->second;
        map_.erase(it);
        free_.push_back(refnum);
        return item;
    }

  private:
    std::unordered_map<std::uint32_t, Item*> map_;
    std::vector<std::uint32_t> free_;
    std::uint32_t last_ = 0;
};

std::vector<Item> Items(std::size_t n) {
    return std::vector<Item>(n, Item{1});
}

// Refnums 1..n in a scattered order, the way host programs come back with them.
std::vector<std::uint32_t> Scattered(std::uint32_t n) {
    std::vector<std::uint32_t> order(n);
    std::uint32_t x = 12345;
    for (std::uint32_t i = 0; i < n; ++i) {
        order[i] = i + 1;
    }
    for (std::uint32_t i = n - 1; i > 0; --i) {
        x = x * 1103515245u + 12345u;
        std::swap(order[i], order[(x >> 8) % (i + 1)]);
    }
    return order;
}

template <typename Table>
void BM_Insert(benchmark::State& state) {
    const auto n = static_cast<std::uint32_t>(state.range(0));
    auto items = Items(n);
    for (auto _ : state) {
        Table table;
        for (auto& item : items) {
            benchmark::DoNotOptimize(table.insert(&item));
        }
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <typename Table>
void BM_Lookup(benchmark::State& state) {
    const auto n = static_cast<std::uint32_t>(state.range(0));
    auto items = Items(n);
    Table table;
    for (auto& item : items) {
        table.insert(&item);
    }
    const auto order = Scattered(n);
    for (auto _ : state) {
        for (std::uint32_t refnum : order) {
            benchmark::DoNotOptimize(table.lookup(refnum));
        }
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <typename Table>
void BM_Remove(benchmark::State& state) {
    const auto n = static_cast<std::uint32_t>(state.range(0));
    auto items = Items(n);
    const auto order = Scattered(n);
    for (auto _ : state) {
        state.PauseTiming();
        auto* table = new Table;
        for (auto& item : items) {
            table->insert(&item);
        }
        state.ResumeTiming();
        for (std::uint32_t refnum : order) {
            benchmark::DoNotOptimize(table->remove(refnum));
        }
        state.PauseTiming();
        delete table;
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

using Refnums = ka::kor::RefnumMap<Item*>;

BENCHMARK_TEMPLATE(BM_Insert, Refnums)->Arg(64)->Arg(4096);
BENCHMARK_TEMPLATE(BM_Insert, MapTable)->Arg(64)->Arg(4096);
BENCHMARK_TEMPLATE(BM_Lookup, Refnums)->Arg(64)->Arg(4096);
BENCHMARK_TEMPLATE(BM_Lookup, MapTable)->Arg(64)->Arg(4096);
BENCHMARK_TEMPLATE(BM_Remove, Refnums)->Arg(4096);
BENCHMARK_TEMPLATE(BM_Remove, MapTable)->Arg(4096);

}  // namespace
