// How a model's matrices are packed into blocks. Words are sign-extended to 32 bits and their vectors filled
// up to an even count; floats are copied as they are. Behind the packed transitions their block holds them
// once more, as the vector kernels read them.
#pragma once

#include "common/hmm.hpp"
#include "common/memory.hpp"
#include "qzk.h"
#include "simd/viterbi.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qzk {

template <class Element>
struct HMMElement;

template <>
struct HMMElement<float> {
    using Cost = float;
    static constexpr std::int32_t flavor = QZ_HMMFloat;
    static constexpr bool isFilled = false;
    static constexpr std::int64_t rowBlock = 1; // rows of codebook weights take a multiple of it
    static constexpr std::size_t slack = 0;     // bytes that the alignment may cost

    /// kept: judged by the bits, so that negative values and not-a-numbers fall on a definite side.
    static bool isImpossible(float value, std::int32_t flavors) {
        const auto bits = std::bit_cast<std::int32_t>(value);
        return (flavors & QZ_HMMCost) != 0 ? bits >= std::bit_cast<std::int32_t>(1e30f) : bits <= 0;
    }
};

template <>
struct HMMElement<std::int16_t> {
    using Cost = std::int32_t;
    static constexpr std::int32_t flavor = QZ_HMM16;
    static constexpr bool isFilled = true;
    static constexpr std::int64_t rowBlock = 4;
    static constexpr std::size_t slack = 4 + 7;

    static bool isImpossible(std::int16_t value, std::int32_t flavors) {
        return (flavors & QZ_HMMCost) != 0 ? value == 32767 : value <= 0;
    }
};

template <class Element>
using CostOf = typename HMMElement<Element>::Cost;

/// Length of a packed vector.
template <class Element>
constexpr std::int64_t filledLength(std::int64_t length) {
    return simd::packedLength<CostOf<Element>>(length);
}

/// Writes packed vectors one behind the other.
template <class Element>
class Packer {
public:
    using Cost = CostOf<Element>;

    Packer(Cost *to, std::int32_t flavor) : to_(to), cost_((flavor & QZ_HMMCost) != 0) {}

    void put(Element value) { *to_++ = value; }
    Cost shortFiller() const { return static_cast<Cost>(cost_ ? 0x1FFFF : 0); }
    Cost longFiller() const { return static_cast<Cost>(cost_ ? 0x1FFFFFFF : 0); }
    /// Where vectors are filled, `count` fillers.
    void fill(std::int64_t count, Cost filler) {
        if constexpr (HMMElement<Element>::isFilled)
            for (; count > 0; --count)
                *to_++ = filler;
    }
    Cost *end() const { return to_; }

private:
    Cost *to_;
    bool cost_;
};

/// A matrix of row pointers of the client.
template <class Element>
using Rows = const Element *const *;

template <class Element>
std::int32_t topologyOf(Rows<Element> a, std::int64_t n, std::int32_t flavor) {
    const auto allImpossible = [=](std::int64_t i, std::int64_t from, std::int64_t to) {
        while (from < to && HMMElement<Element>::isImpossible(a[i][from], flavor))
            ++from;
        return from >= to;
    };
    bool leftRight = n != 1, bakis = n >= 3;
    for (std::int64_t i = 0; i < n && leftRight; ++i) {
        leftRight = allImpossible(i, 0, i);
        bakis = bakis && allImpossible(i, i + 3, n);
    }
    return !leftRight ? 0 : bakis ? QZ_HMMBakis : QZ_HMMLeftRight;
}

/// Bytes of the packed transitions alone, from the start of the data.
template <class Element>
std::size_t packedTransitionBytes(std::int32_t topology, std::int64_t n) {
    const std::int64_t filled = filledLength<Element>(n);
    if (topology == QZ_HMMBakis)
        return arrayBytes(HMMElement<Element>::isFilled ? 3 * filled : 3 * n - 3, sizeof(CostOf<Element>));
    if (topology == QZ_HMMLeftRight) {
        const std::int64_t fillers = HMMElement<Element>::isFilled ? (n + 1) / 2 : 0;
        return arrayBytes(n * (n + 1) / 2 + fillers, sizeof(CostOf<Element>));
    }
    return arrayBytes(n, arrayBytes(filled, sizeof(CostOf<Element>)));
}

inline std::size_t laneBytes(std::int32_t topology, std::int64_t n) {
    const auto stride = static_cast<std::int64_t>(simd::viterbiStride(static_cast<std::size_t>(n)));
    const std::int64_t rows = topology == QZ_HMMBakis ? 3 : topology == QZ_HMMLeftRight ? n : n + 1;
    return arrayBytes(rows, arrayBytes(stride, 4));
}

template <class Element>
std::size_t transitionBlockBytes(std::int32_t topology, std::int64_t n) {
    constexpr std::size_t alignment = simd::viterbiAlignment;
    return bothBytes(
        bothBytes(HMMElement<Element>::slack + alignment, packedTransitionBytes<Element>(topology, n)),
        laneBytes(topology, n));
}

/// The kernels' copy of the transitions in their block.
template <class Element>
CostOf<Element> *transitionLanes(void *block, std::int32_t topology, std::int64_t n) {
    auto *const data = packedData<std::uint8_t>(block, HMMElement<Element>::flavor);
    return reinterpret_cast<CostOf<Element> *>(
        alignUp(data + packedTransitionBytes<Element>(topology, n), simd::viterbiAlignment));
}

/// Bakis: the three diagonals, each entry d of which belongs to target d (words) or in the order of the
/// sources (floats). Otherwise the columns, that of the last state first; left-to-right ones end on the
/// diagonal.
template <class Element>
void packTransitions(void *block, Rows<Element> a, std::int64_t n, std::int32_t topology,
                     std::int32_t flavor) {
    Packer<Element> packer(packedData<CostOf<Element>>(block, HMMElement<Element>::flavor), flavor);
    if (topology == QZ_HMMBakis) {
        for (std::int64_t d = 0; d < 3; ++d) {
            packer.fill(d, packer.shortFiller());
            for (std::int64_t k = 0; k + d < n; ++k)
                packer.put(a[k][k + d]);
            packer.fill(n % 2, packer.longFiller());
        }
        return;
    }
    for (std::int64_t j = n; j-- > 0;) {
        const std::int64_t length = topology == QZ_HMMLeftRight ? j + 1 : n;
        for (std::int64_t i = 0; i < length; ++i)
            packer.put(a[i][j]);
        packer.fill(length % 2, packer.longFiller());
    }
}

/// As simd::ViterbiModel describes it; entries that stand for nothing stay 0.
template <class Element>
void packLanes(CostOf<Element> *lanes, Rows<Element> a, std::int64_t n, std::int32_t topology) {
    const auto stride = static_cast<std::int64_t>(simd::viterbiStride(static_cast<std::size_t>(n)));
    if (topology == QZ_HMMBakis) {
        for (std::int64_t d = 0; d < 3; ++d)
            for (std::int64_t k = 0; k + d < n; ++k)
                lanes[d * stride + k + d] = a[k][k + d];
        return;
    }
    for (std::int64_t i = 0; i < n; ++i)
        for (std::int64_t j = topology == QZ_HMMLeftRight ? i : 0; j < n; ++j)
            lanes[i * stride + j] = a[i][j];
    if (topology == QZ_HMMLeftRight) return;
    for (std::int64_t i = 0; i < n; ++i)
        lanes[n * stride + i] =
            *std::min_element(lanes + i * stride, lanes + i * stride + n, simd::isLess<CostOf<Element>>);
}

/// Row pointers and rows of packed outputs: per symbol the costs of all states (discrete), or per state the
/// weights of the codebook as the client gave them (semicontinuous).
template <class Element>
struct OutputLayout {
    using Codebook = HMMElement<Element>;

    bool isDiscrete;
    std::int64_t n, s;

    std::int64_t rows() const { return isDiscrete ? s : n; }
    std::size_t rowBytes() const {
        if (isDiscrete) return arrayBytes(filledLength<Element>(n), sizeof(CostOf<Element>));
        return arrayBytes((s + Codebook::rowBlock - 1) / Codebook::rowBlock * Codebook::rowBlock,
                          sizeof(Element));
    }
    std::size_t pointerBytes() const { return arrayBytes(filledLength<Element>(rows()), sizeof(void *)); }
    std::size_t blockBytes() const {
        // The kernels read a row of costs in whole vectors, the last one too.
        constexpr std::size_t readBehind = simd::viterbiAlignment;
        return bothBytes(bothBytes(Codebook::slack + readBehind, pointerBytes()),
                         arrayBytes(rows(), rowBytes()));
    }
};

template <class Element>
void packOutputs(void *block, Rows<Element> b, const OutputLayout<Element> &layout, std::int32_t flavor) {
    auto **const pointers = packedData<void *>(block, HMMElement<Element>::flavor);
    auto *row = reinterpret_cast<std::uint8_t *>(pointers) + layout.pointerBytes();
    for (std::int64_t k = 0; k < layout.rows(); ++k, row += layout.rowBytes()) {
        pointers[k] = row;
        if (!layout.isDiscrete) {
            for (std::int64_t i = 0; i < layout.s; ++i)
                reinterpret_cast<Element *>(row)[i] = b[k][i];
            continue;
        }
        Packer<Element> packer(reinterpret_cast<CostOf<Element> *>(row), flavor);
        for (std::int64_t i = 0; i < layout.n; ++i)
            packer.put(b[i][k]);
        packer.fill(layout.n % 2, packer.shortFiller());
    }
}

template <class Element>
std::size_t initialBlockBytes(std::int64_t n) {
    return bothBytes(HMMElement<Element>::slack,
                     arrayBytes(filledLength<Element>(n), sizeof(CostOf<Element>)));
}

template <class Element>
void packInitial(void *block, const Element *pi, std::int64_t n, std::int32_t flavor) {
    Packer<Element> packer(packedData<CostOf<Element>>(block, HMMElement<Element>::flavor), flavor);
    for (std::int64_t i = 0; i < n; ++i)
        packer.put(pi[i]);
    packer.fill(n % 2, packer.shortFiller());
}

} // namespace qzk
