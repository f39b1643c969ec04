// Packed copies and logic on one row of bits. Bits are numbered from the most significant end, so that
// Leptonica's raster operations, whose words run the same way, work on comparable rows.
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <leptonica/allheaders.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Bits2 = void (*)(const std::uint8_t *, std::uint8_t *, std::int32_t, std::int32_t, std::int32_t);

/// Run of `bytes` bytes from bit srcOffset to bit 4 of the destination.
void packed(benchmark::State &state, Bits2 operation, std::int32_t srcOffset) {
    const auto bytes = static_cast<std::size_t>(state.range(0));
    Bytes src(bytes + 2, 0x5A), dst(bytes + 2, 0xC3);
    for (auto _ : state) {
        operation(src.data(), dst.data(), srcOffset, 4, static_cast<std::int32_t>(8 * bytes));
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void rasterop(benchmark::State &state, int operation, int srcColumn) {
    const int bits = static_cast<int>(8 * state.range(0));
    PIX *src = pixCreate(bits + 16, 1, 1), *dst = pixCreate(bits + 16, 1, 1);
    for (auto _ : state) {
        pixRasterop(dst, 3, 0, bits, 1, operation, src, srcColumn, 0);
        benchmark::ClobberMemory();
    }
    pixDestroy(&src);
    pixDestroy(&dst);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// Any two-operand operation on whole bytes: work(src, dst, bytes).
template <class Work>
void whole(benchmark::State &state, Work work) {
    const auto bytes = static_cast<std::size_t>(state.range(0));
    Bytes src(bytes, 0x5A), dst(bytes, 0xC3);
    for (auto _ : state) {
        work(src.data(), dst.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

std::int32_t length(std::size_t n) { return static_cast<std::int32_t>(n); }

/// What the compiler makes of the plain loop on this processor.
template <class Combine>
[[gnu::noinline]] void compiled(std::uint8_t *__restrict dst, const std::uint8_t *__restrict src,
                                std::size_t n, Combine combine) {
    for (std::size_t i = 0; i < n; ++i)
        dst[i] = combine(src[i], dst[i]);
}

void sizes(benchmark::internal::Benchmark *row) { row->Arg(32)->Arg(256)->Arg(4096)->Arg(131072); }

template <class Run>
void add(const std::string &name, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->Apply(sizes);
}

const bool registered = [] {
    const struct {
        const char *name;
        Bits2 packed;
        int raster;
    } operations[] = {{"QZbbCopy", QZbbCopy, PIX_SRC},
                      {"QZbbAnd2", QZbbAnd2, PIX_SRC & PIX_DST},
                      {"QZbbXor2", QZbbXor2, PIX_SRC ^ PIX_DST}};
    for (const auto &operation : operations)
        for (const bool aligned : {true, false}) {
            const std::string row = operation.name + std::string(aligned ? ".aligned/" : ".shifted/");
            // Offset 4 is column 3 of a byte, offset 6 column 1.
            add(row + "qzk", [=](auto &state) { packed(state, operation.packed, aligned ? 4 : 6); });
            add(row + "leptonica", [=](auto &state) { rasterop(state, operation.raster, aligned ? 3 : 1); });
            if (operation.raster == PIX_SRC)
                add(row + "memmove", [](auto &state) {
                    whole(state, [](auto *s, auto *d, auto n) { std::memmove(d, s, n); });
                });
        }

    add("QZybCopy/qzk",
        [](auto &state) { whole(state, [](auto *s, auto *d, auto n) { QZybCopy(s, d, length(n)); }); });
    add("QZybCopy/memmove",
        [](auto &state) { whole(state, [](auto *s, auto *d, auto n) { std::memmove(d, s, n); }); });
    add("QZybXor2/qzk",
        [](auto &state) { whole(state, [](auto *s, auto *d, auto n) { QZybXor2(s, d, length(n)); }); });
    add("QZybXor2/compiled", [](auto &state) {
        whole(state, [](auto *s, auto *d, auto n) {
            compiled(d, s, n, [](auto a, auto b) { return static_cast<std::uint8_t>(a ^ b); });
        });
    });
    add("QZwbSet/qzk", [](auto &state) {
        whole(state, [](auto *, auto *d, auto n) {
            QZwbSet(0x1234, reinterpret_cast<std::int16_t *>(d), length(n / 2));
        });
    });
    add("QZwbSet/memset",
        [](auto &state) { whole(state, [](auto *, auto *d, auto n) { std::memset(d, 0x12, n); }); });
    return true;
}();

} // namespace
