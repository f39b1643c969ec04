// Gaussian mixtures of both letters under one set of names, and servers of them.
#pragma once

#include "record.hpp"
#include "rows.hpp"

#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace qzk::digest {

/// What a mixture and the vector that it is evaluated at are like.
enum class Spread {
    near,  ///< the vector lies at one component
    flat,  ///< components of about the same share
    far,   ///< exponentials about where doubles end
    grid,  ///< small multiples: sums with ties and zeros
    mixed, ///< elements of very different magnitude, weights of both signs
    any,   ///< all magnitudes, infinities and not-a-numbers
};
constexpr Spread spreads[] = {Spread::near, Spread::flat,  Spread::far,
                              Spread::grid, Spread::mixed, Spread::any};

template <class T>
struct MixtureData {
    std::vector<T> weights;
    std::vector<std::vector<T>> means, diagonals;      // either diagonals
    std::vector<std::vector<std::vector<T>>> matrices; // or matrices
    std::vector<T> x;
    std::int32_t scale;

    MixtureData(Generator &random, Spread spread, bool full, std::size_t components, std::size_t dim)
        : scale(scaleOf(random, spread, dim)) {
        for (std::size_t i = 0; i < dim; ++i)
            x.push_back(element(random, spread));
        for (std::size_t m = 0; m < components; ++m) {
            weights.push_back(weight(random, spread));
            means.emplace_back();
            const bool isNear = spread == Spread::near && m == 0;
            for (std::size_t i = 0; i < dim; ++i)
                means.back().push_back(isNear || spread == Spread::far ? beside(random, x[i])
                                                                       : element(random, spread));
            if (!full) {
                diagonals.emplace_back();
                for (std::size_t i = 0; i < dim; ++i)
                    diagonals.back().push_back(inverse(random, spread, dim));
                continue;
            }
            matrices.emplace_back(dim);
            for (std::size_t r = 0; r < dim; ++r)
                for (std::size_t c = 0; c < dim; ++c)
                    matrices.back()[r].push_back(
                        r == c ? inverse(random, spread, dim)
                               : static_cast<T>(element(random, spread) / (isWord ? 8 : 64)));
        }
    }

private:
    static constexpr bool isWord = sizeof(T) == 2;

    static T element(Generator &random, Spread spread) {
        if (spread == Spread::any) return random.elements<T>(1, Kind::special)[0];
        if constexpr (isWord) {
            const std::int32_t range = spread == Spread::grid ? 3 : 4000;
            return static_cast<T>(random.between(-range, range));
        } else {
            if (spread == Spread::grid) return static_cast<T>(random.between(-12, 12)) / 4;
            if (spread == Spread::mixed) {
                const int exponent = random.between(-20, 3);
                return std::ldexp(random.signedReal<T>(), exponent);
            }
            return random.signedReal<T>(2);
        }
    }
    static T beside(Generator &random, T x) {
        return static_cast<T>(x +
                              (isWord ? static_cast<T>(random.between(-400, 400)) : random.signedReal<T>()));
    }
    static T inverse(Generator &random, Spread spread, std::size_t dim) {
        if (spread == Spread::any) return random.elements<T>(1, Kind::special)[0];
        if constexpr (isWord) {
            return static_cast<T>(random.between(1, spread == Spread::grid ? 3 : 4000));
        } else {
            if (spread == Spread::grid) return static_cast<T>(random.between(0, 12)) / 4;
            if (spread == Spread::mixed) return random.positiveReal<T>(8);
            // The mean square of the differences is 1/3: forms of about 1400.
            if (spread == Spread::far)
                return static_cast<T>(4200 + random.between(-200, 200)) / static_cast<T>(dim);
            return random.positiveReal<T>(2);
        }
    }
    static T weight(Generator &random, Spread spread) {
        if (spread == Spread::any) return random.elements<T>(1, Kind::special)[0];
        const T positive = isWord ? static_cast<T>(random.between(1, 32767)) : random.positiveReal<T>();
        return spread == Spread::mixed && random.below(2) == 0 ? static_cast<T>(-positive) : positive;
    }
    /// Brings the forms of words to those of floats.
    static std::int32_t scaleOf(Generator &random, Spread spread, std::size_t dim) {
        if (spread == Spread::grid) return random.between(-4, 0);
        if (spread == Spread::any) return random.between(-70, 3);
        std::int32_t size = 0;
        for (std::size_t n = dim; n > 1; n /= 2)
            ++size;
        return -34 - size + random.between(-2, 8) + (spread == Spread::far ? 14 : 0);
    }
};

inline QZsGaussMixServer *initMixture(const float *weights, const float *const *means,
                                      const float *const *const *full, const float *const *diagonals,
                                      std::int32_t nMix, std::int32_t tables, std::int32_t) {
    return call<QZsInitGaussMixServer>(weights, means, full, diagonals, static_cast<void *>(nullptr), nMix,
                                       tables);
}
inline QZwGaussMixServer *initMixture(const std::int16_t *weights, const std::int16_t *const *means,
                                      const std::int16_t *const *const *full,
                                      const std::int16_t *const *diagonals, std::int32_t nMix,
                                      std::int32_t tables, std::int32_t scale) {
    return call<QZwInitGaussMixServer>(weights, means, full, diagonals, static_cast<void *>(nullptr), nMix,
                                       tables, scale);
}
inline void releaseMixture(QZsGaussMixServer *server) { call<QZsFreeGaussMixServer>(server); }
inline void releaseMixture(QZwGaussMixServer *server) { call<QZwFreeGaussMixServer>(server); }

/// A server with everything that it borrows.
template <class T>
class MixtureServer {
public:
    using Server = std::conditional_t<sizeof(T) == 2, QZwGaussMixServer, QZsGaussMixServer>;

    MixtureServer(const MixtureData<T> &data, bool tables)
        : weights_(data.weights), means_(data.means), diagonals_(data.diagonals) {
        weights_.push_back(0); // not empty
        for (const auto &matrix : data.matrices)
            matrices_.emplace_back(matrix);
        for (const auto &matrix : matrices_)
            matrixRows_.push_back(matrix.get());
        const bool full = !matrixRows_.empty();
        server_ = initMixture(weights_.data(), means_.get(), full ? matrixRows_.data() : nullptr,
                              full ? nullptr : diagonals_.get(),
                              static_cast<std::int32_t>(data.weights.size()), tables ? 1 : 0, data.scale);
    }
    MixtureServer(const MixtureServer &) = delete;
    MixtureServer &operator=(const MixtureServer &) = delete;
    ~MixtureServer() { releaseMixture(server_); }

    Server *get() const { return server_; }

private:
    std::vector<T> weights_;
    Rows<T> means_, diagonals_;
    std::vector<Rows<T>> matrices_;
    std::vector<const T *const *> matrixRows_;
    Server *server_;
};

} // namespace qzk::digest
