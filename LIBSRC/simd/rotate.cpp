#include "simd/rotate.hpp"
#include "common/elements.hpp"
#include "simd/bit_shift.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

using std::size_t;
using std::uint16_t;
using std::uint32_t;
using std::uint64_t;
using std::uint8_t;

using Transpose = RotateKernels::Transpose;

// A tile is sixteen bytes of each of as many lines as a vector has bytes. A line gives one byte of the
// destination for each column it has: it is a row of bytes or a pair of rows of nibbles. Of bits, eight lines
// do.
constexpr size_t tileBytes = 16;

// Vectors of 16, 32 and 64 bytes, of which a level has the first one, two or three.
QZK_INLINE __m128i unpackedLow(__m128i a, __m128i b) { return _mm_unpacklo_epi8(a, b); }
QZK_INLINE __m128i unpackedHigh(__m128i a, __m128i b) { return _mm_unpackhi_epi8(a, b); }
QZK_INLINE uint16_t topBits(__m128i v) { return static_cast<uint16_t>(_mm_movemask_epi8(v)); }
QZK_INLINE __m128i movedUp(__m128i v) { return _mm_add_epi8(v, v); }
#if QZK_SIMD_LEVEL >= 2
QZK_INLINE __m256i unpackedLow(__m256i a, __m256i b) { return _mm256_unpacklo_epi8(a, b); }
QZK_INLINE __m256i unpackedHigh(__m256i a, __m256i b) { return _mm256_unpackhi_epi8(a, b); }
QZK_INLINE uint32_t topBits(__m256i v) { return static_cast<uint32_t>(_mm256_movemask_epi8(v)); }
QZK_INLINE __m256i movedUp(__m256i v) { return _mm256_add_epi8(v, v); }
#endif
#if QZK_SIMD_LEVEL == 3
QZK_INLINE __m512i unpackedLow(__m512i a, __m512i b) { return _mm512_unpacklo_epi8(a, b); }
QZK_INLINE __m512i unpackedHigh(__m512i a, __m512i b) { return _mm512_unpackhi_epi8(a, b); }
QZK_INLINE uint64_t topBits(__m512i v) { return _mm512_movepi8_mask(v); }
QZK_INLINE __m512i movedUp(__m512i v) { return _mm512_add_epi8(v, v); }
#endif

/// n bytes, 1 to `most`, which is at most 16.
template <size_t most>
QZK_INLINE void copyFew(uint8_t *to, const uint8_t *from, size_t n) {
    const auto ends = [=](auto word) {
        auto last = word;
        __builtin_memcpy(&word, from, sizeof word);
        __builtin_memcpy(&last, from + n - sizeof last, sizeof last);
        __builtin_memcpy(to, &word, sizeof word);
        __builtin_memcpy(to + n - sizeof last, &last, sizeof last);
    };
    if constexpr (most >= 8)
        if (n >= 8) return ends(uint64_t{});
    if constexpr (most >= 4)
        if (n >= 4) return ends(uint32_t{});
    if constexpr (most >= 2)
        if (n >= 2) return ends(uint16_t{});
    *to = *from;
}

/// A row's bytes in a tile, of which there may be fewer than sixteen.
struct LoadTile {
    [[gnu::always_inline]] __m128i operator()(const uint8_t *from) const {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
    }
};
struct LoadNarrowTile {
    size_t bytes;

    [[gnu::always_inline]] __m128i operator()(const uint8_t *from) const {
#if QZK_SIMD_LEVEL == 3
        return _mm_maskz_loadu_epi8(static_cast<__mmask16>((1u << bytes) - 1), from);
#else
        __m128i v = _mm_setzero_si128();
        copyFew<sizeof v>(reinterpret_cast<uint8_t *>(&v), from, bytes);
        return v;
#endif
    }
};

/// The rows of a tile whose rows are all there: sixteen bytes of row i from byte `byte` on, or fewer.
template <class Load>
struct WholeRows {
    Rows<const uint8_t> rows;
    size_t byte;
    Load load;

    [[gnu::always_inline]] __m128i operator()(size_t i) const { return load(rows[i] + byte); }
};

/// Those of a tile at the picture's edge: zeros take the place of rows outside of it. Row 0 of the tile is
/// row `first` of `count`, modulo the range of the type.
struct SomeRows {
    Rows<const uint8_t> rows;
    size_t first, count, byte;
    LoadNarrowTile load;

    [[gnu::always_inline]] __m128i operator()(size_t i) const {
        return first + i < count ? load(rows[first + i] + byte) : _mm_setzero_si128();
    }
};

/// Sixteen bytes of row i in the first sixteen bytes of a vector, of row i + stride in the next ones...
template <class V, class Row>
QZK_INLINE V joined(Row row, size_t i, [[maybe_unused]] size_t stride) {
    if constexpr (sizeof(V) == 16) return row(i);
#if QZK_SIMD_LEVEL >= 2
    else if constexpr (sizeof(V) == 32)
        return _mm256_inserti128_si256(_mm256_castsi128_si256(row(i)), row(i + stride), 1);
#endif
#if QZK_SIMD_LEVEL == 3
    else {
        __m512i v = _mm512_castsi128_si512(row(i));
        v = _mm512_inserti32x4(v, row(i + stride), 1);
        v = _mm512_inserti32x4(v, row(i + 2 * stride), 2);
        return _mm512_inserti32x4(v, row(i + 3 * stride), 3);
    }
#endif
}

/// Gives sink(c, v) the bytes of column c of a tile whose line i in every sixteen is line(i), c ascending.
/// Each step turns the index of a byte, line above column, by one bit.
template <class V, class Line, class Sink>
QZK_INLINE void transposeTile(Line line, Sink sink) {
    V v[tileBytes];
#pragma GCC unroll 16
    for (size_t i = 0; i < tileBytes; ++i)
        v[i] = line(i);
#pragma GCC unroll 4
    for (int step = 0; step < 4; ++step) {
        V turned[tileBytes];
#pragma GCC unroll 8
        for (size_t i = 0; i < tileBytes / 2; ++i) {
            turned[2 * i] = unpackedLow(v[i], v[i + tileBytes / 2]);
            turned[2 * i + 1] = unpackedHigh(v[i], v[i + tileBytes / 2]);
        }
#pragma GCC unroll 16
        for (size_t i = 0; i < tileBytes; ++i)
            v[i] = turned[i];
    }
#pragma GCC unroll 16
    for (size_t c = 0; c < tileBytes; ++c)
        sink(c, v[c]);
}

/// How a tile's bytes get into a row of the destination: all of them, or
struct PutAll {
    template <class Word>
    [[gnu::always_inline]] void operator()(uint8_t *to, Word word) const {
        __builtin_memcpy(to, &word, sizeof word);
    }
};
/// the first n, or
struct PutSome {
    size_t n;

    template <class Word>
    [[gnu::always_inline]] void operator()(uint8_t *to, Word word) const {
        copyFew<sizeof word>(to, reinterpret_cast<const uint8_t *>(&word), n);
    }
};
/// some elements of the first one.
struct PutMasked {
    unsigned mask;

    template <class Word>
    [[gnu::always_inline]] void operator()(uint8_t *to, Word word) const {
        uint8_t byte;
        __builtin_memcpy(&byte, &word, sizeof byte);
        *to = static_cast<uint8_t>((*to & ~mask) | (byte & mask));
    }
};

/// Rows of the destination that take the columns of a tile. Those outside the picture are left out.
template <class Put>
struct TileTarget {
    Rows<uint8_t> rows;
    size_t count, byte;
    Put put;

    template <class Word>
    [[gnu::always_inline]] void operator()(size_t k, Word word) const {
        if (k < count) put(rows[k] + byte, word);
    }
};

// What becomes of a tile: elements of `row` to `target`, whose row `first` takes the tile's first column.

template <class Element>
struct Tile;

template <>
struct Tile<uint8_t> {
    static constexpr size_t perByte = 1;
    static constexpr size_t linesPerByte = 1;

    template <class V, class Row, class Target>
    [[gnu::always_inline]] static void transpose(Row row, Target target, size_t first) {
        transposeTile<V>([=](size_t i) { return joined<V>(row, i, tileBytes); },
                         [=](size_t c, V v) { target(first + c, v); });
    }
};

template <>
struct Tile<Nibble> {
    static constexpr size_t perByte = 2;
    static constexpr size_t linesPerByte = 1;

    template <class V, class Row, class Target>
    [[gnu::always_inline]] static void transpose(Row row, Target target, size_t first) {
        const V low = repeated<V>(0x0F0F0F0F), high = repeated<V>(0xF0F0F0F0);
        const auto upper = [=](size_t i) { return joined<V>(row, 2 * i, 2 * tileBytes); };
        const auto lower = [=](size_t i) { return joined<V>(row, 2 * i + 1, 2 * tileBytes); };
        transposeTile<V>([=](size_t i) { return (upper(i) & high) | (lower(i) >> 4 & low); },
                         [=](size_t c, V v) { target(first + 2 * c, v); });
        transposeTile<V>([=](size_t i) { return (upper(i) << 4 & high) | (lower(i) & low); },
                         [=](size_t c, V v) { target(first + 2 * c + 1, v); });
    }
};

template <>
struct Tile<Bit> {
    static constexpr size_t perByte = 8;
    static constexpr size_t linesPerByte = 8;

    template <class V, class Row, class Target>
    [[gnu::always_inline]] static void transpose(Row row, Target target, size_t first) {
        // The first of eight rows comes last, since it goes to the most significant bit.
        transposeTile<V>([=](size_t i) { return joined<V>(row, i ^ 7, tileBytes); },
                         [=](size_t c, V v) {
#pragma GCC unroll 8
                             for (size_t k = 0; k < perByte; ++k) {
                                 target(first + perByte * c + k, topBits(v));
                                 v = movedUp(v);
                             }
                         });
    }
};

/// The bytes of a transposition, as tiles cover them.
template <class Element>
class Tiles {
public:
    [[gnu::always_inline]] explicit Tiles(const Transpose &t)
        : t_(t), srcByte_(t.srcColumn / perByte), skipped_(t.srcColumn % perByte),
          srcBytes_((skipped_ + t.columns + perByte - 1) / perByte), dstBegin_(t.dstColumn / perByte),
          dstEnd_((t.dstColumn + t.rows + perByte - 1) / perByte) {}

    void run() const {
        // Long enough to use the lines of the cache that the rows lie in.
        constexpr size_t strip = 64;
        for (size_t begin = 0; begin < srcBytes_; begin += strip)
            runStrip(begin, begin + strip < srcBytes_ ? begin + strip : srcBytes_);
    }

private:
    using Tile = simd::Tile<Element>;
    static constexpr size_t perByte = Tile::perByte;

    /// Source bytes from begin to end of all rows.
    [[gnu::always_inline]] void runStrip(size_t begin, size_t end) const {
        size_t first = dstBegin_, last = dstEnd_;
        const unsigned firstMask = 0xFFu >> width * (t_.dstColumn % perByte);
        const unsigned lastMask = 0xFF00u >> width * ((t_.dstColumn + t_.rows - 1) % perByte + 1) & 0xFF;
        if (first + 1 == last && (firstMask & lastMask) != 0xFF)
            return runEdge(first, begin, end, PutMasked{firstMask & lastMask});
        if (firstMask != 0xFF) runEdge(first++, begin, end, PutMasked{firstMask});
        if (lastMask != 0xFF) runEdge(--last, begin, end, PutMasked{lastMask});

#if QZK_SIMD_LEVEL == 3
        if (last - first >= sizeof(__m512i) / Tile::linesPerByte)
            return runStripes<__m512i>(first, last, begin, end);
#endif
#if QZK_SIMD_LEVEL >= 2
        if (last - first >= sizeof(__m256i) / Tile::linesPerByte)
            return runStripes<__m256i>(first, last, begin, end);
#endif
        if (last - first >= sizeof(__m128i) / Tile::linesPerByte)
            runStripes<__m128i>(first, last, begin, end);
        else if (first != last)
            runEdge(first, begin, end, PutSome{last - first});
    }

    /// Whole bytes of the destination, at least as many as a tile has. The last tiles overlap those before.
    template <class V>
    [[gnu::always_inline]] void runStripes(size_t first, size_t last, size_t begin, size_t end) const {
        constexpr size_t step = sizeof(V) / Tile::linesPerByte;
        for (; last - first > step; first += step)
            runStripe<V>(first, begin, end);
        runStripe<V>(last - step, begin, end);
    }

    template <class V>
    void runStripe(size_t dstByte, size_t begin, size_t end) const {
        const auto rows = t_.src.from(dstByte * perByte - t_.dstColumn);
        const TileTarget<PutAll> target = {t_.dst, t_.columns, dstByte, {}};
        if (srcBytes_ < tileBytes) {
            const WholeRows<LoadNarrowTile> narrow = {rows, srcByte_, {srcBytes_}};
            return Tile::template transpose<V>(narrow, target, -skipped_);
        }
        for (size_t byte = begin; byte < end; byte += tileBytes) {
            const size_t at = byte + tileBytes <= srcBytes_ ? byte : srcBytes_ - tileBytes;
            Tile::template transpose<V>(WholeRows<LoadTile>{rows, srcByte_ + at, {}}, target,
                                        perByte * at - skipped_);
        }
    }

    /// Bytes of the destination that are too few for a tile, from one on.
    template <class Put>
    void runEdge(size_t dstByte, size_t begin, size_t end, Put put) const {
        const size_t row = dstByte * perByte - t_.dstColumn;
        for (size_t byte = begin; byte < end; byte += tileBytes) {
            const size_t bytes = end - byte < tileBytes ? end - byte : tileBytes;
            Tile::template transpose<__m128i>(SomeRows{t_.src, row, t_.rows, srcByte_ + byte, {bytes}},
                                              TileTarget<Put>{t_.dst, t_.columns, dstByte, put},
                                              perByte * byte - skipped_);
        }
    }

    static constexpr unsigned width = Source<Element>::width;

    const Transpose &t_;
    size_t srcByte_, skipped_, srcBytes_, dstBegin_, dstEnd_;
};

template <class Element>
void transpose(const Transpose &t) {
    Tiles<Element>(t).run();
}

} // namespace

void QZK_LEVEL::install(RotateKernels &kernels) {
    kernels = {transpose<Bit>, transpose<Nibble>, transpose<uint8_t>};
}

} // namespace qzk::simd
