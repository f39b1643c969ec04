// SHA-256 as FIPS 180-4 defines it: every target has this one, whatever libraries it lacks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace qzk::digest {

class Sha256 {
public:
    void add(const void *data, std::size_t bytes);

    /// The digest of all that was added, in lower-case hexadecimal; nothing may be added afterwards.
    std::string finish();

private:
    void compress(const std::uint8_t *block);

    static constexpr std::size_t blockBytes = 64;

    std::array<std::uint32_t, 8> state_ = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                           0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<std::uint8_t, blockBytes> pending_ = {};
    std::uint64_t bytes_ = 0;
};

} // namespace qzk::digest
