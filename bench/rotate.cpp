// Turns of whole images. Leptonica's images of 1, 4 and 8 bits have our layout but for the order of the bytes
// in a word and turn clockwise or counter-clockwise; OpenCV has bytes. `memcpy` copies the rows without
// turning them.
#include "qzk.h"
#include "rotate_peers.hpp"

#include <benchmark/benchmark.h>
#include <leptonica/allheaders.h>
#include <opencv2/core.hpp>

#include <cstring>
#include <string>
#include <vector>

namespace {

/// Any data: Leptonica moves black pixels alone.
void fill(void *to, std::size_t bytes) {
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < bytes; ++i) {
        state = state * 1664525u + 1013904223u;
        static_cast<std::uint8_t *>(to)[i] = static_cast<std::uint8_t>(state >> 24);
    }
}

class Image {
public:
    Image(std::int64_t rows, std::int64_t columns, int bits)
        : rowBytes_(static_cast<std::size_t>(columns * bits / 8)) {
        bytes_.resize(static_cast<std::size_t>(rows) * rowBytes_);
        fill(bytes_.data(), bytes_.size());
        for (std::size_t i = 0; i < static_cast<std::size_t>(rows); ++i)
            rows_.push_back(bytes_.data() + i * rowBytes_);
    }
    std::uint8_t *const *rows() { return rows_.data(); }
    std::uint8_t *bytes() { return bytes_.data(); }
    std::size_t count() const { return rows_.size(); }
    std::size_t rowBytes() const { return rowBytes_; }

private:
    std::size_t rowBytes_;
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t *> rows_;
};

struct Member {
    const char *name;
    decltype(&QZbRotateImage) rotate;
    void (*blocked)(const std::uint8_t *const *, std::uint8_t *const *, int, int);
    int bits;
};
constexpr Member members[] = {{"QZbRotateImage", QZbRotateImage, peers::turnBits, 1},
                              {"QZnRotateImage", QZnRotateImage, peers::turnNibbles, 4},
                              {"QZyRotateImage", QZyRotateImage, peers::turnBytes, 8}};

/// Images of range(0) columns by range(1) rows and their turned ones: work(src, dst).
template <class Work>
void turn(benchmark::State &state, int bits, bool half, Work work) {
    const auto columns = state.range(0), rows = state.range(1);
    Image src(rows, columns, bits), dst(half ? rows : columns, half ? columns : rows, bits);
    for (auto _ : state) {
        work(src, dst);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * rows * columns * bits / 8);
}

void qzk(benchmark::State &state, Member member, std::int32_t angle) {
    const auto columns = static_cast<std::int32_t>(state.range(0));
    const auto rows = static_cast<std::int32_t>(state.range(1));
    const bool half = angle == 180;
    turn(state, member.bits, half, [=](Image &src, Image &dst) {
        member.rotate(src.rows(), dst.rows(), angle, rows, columns, half ? rows : columns,
                      half ? columns : rows);
    });
}

/// As clients use it: every turn makes an image.
void leptonica(benchmark::State &state, int bits, std::int32_t angle) {
    PIX *src = pixCreate(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), bits);
    fill(pixGetData(src),
         4 * static_cast<std::size_t>(pixGetWpl(src)) * static_cast<std::size_t>(state.range(1)));
    for (auto _ : state) {
        PIX *dst = angle == 180 ? pixRotate180(nullptr, src) : pixRotate90(src, angle == -90 ? 1 : -1);
        benchmark::DoNotOptimize(dst);
        pixDestroy(&dst);
    }
    pixDestroy(&src);
    state.SetBytesProcessed(state.iterations() * state.range(0) * state.range(1) * bits / 8);
}

void opencv(benchmark::State &state, std::int32_t angle) {
    cv::setNumThreads(1);
    turn(state, 8, angle == 180, [=](Image &src, Image &dst) {
        const auto view = [](Image &image) {
            return cv::Mat(static_cast<int>(image.count()), static_cast<int>(image.rowBytes()), CV_8U,
                           image.bytes());
        };
        cv::Mat to = view(dst);
        cv::rotate(view(src), to,
                   angle == 180   ? cv::ROTATE_180
                   : angle == -90 ? cv::ROTATE_90_CLOCKWISE
                                  : cv::ROTATE_90_COUNTERCLOCKWISE);
    });
}

void copyRows(benchmark::State &state, int bits) {
    turn(state, bits, true, [](Image &src, Image &dst) {
        for (std::size_t i = 0; i < src.count(); ++i)
            std::memcpy(dst.rows()[i], src.rows()[i], src.rowBytes());
    });
}

template <class Run>
void add(const std::string &name, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->Args({64, 64})->Args({640, 480})->Args({4096, 4096});
}

const bool registered = [] {
    for (const Member &member : members)
        for (const std::int32_t angle : {90, -90, 180}) {
            const std::string row = std::string(member.name) + "." + std::to_string(angle) + "/";
            add(row + "qzk", [=](auto &state) { qzk(state, member, angle); });
            add(row + "leptonica", [=](auto &state) { leptonica(state, member.bits, angle); });
            if (member.bits == 8) add(row + "opencv", [=](auto &state) { opencv(state, angle); });
            if (angle == 90)
                add(row + "blocked", [=](auto &state) {
                    turn(state, member.bits, false, [&](Image &src, Image &dst) {
                        member.blocked(src.rows(), dst.rows(), static_cast<int>(state.range(1)),
                                       static_cast<int>(state.range(0)));
                    });
                });
            if (angle != -90) add(row + "memcpy", [=](auto &state) { copyRows(state, member.bits); });
        }
    return true;
}();

} // namespace
