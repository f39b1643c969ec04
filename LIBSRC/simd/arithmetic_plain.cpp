#include "simd/arithmetic_operations.hpp"

namespace qzk::simd {
namespace {

using std::int32_t;
using std::size_t;

template <class Element, class Fit>
void produce(const Operands<Element> &operands, Fit fit) {
    const Operands<Element> all = operands;
    for (size_t i = all.n; i-- > 0;)
        all.dst.set(i, fit(all.aAt(i), all.bAt(i)));
}

template <class Operation, class Element>
void fixed(const Operands<Element> &operands, int32_t shift) {
    produce(operands, Fixed<Operation, Element>{shift});
}

template <class Operation, class Element>
void saturated(const Operands<Element> &operands) {
    produce(operands, Saturated<Operation, Element>{});
}

template <class Operation, class Element>
int32_t fittingShift(const Operands<Element> &operands) {
    std::uint32_t bits = 0;
    for (size_t i = 0; i < operands.n; ++i)
        bits |= magnitudeBits(Operation::exact(operands.aAt(i), operands.bAt(i)));
    return shiftFor<Element>(bits);
}

template <class Operation>
void floats(const Operands<float> &operands) {
    produce(operands, Operation::template exact<float>);
}

struct Forms {
    template <class Operation, class Element>
    static constexpr auto fixed = kernelOf<simd::fixed<Operation, Element>>;
    template <class Operation, class Element>
    static constexpr auto saturated = kernelOf<simd::saturated<Operation, Element>>;
    template <class Operation, class Element>
    static constexpr auto fittingShift = kernelOf<simd::fittingShift<Operation, Element>>;
    template <class Operation>
    static constexpr auto floats = kernelOf<simd::floats<Operation>>;
};

} // namespace

void plain::install(ArithmeticKernels &kernels) { installAll<Forms>(kernels); }

} // namespace qzk::simd
