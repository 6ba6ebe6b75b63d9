// FlexData's hot paths against their raw baselines: re-setting and reading a double already held
// (against storing and loading the 8 bytes), adopting and serializing a 4 KiB array packet
// (against two memcpy calls of the same bytes), and sizing an array of 1,000 clusters with
// fd::GetDataSize (against a hand-written walk over the same element layout).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "ka/kor/FlexData.h"
#include "ka/kor/fd.h"

namespace {

using ka::kor::FlexData;

void BM_FlexDataSetGetF64(benchmark::State& state) {
    FlexData f(0.0);
    double x = 0.5;
    for (auto _ : state) {
        f.setF64(x);
        double y = f.getF64();
        benchmark::DoNotOptimize(y);
        x += 1.0;
    }
}

void BM_BaselineStoreLoadDouble(benchmark::State& state) {
    unsigned char bytes[16] = {};
    unsigned char* volatile at = bytes + 6;
    double x = 0.5;
    for (auto _ : state) {
        unsigned char* p = at;
        std::memcpy(p, &x, sizeof x);
        double y;
        std::memcpy(&y, p, sizeof y);
        benchmark::DoNotOptimize(y);
        x += 1.0;
    }
}

// A packet of exactly 4096 bytes: a one-dimensional array of 4078 I8 elements.
std::vector<unsigned char> ArrayPacket() {
    std::vector<signed char> values(4078);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<signed char>(i);
    }
    FlexData f;
    f.setScalarArray(values.data(), static_cast<std::uint32_t>(values.size()));
    return std::vector<unsigned char>(f.begin(), f.begin() + f.getPacketSize());
}

void BM_FlexDataCopyFromSerialize(benchmark::State& state) {
    const std::vector<unsigned char> packet = ArrayPacket();
    std::vector<unsigned char> out(packet.size());
    FlexData f;
    for (auto _ : state) {
        f.copyFrom(packet.data(), packet.data() + packet.size());
        unsigned char* cursor = out.data();
        f.serialize(cursor, out.data() + out.size());
        benchmark::DoNotOptimize(cursor);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(packet.size()));
}

void BM_BaselineTwoMemcpy(benchmark::State& state) {
    const std::vector<unsigned char> packet = ArrayPacket();
    std::vector<unsigned char> block(packet.size());
    std::vector<unsigned char> out(packet.size());
    for (auto _ : state) {
        std::memcpy(block.data(), packet.data(), packet.size());
        benchmark::ClobberMemory();
        std::memcpy(out.data(), block.data(), block.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(packet.size()));
}

// An array of 1,000 clusters (Bool, I32, AString "abc"), each element 14 data bytes.
constexpr std::uint32_t kClusters = 1000;

std::vector<unsigned char> ClusterArrayPacket() {
    const unsigned char md[] = {
        0x00, 0x08, 0x01, 0x00, 0x1A, 0x00, 0x00, 0x00,  // array, 1 dim, element MD of 22
        0x01, 0x08, 0x03, 0x00,                          // cluster of 3:
        0x06, 0x00, 0x00, 0x00, 0x02, 0x01,              //   Bool
        0x06, 0x00, 0x00, 0x00, 0x00, 0x03,              //   I32
        0x06, 0x00, 0x00, 0x00, 0x00, 0x09,              //   AString
    };
    const unsigned char element[] = {0x01, 0x00, 0x2A, 0x00, 0x00, 0x00, 0x03,
                                     0x00, 0x00, 0x00, 0x61, 0x62, 0x63, 0x00};
    std::vector<unsigned char> packet(4);
    packet.insert(packet.end(), md, md + sizeof md);
    const unsigned char dim[4] = {kClusters & 0xFF, kClusters >> 8, 0, 0};
    packet.insert(packet.end(), dim, dim + 4);
    for (std::uint32_t i = 0; i < kClusters; ++i) {
        packet.insert(packet.end(), element, element + sizeof element);
    }
    const std::uint32_t size = static_cast<std::uint32_t>(packet.size());
    std::memcpy(packet.data(), &size, 4);
    return packet;
}

void BM_FdGetDataSizeClusterArray(benchmark::State& state) {
    const std::vector<unsigned char> packet = ClusterArrayPacket();
    const unsigned char* end = packet.data() + packet.size();
    const unsigned char* type = ka::kor::fd::GetTypeFromPacket(packet.data(), end);
    const unsigned char* data = ka::kor::fd::GetData(packet.data(), end);
    for (auto _ : state) {
        std::uint32_t size = ka::kor::fd::GetDataSize(type, data, end);
        benchmark::DoNotOptimize(size);
    }
    state.SetItemsProcessed(state.iterations() * kClusters);
}

// The same walk with the layout known in advance: per element, the fixed members and the
// string's count read from the data.
void BM_BaselineFixedLayoutWalk(benchmark::State& state) {
    const std::vector<unsigned char> packet = ClusterArrayPacket();
    const unsigned char* volatile start = packet.data() + 4 + 30 + 4;
    const unsigned char* end = packet.data() + packet.size();
    for (auto _ : state) {
        const unsigned char* p = start;
        std::uint32_t total = 4;
        for (std::uint32_t i = 0; i < kClusters && p + 10 <= end; ++i) {
            std::uint32_t n;
            std::memcpy(&n, p + 6, 4);
            const std::uint32_t size = 2 + 4 + ((4 + n + 1) & ~1u);
            total += size;
            p += size;
        }
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * kClusters);
}

BENCHMARK(BM_FlexDataSetGetF64);
BENCHMARK(BM_BaselineStoreLoadDouble);
BENCHMARK(BM_FlexDataCopyFromSerialize);
BENCHMARK(BM_BaselineTwoMemcpy);
BENCHMARK(BM_FdGetDataSizeClusterArray);
BENCHMARK(BM_BaselineFixedLayoutWalk);

}  // namespace
