#include "simd/arithmetic_operations.hpp"

namespace qzk::simd {
namespace {

using std::int32_t;
using std::size_t;

template <class Element, class Fit>
void produce(Source<Element> a, Source<Element> b, Target<Element> dst, size_t n, Fit fit) {
    for (size_t i = n; i-- > 0;)
        dst.set(i, fit(a.get(i), b.get(i)));
}

template <class Operation, class Element>
void fixed(Source<Element> a, Source<Element> b, Target<Element> dst, size_t n, int32_t shift) {
    produce<Element>(a, b, dst, n, Fixed<Operation, Element>{shift});
}

template <class Operation, class Element>
void saturated(Source<Element> a, Source<Element> b, Target<Element> dst, size_t n) {
    produce<Element>(a, b, dst, n, Saturated<Operation, Element>{});
}

template <class Operation, class Element>
int32_t fittingShift(Source<Element> a, Source<Element> b, size_t n) {
    std::uint32_t bits = 0;
    for (size_t i = 0; i < n; ++i)
        bits |= magnitudeBits(Operation::exact(a.get(i), b.get(i)));
    return shiftFor<Element>(bits);
}

template <class Operation>
void floats(Source<float> a, Source<float> b, Target<float> dst, size_t n) {
    produce<float>(a, b, dst, n, Operation::template exact<float>);
}

template <class Operation, class Element>
void installOperation(ElementKernels<Element> &kernels) {
    auto &forms = kernels.*Operation::template kernels<Element>;
    forms = {fixed<Operation, Element>, saturated<Operation, Element>, nullptr};
    if constexpr (Operation::template scalesAutomatically<Element>)
        forms.fittingShift = fittingShift<Operation, Element>;
}

template <class Element>
void installElement(ElementKernels<Element> &kernels) {
    installOperation<Add>(kernels);
    installOperation<Subtract>(kernels);
    installOperation<Multiply>(kernels);
}

} // namespace

void plain::install(ArithmeticKernels &kernels) {
    installElement<Nibble>(kernels);
    installElement<std::uint8_t>(kernels);
    installElement<std::int8_t>(kernels);
    installElement<std::int16_t>(kernels);
    static_cast<ElementKernels<float> &>(kernels) = {floats<Add>, floats<Subtract>, floats<Multiply>};
}

} // namespace qzk::simd
