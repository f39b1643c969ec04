#include "simd/reduction.hpp"

#include <bit>

namespace qzk::simd {
namespace {

using std::int32_t;
using std::int64_t;
using std::size_t;

template <class Element>
int32_t rankAt(Source<Element> src, size_t i) {
    if constexpr (std::is_same_v<Element, float>)
        return rankOfFloat(elementAt(reinterpret_cast<const int32_t *>(src.first), i));
    else
        return src.get(i);
}

template <class Element, class Order>
Extreme extreme(Operand<Element> src, size_t n) {
    Extreme found = {rankAt<Element>(src, 0), 0};
    for (size_t i = 1; i < n; ++i) {
        const int32_t rank = rankAt<Element>(src, i);
        if (Order::wins(rank, found.rank)) found = {rank, i};
    }
    return found;
}

template <class Element>
int64_t sum(Operand<Element> src, size_t n) {
    int64_t total = 0;
    for (size_t i = 0; i < n; ++i)
        total += src.get(i);
    return total;
}

double sumOfFloats(Source<float> src, size_t n) {
    constexpr size_t places = 4;
    double sums[places] = {};
    size_t i = n;
    for (; i >= places; i -= places)
        for (size_t place = 0; place < places; ++place)
            sums[place] += static_cast<double>(src.get(i - places + place));
    double total = sums[0] + sums[1] + sums[2] + sums[3];
    while (i-- > 0)
        total += static_cast<double>(src.get(i));
    return total;
}

int64_t setBits(const std::uint8_t *bytes, size_t n) {
    int64_t total = 0;
    for (size_t i = 0; i < n; ++i)
        total += std::popcount(bytes[i]);
    return total;
}

template <class Element>
void installExtremes(ExtremeKernels<Element> &kernels) {
    kernels = {extreme<Element, Smallest>, extreme<Element, Largest>};
}

template <class Element>
void installSum(SumKernels<Element> &kernels) {
    kernels = {sum<Element>};
}

} // namespace

void plain::install(ReductionKernels &kernels) {
    installExtremes<Nibble>(kernels);
    installExtremes<std::uint8_t>(kernels);
    installExtremes<std::int8_t>(kernels);
    installExtremes<std::int16_t>(kernels);
    installExtremes<float>(kernels);
    installSum<Nibble>(kernels);
    installSum<std::uint8_t>(kernels);
    installSum<std::int8_t>(kernels);
    installSum<std::int16_t>(kernels);
    static_cast<SumKernels<float> &>(kernels) = {sumOfFloats};
    kernels.setBits = setBits;
}

} // namespace qzk::simd
