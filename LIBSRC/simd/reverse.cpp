#include "simd/reverse.hpp"
#include "common/elements.hpp"
#include "simd/bit_shift.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

using std::ptrdiff_t;
using std::size_t;
using std::uint16_t;
using std::uint32_t;
using std::uint64_t;
using std::uint8_t;

#if QZK_SIMD_LEVEL >= 2
typedef uint16_t Bytes32 __attribute__((vector_size(32)));
#endif
#if QZK_SIMD_LEVEL == 3
typedef uint16_t Bytes64 __attribute__((vector_size(64)));
#endif

/// The bytes of a word from the last to the first.
QZK_INLINE uint8_t bytesReversed(uint8_t v) { return v; }
QZK_INLINE uint16_t bytesReversed(uint16_t v) { return __builtin_bswap16(v); }
QZK_INLINE uint32_t bytesReversed(uint32_t v) { return __builtin_bswap32(v); }
QZK_INLINE uint64_t bytesReversed(uint64_t v) { return __builtin_bswap64(v); }
#if QZK_SIMD_LEVEL == 1
QZK_INLINE Bytes16 bytesReversed(Bytes16 v) {
    constexpr int descending = _MM_SHUFFLE(0, 1, 2, 3), halvesSwapped = _MM_SHUFFLE(1, 0, 3, 2);
    const auto words = (__m128i)(v << 8 | v >> 8);
    const __m128i halves = _mm_shufflehi_epi16(_mm_shufflelo_epi16(words, descending), descending);
    return (Bytes16)_mm_shuffle_epi32(halves, halvesSwapped);
}
#else
QZK_INLINE __m128i descendingBytes() {
    return _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
}
QZK_INLINE Bytes16 bytesReversed(Bytes16 v) {
    return (Bytes16)_mm_shuffle_epi8((__m128i)v, descendingBytes());
}
QZK_INLINE Bytes32 bytesReversed(Bytes32 v) {
    constexpr int halvesSwapped = _MM_SHUFFLE(1, 0, 3, 2);
    const __m256i order = _mm256_broadcastsi128_si256(descendingBytes());
    return (Bytes32)_mm256_permute4x64_epi64(_mm256_shuffle_epi8((__m256i)v, order), halvesSwapped);
}
#endif
#if QZK_SIMD_LEVEL == 3
QZK_INLINE Bytes64 bytesReversed(Bytes64 v) {
    constexpr int descending = _MM_SHUFFLE(0, 1, 2, 3);
    const __m512i order = _mm512_broadcast_i32x4(descendingBytes());
    const __m512i lanes = _mm512_shuffle_epi8((__m512i)v, order);
    return (Bytes64)_mm512_shuffle_i64x2(lanes, lanes, descending);
}
#endif

/// Exchanges neighbouring groups of `bits` bits within the bytes; `low` holds the lower group of each pair.
template <unsigned bits, class T>
QZK_INLINE T neighboursSwapped(T v, uint8_t low) {
    const T mask = repeated<T>(low * 0x01010101u);
    return static_cast<T>((static_cast<T>(v >> bits) & mask) | static_cast<T>((v & mask) << bits));
}

/// The elements of every byte from the last to the first.
template <class Element, class T>
QZK_INLINE T elementsReversed(T v) {
    if constexpr (Source<Element>::width <= 4) v = neighboursSwapped<4>(v, 0x0F);
    if constexpr (Source<Element>::width <= 2) v = neighboursSwapped<2>(v, 0x33);
    if constexpr (Source<Element>::width <= 1) v = neighboursSwapped<1>(v, 0x55);
    return v;
}

#if QZK_SIMD_LEVEL >= 2
QZK_INLINE Bytes16 lookUp(__m128i table, Bytes16 v) { return (Bytes16)_mm_shuffle_epi8(table, (__m128i)v); }
QZK_INLINE Bytes32 lookUp(__m128i table, Bytes32 v) {
    return (Bytes32)_mm256_shuffle_epi8(_mm256_broadcastsi128_si256(table), (__m256i)v);
}
#if QZK_SIMD_LEVEL == 3
QZK_INLINE Bytes64 lookUp(__m128i table, Bytes64 v) {
    return (Bytes64)_mm512_shuffle_epi8(_mm512_broadcast_i32x4(table), (__m512i)v);
}
#endif

/// The bits of every byte from the last to the first: each half is looked up, reversed, for the other one.
template <class T>
QZK_INLINE T bitsReversed(T v) {
    const __m128i low = _mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15);
    const __m128i high = _mm_slli_epi16(low, 4);
    const T halves = repeated<T>(0x0F0F0F0F);
    return lookUp(high, (T)(v & halves)) | lookUp(low, (T)(v >> 4 & halves));
}
#endif

/// Where a destination byte takes its elements: byte k takes the low 8 - left bits of last[-k] on top of the
/// high `left` bits of the byte behind it, in reverse.
template <class Element, bool shifted>
struct ReversedRow {
    const uint8_t *last;
    BitShift shift;

    /// Destination bytes from k on, as many as T has.
    template <class T>
    [[gnu::always_inline]] T at(size_t k) const {
        const uint8_t *const from = last - k - (sizeof(T) - 1);
        T word = Load<T>{}(from);
        if constexpr (shifted) word = shift(word, Load<T>{}(from + 1));
#if QZK_SIMD_LEVEL >= 2
        if constexpr (Source<Element>::width == 1 && sizeof(T) >= sizeof(Bytes16))
            return bytesReversed(bitsReversed(word));
#endif
        return bytesReversed(elementsReversed<Element>(word));
    }
};

/// n bytes, at least one T. The last block overlaps the one before it.
template <class T, class Row>
QZK_INLINE void produceBlocks(Row row, uint8_t *dst, size_t k, size_t end) {
    for (; end - k > sizeof(T); k += sizeof(T))
        put(dst + k, row.template at<T>(k));
    put(dst + end - sizeof(T), row.template at<T>(end - sizeof(T)));
}

/// Destination bytes from k to end.
template <class Row>
QZK_INLINE void produce(Row row, uint8_t *dst, size_t k, size_t end) {
    const size_t n = end - k;
#if QZK_SIMD_LEVEL == 3
    if (n >= sizeof(Bytes64)) return produceBlocks<Bytes64>(row, dst, k, end);
#endif
#if QZK_SIMD_LEVEL >= 2
    if (n >= sizeof(Bytes32)) return produceBlocks<Bytes32>(row, dst, k, end);
#endif
    if (n >= sizeof(Bytes16))
        produceBlocks<Bytes16>(row, dst, k, end);
    else if (n >= sizeof(uint64_t))
        produceBlocks<uint64_t>(row, dst, k, end);
    else if (n >= sizeof(uint32_t))
        produceBlocks<uint32_t>(row, dst, k, end);
    else if (n >= sizeof(uint16_t))
        produceBlocks<uint16_t>(row, dst, k, end);
    else if (n != 0)
        produceBlocks<uint8_t>(row, dst, k, end);
}

/// Bytes that hold elements outside the destination row too.
template <class Element>
class Ends {
public:
    [[gnu::always_inline]] Ends(const uint8_t *src, size_t bytes, const uint8_t *last, BitShift shift)
        : src_(src), bytes_(bytes), last_(last - src), shift_(shift) {}

    /// Writes what `mask` covers of destination byte k.
    [[gnu::always_inline]] void put(uint8_t *dst, size_t k, unsigned mask) const {
        const ptrdiff_t i = last_ - static_cast<ptrdiff_t>(k);
        const auto joined = byteAt(i) << shift_.left | byteAt(i + 1) >> (8 - shift_.left);
        const uint8_t value = elementsReversed<Element>(static_cast<uint8_t>(joined));
        dst[k] = static_cast<uint8_t>((dst[k] & ~mask) | (value & mask));
    }

private:
    /// Bytes outside the source row hold nothing that a mask covers.
    [[gnu::always_inline]] unsigned byteAt(ptrdiff_t i) const {
        return i >= 0 && static_cast<size_t>(i) < bytes_ ? src_[i] : 0;
    }

    const uint8_t *src_;
    size_t bytes_;
    ptrdiff_t last_;
    BitShift shift_;
};

template <class Element>
void reverse(const uint8_t *src, size_t srcSkipped, uint8_t *dst, size_t dstSkipped, size_t n) {
    constexpr uint64_t width = Source<Element>::width;
    if (n == 0) return;
    const uint64_t dstBit = dstSkipped * width, bits = n * width;
    const uint64_t srcEnd = srcSkipped * width + bits, dstEnd = dstBit + bits;
    // Bit dstBit + i takes bit srcEnd - 1 - i.
    const BitShift shift = {static_cast<unsigned>((srcEnd + dstBit) % 8)};
    const uint8_t *const last =
        src + static_cast<size_t>((srcEnd + dstBit - 1) / 8) - (shift.left != 0 ? 1 : 0);

    const auto firstWhole = static_cast<size_t>((dstBit + 7) / 8), endWhole = static_cast<size_t>(dstEnd / 8);
    if (width < 8 && (dstBit % 8 != 0 || dstEnd % 8 != 0)) {
        const Ends<Element> ends(src, static_cast<size_t>((srcEnd + 7) / 8), last, shift);
        const unsigned firstMask = 0xFFu >> dstBit % 8, lastMask = 0xFF00u >> dstEnd % 8 & 0xFF;
        if (endWhole < firstWhole) return ends.put(dst, 0, firstMask & lastMask);
        if (dstBit % 8 != 0) ends.put(dst, 0, firstMask);
        if (dstEnd % 8 != 0) ends.put(dst, endWhole, lastMask);
    }
    if (width == 8 || shift.left == 0)
        produce(ReversedRow<Element, false>{last, shift}, dst, firstWhole, endWhole);
    else
        produce(ReversedRow<Element, width != 8>{last, shift}, dst, firstWhole, endWhole);
}

} // namespace

void QZK_LEVEL::install(ReverseKernels &kernels) {
    kernels = {reverse<Bit>, reverse<Nibble>, reverse<uint8_t>};
}

} // namespace qzk::simd
