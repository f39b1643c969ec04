#include "sha256.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

namespace qzk::digest {
namespace {

constexpr std::uint32_t roundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr std::uint32_t choose(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    return (x & y) ^ (~x & z);
}
constexpr std::uint32_t majority(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    return (x & y) ^ (x & z) ^ (y & z);
}
constexpr std::uint32_t bigSigma0(std::uint32_t x) {
    return std::rotr(x, 2) ^ std::rotr(x, 13) ^ std::rotr(x, 22);
}
constexpr std::uint32_t bigSigma1(std::uint32_t x) {
    return std::rotr(x, 6) ^ std::rotr(x, 11) ^ std::rotr(x, 25);
}
constexpr std::uint32_t smallSigma0(std::uint32_t x) { return std::rotr(x, 7) ^ std::rotr(x, 18) ^ x >> 3; }
constexpr std::uint32_t smallSigma1(std::uint32_t x) { return std::rotr(x, 17) ^ std::rotr(x, 19) ^ x >> 10; }

std::uint32_t bigEndian(const std::uint8_t *bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
           bytes[3];
}

} // namespace

void Sha256::compress(const std::uint8_t *block) {
    std::uint32_t w[64];
    for (int t = 0; t < 16; ++t)
        w[t] = bigEndian(block + 4 * t);
    for (int t = 16; t < 64; ++t)
        w[t] = smallSigma1(w[t - 2]) + w[t - 7] + smallSigma0(w[t - 15]) + w[t - 16];

    auto [a, b, c, d, e, f, g, h] = state_;
    for (int t = 0; t < 64; ++t) {
        const std::uint32_t first = h + bigSigma1(e) + choose(e, f, g) + roundConstants[t] + w[t];
        const std::uint32_t second = bigSigma0(a) + majority(a, b, c);
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    const std::uint32_t sums[8] = {a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < state_.size(); ++i)
        state_[i] += sums[i];
}

void Sha256::add(const void *data, std::size_t bytes) {
    auto next = static_cast<const std::uint8_t *>(data);
    std::size_t used = static_cast<std::size_t>(bytes_ % blockBytes);
    bytes_ += bytes;
    while (bytes > 0) {
        if (used == 0 && bytes >= blockBytes) {
            compress(next);
            next += blockBytes;
            bytes -= blockBytes;
            continue;
        }
        const std::size_t part = std::min(bytes, blockBytes - used);
        std::memcpy(pending_.data() + used, next, part);
        next += part;
        bytes -= part;
        used = (used + part) % blockBytes;
        if (used == 0) compress(pending_.data());
    }
}

std::string Sha256::finish() {
    const std::uint64_t bits = bytes_ * 8;
    const std::uint8_t one = 0x80, zero = 0;
    add(&one, 1);
    while (bytes_ % blockBytes != blockBytes - 8)
        add(&zero, 1);
    std::uint8_t length[8];
    for (int i = 0; i < 8; ++i)
        length[i] = static_cast<std::uint8_t>(bits >> (56 - 8 * i));
    add(length, sizeof length);

    std::string text;
    for (const std::uint32_t word : state_)
        for (int shift = 28; shift >= 0; shift -= 4)
            text += "0123456789abcdef"[word >> shift & 15];
    return text;
}

} // namespace qzk::digest
