// e^x of pairs of doubles in lanes, to more bits than extended precision has.
#pragma once

#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

/// 2^(j/64) in two parts, of which the first has 26 bits.
alignas(64) constexpr double powers[64][2] = {
    {0x1.0000000000000p+0, 0x0.0p+0},
    {0x1.02c9a38000000p+0, 0x1.9de0183b9bdf3p-26},
    {0x1.059b0d0000000p+0, 0x1.8ac2ba1d73e2ap-27},
    {0x1.0874518000000p+0, 0x1.d66f20230d7c9p-30},
    {0x1.0b55868000000p+0, 0x1.3e6243d8a62e5p-26},
    {0x1.0e3ec30000000p+0, 0x1.69e8d10103a17p-27},
    {0x1.11301d0000000p+0, 0x1.25b50a4ebbf1bp-32},
    {0x1.1429aa8000000p+0, 0x1.aa4b77ecd0406p-26},
    {0x1.172b838000000p+0, 0x1.1f545eb737df2p-26},
    {0x1.1a35be8000000p+0, 0x1.b7e5ba9e5b4c8p-27},
    {0x1.1d48730000000p+0, 0x1.68b9aa7805b80p-28},
    {0x1.2063b88000000p+0, 0x1.8a3358ee3bac1p-30},
    {0x1.2387a68000000p+0, 0x1.9d588e19b07ebp-26},
    {0x1.26b4560000000p+0, 0x1.789f37495e99dp-26},
    {0x1.29e9df0000000p+0, 0x1.47f7b84b09745p-26},
    {0x1.2d285a0000000p+0, 0x1.b900c2d002475p-26},
    {0x1.306fe08000000p+0, 0x1.18db8a96f46adp-27},
    {0x1.33c08b0000000p+0, 0x1.320b7fa64e431p-27},
    {0x1.371a730000000p+0, 0x1.ceaa72a9c5154p-26},
    {0x1.3a7db30000000p+0, 0x1.3967fdba86f25p-26},
    {0x1.3dea648000000p+0, 0x1.048d088d6d049p-26},
    {0x1.4160a20000000p+0, 0x1.f72e29f84325cp-28},
    {0x1.44e0860000000p+0, 0x1.8624b40c4dbd0p-30},
    {0x1.486a2b0000000p+0, 0x1.704f3404f068fp-26},
    {0x1.4bfdad0000000p+0, 0x1.4d8a89c750e5fp-26},
    {0x1.4f9b270000000p+0, 0x1.a74b29ab4cf63p-26},
    {0x1.5342b50000000p+0, 0x1.a753e077c2a0fp-26},
    {0x1.56f4730000000p+0, 0x1.ad49f699bb2c0p-26},
    {0x1.5ab07d8000000p+0, 0x1.52150a56324c0p-26},
    {0x1.5e76f10000000p+0, 0x1.6b48521ba6f93p-26},
    {0x1.6247eb0000000p+0, 0x1.d2ac258f87d03p-31},
    {0x1.6623880000000p+0, 0x1.2a91124893ecfp-27},
    {0x1.6a09e60000000p+0, 0x1.9fcef32422cbfp-26},
    {0x1.6dfb238000000p+0, 0x1.19468bbc8838bp-26},
    {0x1.71f75e8000000p+0, 0x1.d8bee7ba46e1ep-29},
    {0x1.75feb50000000p+0, 0x1.9099f22fdba6bp-26},
    {0x1.7a11470000000p+0, 0x1.f580c36bea881p-27},
    {0x1.7e2f330000000p+0, 0x1.b3d398841740bp-26},
    {0x1.8258998000000p+0, 0x1.4cce128acf88bp-28},
    {0x1.868d998000000p+0, 0x1.a2497640720edp-27},
    {0x1.8ace540000000p+0, 0x1.15506dadd3e2bp-27},
    {0x1.8f1ae98000000p+0, 0x1.1577362b98274p-28},
    {0x1.93737b0000000p+0, 0x1.9b8bc9e8a0388p-29},
    {0x1.97d8298000000p+0, 0x1.f79393e2e7a48p-26},
    {0x1.9c49180000000p+0, 0x1.51f8480e3e236p-27},
    {0x1.a0c6678000000p+0, 0x1.aef2b2594d6d4p-27},
    {0x1.a5503b0000000p+0, 0x1.1f12ae45a1225p-27},
    {0x1.a9e6b50000000p+0, 0x1.5e7f6fd0fac91p-26},
    {0x1.ae89f98000000p+0, 0x1.5ad3ad5e8734dp-28},
    {0x1.b33a2b8000000p+0, 0x1.3c57ebdaff43ap-30},
    {0x1.b7f76f0000000p+0, 0x1.7daf237553d84p-27},
    {0x1.bcc1e90000000p+0, 0x1.2f074891ee83dp-30},
    {0x1.c199bd8000000p+0, 0x1.6154a7088832cp-26},
    {0x1.c67f128000000p+0, 0x1.95f452d2884e0p-26},
    {0x1.cb720d8000000p+0, 0x1.3be41a4540f2fp-26},
    {0x1.d072d48000000p+0, 0x1.03c4bdc687918p-27},
    {0x1.d5818d8000000p+0, 0x1.3ee921c976817p-26},
    {0x1.da9e600000000p+0, 0x1.ed9942b84600dp-27},
    {0x1.dfc9730000000p+0, 0x1.bdcdaf5cb4656p-27},
    {0x1.e502ee0000000p+0, 0x1.e2cffd89cf44cp-26},
    {0x1.ea4afa0000000p+0, 0x1.52486cc2c7b9dp-27},
    {0x1.efa1be8000000p+0, 0x1.985689ddc7f48p-26},
    {0x1.f507658000000p+0, 0x1.b722a033a7c26p-27},
    {0x1.fa7c180000000p+0, 0x1.9e90d82e90a7ep-28},
};

/// e^x = sum.hi + sum.lo up to a relative error below 2^-66, for x = hi + lo with |hi| <= 650 and |lo| at
/// most an ulp of hi.
///
/// x = k ln(2)/64 + r, |r| < 2^-7.5. ln(2)/64 has three parts; the first two of 36 bits each, whose products
/// with k, of 16 bits, are exact. Of e^r - 1 = r + p, p < 2^-16 is evaluated in double with an error of three
/// roundings, below 2^-67.4; what the last term leaves out is below 2^-75. The product with 2^(j/64) loses
/// five roundings of parts below 2^-16, at most 2^-69 each.
QZK_INLINE void exponentials(Vec<double> hi, Vec<double> lo, Vec<double> &resultHi, Vec<double> &resultLo) {
    const Vec<double> shift = splat(0x1.8p52);
    const Vec<double> shifted = hi * splat(0x1.71547652b82fep+6) + shift, k = shifted - shift;
    const auto index = (Vec<std::int64_t>)shifted - (Vec<std::int64_t>)shift;

    const Vec<double> near = hi - k * splat(0x1.62e42fefa0000p-7), second = k * splat(0x1.cf79abc9e0000p-46);
    const Vec<double> rest = near - second, used = near - rest;
    const Vec<double> error = (near - (rest + used)) + (used - second);
    const Vec<double> tail = (error - k * splat(0x1.d9cc01f97b57ap-85)) + lo;
    const Vec<double> r = rest + tail, rLow = tail - (r - rest);

    Vec<double> p = splat(1.0 / 5040) + r * splat(1.0 / 40320);
    p = splat(1.0 / 720) + r * p;
    p = splat(1.0 / 120) + r * p;
    p = splat(1.0 / 24) + r * p;
    p = splat(1.0 / 6) + r * p;
    p = splat(0.5) + r * p;
    const Vec<double> q = (r * r) * p + (rLow + r * rLow);

    Vec<double> high, low;
    for (std::size_t lane = 0; lane < lanesOf<double>; ++lane) {
        const double *const power = powers[index[lane] & 63];
        high[lane] = power[0];
        low[lane] = power[1];
    }
    // 26 bits of r, so that the product with those of the power is exact.
    const Vec<double> splitter = r * splat(0x1p27 + 1.0);
    const Vec<double> rHigh = splitter - (splitter - r), rRest = r - rHigh;
    const Vec<double> product = high * rHigh, sum = high + product;
    const Vec<double> sumLow = (product - (sum - high)) + low;
    const Vec<double> small = (high * rRest + low * r) + (high + low) * q;
    const Vec<double> all = sumLow + small, result = sum + all;
    const auto exponent = (index >> 6) + splat<std::int64_t>(1023);
    const auto scale = (Vec<double>)(exponent << 52);
    resultHi = result * scale;
    resultLo = (all - (result - sum)) * scale;
}

} // namespace
} // namespace qzk::simd
