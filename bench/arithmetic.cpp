// Forms 3 and 2s of every operation and letter beside OpenCV, VOLK and a compiled loop. The integer data are
// small enough for an automatic scale above 0 to be found only in the last quarter. memcpy moves as many
// bytes as a row reads and writes.
#include "arithmetic_peers.hpp"
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <volk/volk.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using benchmark::State;

/// Three vectors, aligned alike for everyone and not a multiple of a page apart.
template <class T>
struct Operands {
    explicit Operands(const State &state)
        : n(static_cast<std::size_t>(state.range(0))), memory(3 * stride() + 64) {
        const auto address = reinterpret_cast<std::uintptr_t>(memory.data());
        src1 = reinterpret_cast<T *>(memory.data() + (64 - address % 64) % 64);
        src2 = src1 + stride() / sizeof(T);
        dst = src2 + stride() / sizeof(T);
        for (std::size_t i = 0; i < n; ++i) {
            src1[i] = static_cast<T>(i % 7);
            src2[i] = static_cast<T>(i < n / 4 * 3 ? i % 5 : i % 100);
        }
    }
    std::size_t bytes() const { return n * sizeof(T); }
    std::size_t stride() const { return (bytes() + 63) / 64 * 64 + 5 * 64; }
    std::int32_t len() const { return static_cast<std::int32_t>(n); }
    cv::Mat mat(T *data) const { return {1, static_cast<int>(n), cv::DataType<T>::type, data}; }

    std::size_t n;
    std::vector<unsigned char> memory;
    T *src1, *src2, *dst;
};

template <class T, class Work>
void add(const std::string &row, const std::string &who, Work work) {
    benchmark::RegisterBenchmark((row + '/' + who).c_str(),
                                 [work](State &state) {
                                     Operands<T> operands(state);
                                     for (auto _ : state) {
                                         work(operands);
                                         benchmark::ClobberMemory();
                                     }
                                 })
        ->Arg(256)
        ->Arg(4096)
        ->Arg(1 << 20);
}

/// As many bytes read and written as by an operation on two vectors.
template <class T>
void addMemcpy(const std::string &row) {
    add<T>(row, "memcpy", [](const Operands<T> &o) {
        std::memcpy(o.dst, o.src1, o.bytes());
        std::memcpy(o.dst, o.src2, o.bytes() / 2);
    });
}

template <class T>
using Form3 = void (*)(const T *, const T *, T *, std::int32_t, std::int32_t, std::int32_t *);

constexpr std::int32_t fixedShift = 3;

template <class Operation, class T>
void addRows(const std::string &name, Form3<T> form3,
             void (*opencv)(const cv::Mat &, const cv::Mat &, cv::Mat &)) {
    const auto ours = [form3](std::int32_t mode) {
        return [=](const Operands<T> &o) {
            std::int32_t scaleFactor = fixedShift;
            form3(o.src1, o.src2, o.dst, o.len(), mode, &scaleFactor);
        };
    };
    add<T>(name + " wrap", "qzk", ours(QZ_ScaleWrap));
    add<T>(name + " wrap", "loop",
           [](const Operands<T> &o) { loops::wrap<Operation>(o.src1, o.src2, o.dst, o.n); });
    addMemcpy<T>(name + " wrap");

    add<T>(name + " saturate", "qzk", ours(QZ_ScaleSaturate));
    add<T>(name + " saturate", "loop",
           [](const Operands<T> &o) { loops::saturate<Operation>(o.src1, o.src2, o.dst, o.n); });
    add<T>(name + " saturate", "opencv", [opencv](const Operands<T> &o) {
        cv::Mat dst = o.mat(o.dst);
        opencv(o.mat(o.src1), o.mat(o.src2), dst);
    });
    addMemcpy<T>(name + " saturate");

    add<T>(name + " fixed", "qzk", ours(QZ_ScaleFixed));
    add<T>(name + " fixed", "loop",
           [](const Operands<T> &o) { loops::fixed<Operation>(o.src1, o.src2, o.dst, o.n, fixedShift); });

    add<T>(name + " automatic", "qzk", ours(QZ_ScaleAuto));
    // Differences of unsigned elements have no automatic scale.
    if (std::is_same_v<Operation, loops::Subtract> && std::is_unsigned_v<T>) return;
    add<T>(name + " automatic", "loop", [](const Operands<T> &o) {
        benchmark::DoNotOptimize(loops::automatic<Operation>(o.src1, o.src2, o.dst, o.n));
    });
}

template <class T>
using Form2s = void (*)(T, T *, std::int32_t, std::int32_t, std::int32_t *);

template <class Operation, class T>
void addScalarRows(const std::string &name, Form2s<T> form2s) {
    constexpr T scalar = 3;
    const auto ours = [form2s](std::int32_t mode) {
        return [=](const Operands<T> &o) {
            std::int32_t scaleFactor = 1;
            form2s(scalar, o.dst, o.len(), mode, &scaleFactor);
        };
    };
    add<T>(name + " wrap", "qzk", ours(QZ_ScaleWrap));
    add<T>(name + " wrap", "loop",
           [](const Operands<T> &o) { loops::wrapScalar<Operation>(scalar, o.dst, o.n); });
    add<T>(name + " saturate", "qzk", ours(QZ_ScaleSaturate));
    add<T>(name + " saturate", "loop",
           [](const Operands<T> &o) { loops::saturateScalar<Operation>(scalar, o.dst, o.n); });
    add<T>(name + " fixed", "qzk", ours(QZ_ScaleFixed));
    add<T>(name + " fixed", "loop",
           [](const Operands<T> &o) { loops::fixedScalar<Operation>(scalar, o.dst, o.n, 1); });
    add<T>(name + " automatic", "qzk", ours(QZ_ScaleAuto));
}

template <class Operation>
void addFloatScalarRow(const std::string &row, void (*form2s)(float, float *, std::int32_t)) {
    constexpr float scalar = 1.0f;
    add<float>(row, "qzk", [form2s](const Operands<float> &o) { form2s(scalar, o.dst, o.len()); });
    add<float>(row, "loop",
               [](const Operands<float> &o) { loops::wrapScalar<Operation>(scalar, o.dst, o.n); });
}

using Byte = std::uint8_t;
using NibbleForm3 = void (*)(const Byte *, const Byte *, Byte *, std::int32_t, std::int32_t, std::int32_t,
                             std::int32_t, std::int32_t *);
using NibbleForm2s = void (*)(Byte, Byte *, std::int32_t, std::int32_t, std::int32_t, std::int32_t *);

/// Sources in the same half of their bytes as the destination, which the loop asks for, and in the other.
template <class Operation>
void addNibbleRows(const std::string &name, NibbleForm3 form3, NibbleForm2s form2s) {
    const auto ours = [form3](std::int32_t mode, std::int32_t srcOffset) {
        return [=](const Operands<Byte> &o) {
            std::int32_t scaleFactor = 1;
            form3(o.src1, o.src2, o.dst, srcOffset, 1, o.len(), mode, &scaleFactor);
        };
    };
    add<Byte>(name + "3 wrap", "qzk", ours(QZ_ScaleWrap, 1));
    add<Byte>(name + "3 wrap", "loop",
              [](const Operands<Byte> &o) { loops::wrapNibbles<Operation>(o.src1, o.src2, o.dst, o.n); });
    add<Byte>(name + "3 wrap realigned", "qzk", ours(QZ_ScaleWrap, 0));
    add<Byte>(name + "3 saturate", "qzk", ours(QZ_ScaleSaturate, 1));
    add<Byte>(name + "3 saturate", "loop",
              [](const Operands<Byte> &o) { loops::saturateNibbles<Operation>(o.src1, o.src2, o.dst, o.n); });
    add<Byte>(name + "3 fixed", "qzk", ours(QZ_ScaleFixed, 1));
    add<Byte>(name + "3 fixed", "loop",
              [](const Operands<Byte> &o) { loops::fixedNibbles<Operation>(o.src1, o.src2, o.dst, o.n, 1); });
    add<Byte>(name + "3 automatic", "qzk", ours(QZ_ScaleAuto, 1));
    add<Byte>(name + "2s wrap", "qzk", [form2s](const Operands<Byte> &o) {
        std::int32_t scaleFactor = 0;
        form2s(3, o.dst, 1, o.len(), QZ_ScaleWrap, &scaleFactor);
    });
}

template <class Operation>
void addFloatRow(const std::string &row, void (*form3)(const float *, const float *, float *, std::int32_t),
                 void (*opencv)(const cv::Mat &, const cv::Mat &, cv::Mat &),
                 void (*volk)(const Operands<float> &)) {
    add<float>(row, "qzk", [form3](const Operands<float> &o) { form3(o.src1, o.src2, o.dst, o.len()); });
    add<float>(row, "loop",
               [](const Operands<float> &o) { loops::wrap<Operation>(o.src1, o.src2, o.dst, o.n); });
    add<float>(row, "opencv", [opencv](const Operands<float> &o) {
        cv::Mat dst = o.mat(o.dst);
        opencv(o.mat(o.src1), o.mat(o.src2), dst);
    });
    add<float>(row, "volk", volk);
}

void cvAdd(const cv::Mat &a, const cv::Mat &b, cv::Mat &dst) { cv::add(a, b, dst); }
void cvSubtract(const cv::Mat &a, const cv::Mat &b, cv::Mat &dst) { cv::subtract(b, a, dst); }
void cvMultiply(const cv::Mat &a, const cv::Mat &b, cv::Mat &dst) { cv::multiply(a, b, dst); }

unsigned volkLength(const Operands<float> &o) { return static_cast<unsigned>(o.n); }
void volkAdd(const Operands<float> &o) { volk_32f_x2_add_32f(o.dst, o.src1, o.src2, volkLength(o)); }
void volkSubtract(const Operands<float> &o) {
    volk_32f_x2_subtract_32f(o.dst, o.src2, o.src1, volkLength(o));
}
void volkMultiply(const Operands<float> &o) {
    volk_32f_x2_multiply_32f(o.dst, o.src1, o.src2, volkLength(o));
}

const bool added = [] {
    cv::setNumThreads(1);
    addRows<loops::Add>("QZybAdd3", QZybAdd3, cvAdd);
    addRows<loops::Add>("QZtbAdd3", QZtbAdd3, cvAdd);
    addRows<loops::Add>("QZwbAdd3", QZwbAdd3, cvAdd);
    addRows<loops::Subtract>("QZybSub3", QZybSub3, cvSubtract);
    addRows<loops::Subtract>("QZtbSub3", QZtbSub3, cvSubtract);
    addRows<loops::Subtract>("QZwbSub3", QZwbSub3, cvSubtract);
    addRows<loops::Multiply>("QZybMpy3", QZybMpy3, cvMultiply);
    addRows<loops::Multiply>("QZtbMpy3", QZtbMpy3, cvMultiply);
    addRows<loops::Multiply>("QZwbMpy3", QZwbMpy3, cvMultiply);
    addFloatRow<loops::Add>("QZsbAdd3", QZsbAdd3, cvAdd, volkAdd);
    addFloatRow<loops::Subtract>("QZsbSub3", QZsbSub3, cvSubtract, volkSubtract);
    addFloatRow<loops::Multiply>("QZsbMpy3", QZsbMpy3, cvMultiply, volkMultiply);
    addScalarRows<loops::Add>("QZybAdd2s", QZybAdd2s);
    addScalarRows<loops::Add>("QZtbAdd2s", QZtbAdd2s);
    addScalarRows<loops::Add>("QZwbAdd2s", QZwbAdd2s);
    addFloatScalarRow<loops::Add>("QZsbAdd2s", QZsbAdd2s);
    addNibbleRows<loops::Add>("QZnbAdd", QZnbAdd3, QZnbAdd2s);
    addScalarRows<loops::Subtract>("QZybSub2s", QZybSub2s);
    addScalarRows<loops::Subtract>("QZtbSub2s", QZtbSub2s);
    addScalarRows<loops::Subtract>("QZwbSub2s", QZwbSub2s);
    addFloatScalarRow<loops::Subtract>("QZsbSub2s", QZsbSub2s);
    addNibbleRows<loops::Subtract>("QZnbSub", QZnbSub3, QZnbSub2s);
    addScalarRows<loops::Multiply>("QZybMpy2s", QZybMpy2s);
    addScalarRows<loops::Multiply>("QZtbMpy2s", QZtbMpy2s);
    addScalarRows<loops::Multiply>("QZwbMpy2s", QZwbMpy2s);
    addFloatScalarRow<loops::Multiply>("QZsbMpy2s", QZsbMpy2s);
    addNibbleRows<loops::Multiply>("QZnbMpy", QZnbMpy3, QZnbMpy2s);
    return true;
}();

} // namespace
