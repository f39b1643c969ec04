// Minima and sums beside OpenCV, VOLK and compiled loops. OpenCV's and VOLK's sums of floats have no order.
#include "qzk.h"
#include "reduction_peers.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <volk/volk.h>

#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using benchmark::State;
using std::int32_t;
using std::size_t;

template <class T>
std::vector<T> values(size_t n) {
    std::mt19937 engine(7);
    std::vector<T> result(n);
    std::uniform_real_distribution<float> real(-1.0f, 1.0f);
    for (T &value : result)
        value = static_cast<T>(std::is_same_v<T, float> ? real(engine) : 30000.0f * real(engine));
    return result;
}
template <>
std::vector<std::uint8_t> values(size_t n) {
    std::mt19937 engine(7);
    std::vector<std::uint8_t> result(n);
    for (std::uint8_t &value : result)
        value = static_cast<std::uint8_t>(engine());
    return result;
}
template <>
std::vector<std::int8_t> values(size_t n) {
    std::vector<std::int8_t> result;
    for (const std::uint8_t value : values<std::uint8_t>(n))
        result.push_back(static_cast<std::int8_t>(value));
    return result;
}

/// Over n elements of which `perValue` lie in one T.
template <class T, class Work>
void add(const std::string &row, const std::string &who, Work work, size_t perValue = 1) {
    benchmark::RegisterBenchmark((row + '/' + who).c_str(),
                                 [=](State &state) {
                                     const auto n = static_cast<size_t>(state.range(0));
                                     const std::vector<T> src = values<T>(n / perValue);
                                     for (auto _ : state) {
                                         benchmark::DoNotOptimize(work(src.data(), n));
                                         benchmark::ClobberMemory();
                                     }
                                 })
        ->Arg(256)
        ->Arg(4096)
        ->Arg(1 << 20);
}

int32_t lengthOf(size_t n) { return static_cast<int32_t>(n); }

template <class T>
cv::Mat matrix(const T *src, size_t n) {
    return {1, lengthOf(n), cv::DataType<T>::type, const_cast<T *>(src)};
}

template <class T>
void addExtremes(const std::string &letter, T (*smallest)(const T *, int32_t, int32_t *)) {
    const std::string row = "QZ" + letter + "Min";
    add<T>(row, "qzk", [=](const T *src, size_t n) {
        int32_t index;
        smallest(src, lengthOf(n), &index);
        return index;
    });
    add<T>(row, "loop", [](const T *src, size_t n) { return loops::placeOfSmallest(src, n); });
    add<T>(row, "opencv", [](const T *src, size_t n) {
        double value;
        int place[2];
        cv::minMaxIdx(matrix(src, n), &value, nullptr, place, nullptr);
        return place[1];
    });
}

template <class T, class Member>
void addSum(const std::string &letter, Member member) {
    const std::string row = "QZ" + letter + "Sum";
    add<T>(row, "qzk", [=](const T *src, size_t n) {
        int32_t factor;
        return member(src, lengthOf(n), QZ_ScaleAuto, &factor);
    });
    add<T>(row, "loop", [](const T *src, size_t n) { return loops::sum(src, n); });
    add<T>(row, "opencv", [](const T *src, size_t n) { return cv::sum(matrix(src, n))[0]; });
}

const bool added = [] {
    using std::uint8_t;
    cv::setNumThreads(1);
    addExtremes("y", QZyMin);
    addExtremes("t", QZtMin);
    addExtremes("w", QZwMin);
    addExtremes("s", QZsMin);
    add<float>("QZsMin", "loop_bits",
               [](const float *src, size_t n) { return loops::placeOfSmallestBits(src, n); });
    add<float>("QZsMin", "volk", [](const float *src, size_t n) {
        std::uint32_t place;
        volk_32f_index_min_32u(&place, src, static_cast<std::uint32_t>(n));
        return place;
    });
    add<float>("QZsMax", "qzk", [](const float *src, size_t n) {
        int32_t index;
        QZsMax(src, lengthOf(n), &index);
        return index;
    });
    add<float>("QZsMax", "volk", [](const float *src, size_t n) {
        std::uint32_t place;
        volk_32f_index_max_32u(&place, src, static_cast<std::uint32_t>(n));
        return place;
    });
    add<uint8_t>(
        "QZnMin", "qzk",
        [](const uint8_t *src, size_t n) {
            int32_t index;
            QZnMin(src, 1, lengthOf(n), &index);
            return index;
        },
        2);

    addSum<uint8_t>("y", QZySum);
    addSum<std::int8_t>("t", QZtSum);
    addSum<std::int16_t>("w", QZwSum);
    add<uint8_t>(
        "QZnSum", "qzk",
        [](const uint8_t *src, size_t n) {
            int32_t factor;
            return QZnSum(src, 1, lengthOf(n), QZ_ScaleWrap, &factor);
        },
        2);
    add<uint8_t>(
        "QZnSum", "loop", [](const uint8_t *src, size_t n) { return loops::sumOfNibbles(src, n / 2); }, 2);
    add<uint8_t>(
        "QZbSum", "qzk",
        [](const uint8_t *src, size_t n) {
            int32_t factor;
            return QZbSum(src, 7, lengthOf(n), QZ_ScaleWrap, &factor);
        },
        8);
    add<uint8_t>(
        "QZbSum", "loop", [](const uint8_t *src, size_t n) { return loops::setBits(src, n / 8); }, 8);
    add<uint8_t>(
        "QZbSum", "volk",
        [](const uint8_t *src, size_t n) {
            std::uint64_t total = 0;
            for (size_t i = 0; i < n / 64; ++i) {
                std::uint64_t bits;
                volk_64u_popcnt(&bits, reinterpret_cast<const std::uint64_t *>(src)[i]);
                total += bits;
            }
            return total;
        },
        8);
    add<float>("QZsSum", "qzk", [](const float *src, size_t n) { return QZsSum(src, lengthOf(n)); });
    add<float>("QZsSum", "loop", [](const float *src, size_t n) { return loops::sum(src, n); });
    add<float>("QZsSum", "loop_fours", [](const float *src, size_t n) { return loops::sumOfFours(src, n); });
    add<float>("QZsSum", "opencv_unordered",
               [](const float *src, size_t n) { return cv::sum(matrix(src, n))[0]; });
    add<float>("QZsSum", "volk_single", [](const float *src, size_t n) {
        float total;
        volk_32f_accumulator_s32f(&total, src, static_cast<unsigned>(n));
        return total;
    });
    return true;
}();

} // namespace
