// Convolution of 640 x 480 images beside OpenCV's filter and a float loop written by hand. Elements of bits,
// nibbles and signed bytes are bytes for the peers. "any" coefficients are any of 8 bits, "few" of -8 to 8.
#include "QZ_CONV_peers.hpp"
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using benchmark::State;

constexpr int rows = 480, columns = 640;

struct Problem {
    int size; // of the mask
    int srcType, dstType, maskType, scaleMode, largest;
    bool inPlace = false;
};

struct Data {
    std::vector<std::uint8_t> src, dst;
    std::vector<std::int16_t> words;
    std::vector<std::int8_t> bytes;
    std::vector<float> floats;
    std::vector<const void *> srcRows, maskRows;
    std::vector<void *> dstRows;

    explicit Data(const Problem &p) : src(rows * columns), dst(rows * columns + 5 * 64) { // not a page apart
        std::mt19937 random(1);
        for (std::uint8_t &element : src)
            element = static_cast<std::uint8_t>(random());
        for (int i = 0; i < p.size * p.size; ++i) {
            const int value = static_cast<int>(random() % static_cast<unsigned>(2 * p.largest)) - p.largest;
            words.push_back(static_cast<std::int16_t>(value));
            bytes.push_back(static_cast<std::int8_t>(value));
            floats.push_back(static_cast<float>(value));
        }
        const std::size_t size = static_cast<std::size_t>(p.size);
        for (std::size_t i = 0; i < size; ++i)
            maskRows.push_back(p.maskType == QZ_Mask16Bits
                                   ? static_cast<const void *>(words.data() + i * size)
                                   : bytes.data() + i * size);
        for (std::size_t r = 0; r < rows; ++r) {
            srcRows.push_back(src.data() + r * columns);
            dstRows.push_back((p.inPlace ? src : dst).data() + r * columns);
        }
    }
};

void qzk(State &state, const Problem &p) {
    Data data(p);
    std::int32_t shift = 4;
    for (auto _ : state) {
        QZMaskConvolve(data.srcRows.data(), data.maskRows.data(), data.dstRows.data(), p.srcType, p.maskType,
                       p.dstType, rows, columns, p.size, p.size, nullptr, p.scaleMode, &shift);
        benchmark::ClobberMemory();
    }
}

void loop(State &state, const Problem &p) {
    Data data(p);
    std::vector<float> window(static_cast<std::size_t>(p.size * (columns + p.size + 64)));
    for (auto _ : state) {
        native::convolve(data.src.data(), data.floats.data(), data.dst.data(), rows, columns, p.size, p.size,
                         window.data());
        benchmark::ClobberMemory();
    }
}

void openCv(State &state, const Problem &p) {
    cv::setNumThreads(1);
    Data data(p);
    const cv::Mat src(rows, columns, CV_8U, data.src.data()),
        mask(p.size, p.size, CV_32F, data.floats.data());
    cv::Mat dst(rows, columns, CV_8U, data.dst.data());
    for (auto _ : state) {
        cv::filter2D(src, dst, -1, mask, cv::Point(-1, -1), 0, cv::BORDER_CONSTANT);
        benchmark::ClobberMemory();
    }
}

void add(const std::string &name, const Problem &p) {
    const std::string row = "Convolve_" + name + "_" + std::to_string(p.size) + "x" + std::to_string(p.size);
    benchmark::RegisterBenchmark((row + "/qzk").c_str(), qzk, p);
    benchmark::RegisterBenchmark((row + "/loop").c_str(), loop, p);
    benchmark::RegisterBenchmark((row + "/opencv").c_str(), openCv, p);
}

const bool added = [] {
    for (const int size : {3, 5, 9}) {
        add("y_any", {size, QZ_ImageByte, QZ_ImageByte, QZ_Mask8Bits, QZ_ScaleSaturate, 128});
        add("y_few", {size, QZ_ImageByte, QZ_ImageByte, QZ_Mask8Bits, QZ_ScaleSaturate, 8});
    }
    for (const int size : {3, 9}) {
        add("b", {size, QZ_ImageBit, QZ_ImageBit, QZ_Mask8Bits, QZ_ScaleSaturate, 128});
        add("n", {size, QZ_ImageNibble, QZ_ImageNibble, QZ_Mask8Bits, QZ_ScaleSaturate, 128});
        add("t", {size, QZ_ImageSignedByte, QZ_ImageSignedByte, QZ_Mask8Bits, QZ_ScaleSaturate, 128});
        add("y_shift", {size, QZ_ImageByte, QZ_ImageByte, QZ_Mask8Bits, QZ_ScaleFixed, 128});
        add("y_16bits", {size, QZ_ImageByte, QZ_ImageByte, QZ_Mask16Bits, QZ_ScaleSaturate, 32768});
        add("y_inplace", {size, QZ_ImageByte, QZ_ImageByte, QZ_Mask8Bits, QZ_ScaleSaturate, 128, true});
    }
    return true;
}();

} // namespace
