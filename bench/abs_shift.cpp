// Magnitudes and shifts beside OpenCV and a compiled loop.
#include "arithmetic_peers.hpp"
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace {

using benchmark::State;

struct alignas(64) Line {
    unsigned char bytes[64];
};

template <class T, class Work>
void add(const std::string &row, const std::string &who, Work work) {
    benchmark::RegisterBenchmark((row + '/' + who).c_str(),
                                 [work](State &state) {
                                     const auto n = static_cast<std::size_t>(state.range(0));
                                     std::vector<T> src(n, T{100}),
                                         dst(n + 5 * 64, T{100}); // not a page apart
                                     for (auto _ : state) {
                                         work(src.data(), dst.data(), n);
                                         benchmark::ClobberMemory();
                                     }
                                 })
        ->Arg(256)
        ->Arg(4096)
        ->Arg(1 << 20);
}

template <class T>
void addMagnitudes(const std::string &row, void (*form2)(const T *, T *, std::int32_t)) {
    add<T>(row, "qzk",
           [form2](const T *src, T *dst, std::size_t n) { form2(src, dst, static_cast<std::int32_t>(n)); });
    add<T>(row, "loop", [](const T *src, T *dst, std::size_t n) { loops::magnitudes(src, dst, n); });
    add<T>(row, "opencv", [](T *src, T *dst, std::size_t n) {
        const auto columns = static_cast<int>(n);
        cv::Mat result(1, columns, cv::DataType<T>::type, dst);
        cv::absdiff(cv::Mat(1, columns, cv::DataType<T>::type, src), 0.0, result);
    });
}

template <class T>
void addShift(const std::string &row, void (*shift)(T *, std::int32_t, std::uint8_t),
              void (*loop)(T *, std::size_t, int)) {
    add<T>(row, "qzk",
           [shift](const T *, T *srcDst, std::size_t n) { shift(srcDst, static_cast<std::int32_t>(n), 3); });
    add<T>(row, "loop", [loop](const T *, T *srcDst, std::size_t n) { loop(srcDst, n, 3); });
}

template <void (*shift)(std::uint8_t *, std::int32_t, std::int32_t, std::uint8_t)>
void shiftNibbles(std::uint8_t *srcDst, std::int32_t len, std::uint8_t count) {
    shift(srcDst, 1, len, count);
}

const bool added = [] {
    cv::setNumThreads(1);
    addMagnitudes("QZtbAbs2", QZtbAbs2);
    addMagnitudes("QZwbAbs2", QZwbAbs2);
    addMagnitudes("QZsbAbs2", QZsbAbs2);
    addShift("QZybShiftL", QZybShiftL, loops::shiftLeft<std::uint8_t>);
    addShift("QZtbShiftL", QZtbShiftL, loops::shiftLeft<std::int8_t>);
    addShift("QZwbShiftL", QZwbShiftL, loops::shiftLeft<std::int16_t>);
    addShift("QZybShiftR", QZybShiftR, loops::shiftRight<std::uint8_t>);
    addShift("QZtbShiftR", QZtbShiftR, loops::shiftRight<std::int8_t>);
    addShift("QZwbShiftR", QZwbShiftR, loops::shiftRight<std::int16_t>);
    addShift("QZnbShiftL", shiftNibbles<QZnbShiftL>, loops::shiftNibblesLeft);
    addShift("QZnbShiftR", shiftNibbles<QZnbShiftR>, loops::shiftNibblesRight);
    return true;
}();

} // namespace
