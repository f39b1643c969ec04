#include "families.hpp"
#include "record.hpp"

namespace qzk::digest {

void power2() {
    for (std::int32_t n = -1200; n <= 1200; ++n)
        call<QZPower2>(n);
    call<QZPower2>(2147483647);
    call<QZPower2>(-2147483647 - 1);
}

} // namespace qzk::digest
