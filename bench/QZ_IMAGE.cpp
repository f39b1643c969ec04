// Copies of regions and mirror images. Leptonica's images of 1, 4 and 8 bits have our layout but for the
// order of the bytes in a word; OpenCV has bytes. `memcpy` copies the rows as they are.
#include "qzk.h"

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
    Image(int rows, int columns, int bits)
        : rowBytes_(static_cast<std::size_t>(columns * bits / 8)),
          bytes_(static_cast<std::size_t>(rows) * rowBytes_) {
        fill(bytes_.data(), bytes_.size());
        for (std::size_t i = 0; i < static_cast<std::size_t>(rows); ++i)
            rows_.push_back(bytes_.data() + i * rowBytes_);
    }
    std::uint8_t *const *rows() const { return rows_.data(); }

private:
    std::size_t rowBytes_;
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t *> rows_;
};

struct Member {
    std::string letter;
    decltype(&QZbCopyImage) copy;
    decltype(&QZbMirrorImage) mirror;
    int bits;
};

int columnsOf(const benchmark::State &state) { return static_cast<int>(state.range(0)); }
int rowsOf(const benchmark::State &state) { return static_cast<int>(state.range(1)); }

/// work(src, dst) over two images of ours.
template <class Work>
void ours(benchmark::State &state, int bits, Work work) {
    const Image src(rowsOf(state), columnsOf(state), bits), dst(rowsOf(state), columnsOf(state), bits);
    for (auto _ : state) {
        work(src.rows(), dst.rows());
        benchmark::ClobberMemory();
    }
}

template <class Work>
void leptonica(benchmark::State &state, int bits, Work work) {
    PIX *src = pixCreate(columnsOf(state), rowsOf(state), bits);
    PIX *dst = pixCreate(columnsOf(state), rowsOf(state), bits);
    fill(pixGetData(src), static_cast<std::size_t>(4 * pixGetWpl(src) * rowsOf(state)));
    for (auto _ : state) {
        work(src, dst);
        benchmark::ClobberMemory();
    }
    pixDestroy(&src);
    pixDestroy(&dst);
}

template <class Work>
void openCv(benchmark::State &state, Work work) {
    cv::setNumThreads(1);
    cv::Mat src(rowsOf(state), columnsOf(state), CV_8U), dst(rowsOf(state), columnsOf(state), CV_8U);
    fill(src.data, src.total());
    for (auto _ : state) {
        work(src, dst);
        benchmark::ClobberMemory();
    }
}

/// `bytes` bytes of each of `rows` rows.
void copyRows(benchmark::State &state, int bits, int rows, int bytes) {
    ours(state, bits, [=](auto *src, auto *dst) {
        for (int row = 0; row < rows; ++row)
            std::memcpy(dst[row], src[row], static_cast<std::size_t>(bytes));
    });
}

void sizes(benchmark::internal::Benchmark *row) {
    row->Args({64, 64})->Args({640, 480})->Args({4096, 4096})->Unit(benchmark::kNanosecond);
}

template <class Run>
void add(const std::string &name, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->Apply(sizes);
}

void addMirrors(const Member &member) {
    for (const bool flipRows : {false, true}) {
        const std::string row = "QZ" + member.letter + "MirrorImage." + (flipRows ? "rows/" : "columns/");
        const int bits = member.bits;
        add(row + "qzk", [=](auto &state) {
            ours(state, bits, [&](auto *src, auto *dst) {
                member.mirror(src, dst, rowsOf(state), columnsOf(state), flipRows);
            });
        });
        add(row + "memcpy",
            [=](auto &state) { copyRows(state, bits, rowsOf(state), columnsOf(state) * bits / 8); });
        add(row + "leptonica", [=](auto &state) {
            leptonica(state, bits, [=](PIX *src, PIX *dst) {
                if (flipRows)
                    pixFlipTB(dst, src);
                else
                    pixFlipLR(dst, src);
            });
        });
        if (bits == 8)
            add(row + "opencv", [=](auto &state) {
                openCv(state, [=](auto &src, auto &dst) { cv::flip(src, dst, flipRows ? 0 : 1); });
            });
    }
}

/// All but a few rows and columns, from column 3 to column `to`.
void addCopies(const Member &member, const std::string &place, int to) {
    constexpr int left = 16; // rows and columns that are not copied
    const std::string row = "QZ" + member.letter + "CopyImage." + place + "/";
    const int bits = member.bits;
    add(row + "qzk", [=](auto &state) {
        const QZCopyRegion region = {1, 3, rowsOf(state) - left, columnsOf(state) - left + 2};
        ours(state, bits, [&](auto *src, auto *dst) { member.copy(src, dst, &region, 2, to); });
    });
    add(row + "memcpy", [=](auto &state) {
        copyRows(state, bits, rowsOf(state) - left, (columnsOf(state) - left) * bits / 8);
    });
    add(row + "leptonica", [=](auto &state) {
        leptonica(state, bits, [&](PIX *src, PIX *dst) {
            pixRasterop(dst, to, 2, columnsOf(state) - left, rowsOf(state) - left, PIX_SRC, src, 3, 1);
        });
    });
    if (bits == 8)
        add(row + "opencv", [=](auto &state) {
            const cv::Size size(columnsOf(state) - left, rowsOf(state) - left);
            openCv(state, [&](const cv::Mat &src, cv::Mat &dst) {
                src(cv::Rect({3, 1}, size)).copyTo(dst(cv::Rect({to, 2}, size)));
            });
        });
}

const bool registered = [] {
    const Member members[] = {{"b", QZbCopyImage, QZbMirrorImage, 1},
                              {"n", QZnCopyImage, QZnMirrorImage, 4},
                              {"y", QZyCopyImage, QZyMirrorImage, 8}};
    for (const Member &member : members) {
        addMirrors(member);
        if (member.bits < 8) addCopies(member, "aligned", 11);
        addCopies(member, member.bits < 8 ? "shifted" : "region", 6);
    }
    return true;
}();

} // namespace
