#include "families.hpp"
#include "generator.hpp"
#include "record.hpp"

namespace qzk::digest {
namespace {

constexpr std::size_t dimensions[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 15, 16, 17, 26, 33, 39, 64};
constexpr std::size_t codeCounts[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 100, 257};

/// find(x, dim, number of codes, codebook, nBest, best, whether roots, distances), the result within best.
template <class T, class Distance, class Find>
void codebooks(std::string_view name, Find find) {
    Generator random(name);
    for (const std::size_t dim : dimensions)
        for (const std::size_t nCodes : codeCounts)
            for (int i = 0; i < 2; ++i) {
                const Kind kind = random.oneOf(kinds);
                const std::vector<T> x = random.elements<T>(dim + 1, kind);
                std::vector<T> codebook;
                for (std::size_t k = 0; k <= nCodes; ++k) // each code of a magnitude of its own
                    for (const T value : random.elements<T>(dim, kind))
                        codebook.push_back(value);
                codebook.push_back(0); // not empty
                std::vector<std::int16_t> best(nCodes + 2, -7);
                std::vector<Distance> distances(nCodes + 2, -7);
                const std::int32_t nBest =
                    random.below(3) == 0 ? random.between(-1, 300) : random.between(0, 8);
                const std::int32_t root = random.between(0, 2);
                const std::int16_t *const end =
                    find(x.data(), static_cast<std::int32_t>(dim), static_cast<std::int32_t>(nCodes),
                         codebook.data(), nBest, best.data(), root, distances.data());
                put(end - best.data());
                putElements<std::int16_t>(best.data(), best.size());
                putElements<Distance>(distances.data(), distances.size());
            }
}

} // namespace

void quantiser() {
    codebooks<float, float>("QZsVQKohonen", [](const float *x, std::int32_t dim, std::int32_t nCodes,
                                               const float *codebook, std::int32_t nBest, std::int16_t *best,
                                               std::int32_t root, float *distances) {
        return call<QZsVQKohonen>(x, dim, nCodes, codebook, nBest, best, root, distances);
    });
    codebooks<std::int16_t, std::int32_t>(
        "QZwVQKohonen",
        [](const std::int16_t *x, std::int32_t dim, std::int32_t nCodes, const std::int16_t *codebook,
           std::int32_t nBest, std::int16_t *best, std::int32_t root, std::int32_t *distances) {
            return call<QZwVQKohonen>(x, dim, nCodes, codebook, nBest, best, root, 5, -5, distances);
        });
}

} // namespace qzk::digest
