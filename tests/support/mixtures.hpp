// Random mixtures, and servers of them.
#pragma once

#include "common/mixture.hpp"
#include "reference/mixture.hpp"
#include "support/extended_precision.hpp"
#include "support/random.hpp"

#include <cmath>
#include <memory>
#include <type_traits>
#include <vector>

namespace qzk::test {

enum class Kind {
    clusters, ///< the vector is near one component
    flat,     ///< components of about the same share
    far,      ///< exponents around those where doubles end
    grid,     ///< multiples of 1/4: sums with ties, powers of two and zeros
    mixed,    ///< elements of very different magnitude, weights of both signs
    anything, ///< all magnitudes, infinities and not-a-numbers
};
constexpr Kind kinds[] = {Kind::clusters, Kind::flat, Kind::far, Kind::grid, Kind::mixed, Kind::anything};

template <class T>
using Model = reference::MixtureModel<T>;

template <class T>
struct MixtureCase {
    Model<T> model;
    std::vector<T> x;
    std::int32_t scale = 0;
};

inline float randomFloat(Random &random, Kind kind, bool isInverse) {
    switch (kind) {
    case Kind::grid:
        return static_cast<float>(random.integer(isInverse ? 0 : -12, 12)) / 4;
    case Kind::mixed:
        return static_cast<float>(
            std::ldexp(random.real(isInverse ? 0.0 : -1.0, 1.0), static_cast<int>(random.integer(-20, 3))));
    case Kind::anything:
        return random.anyReals<float>(1)[0];
    default:
        return static_cast<float>(isInverse ? random.real(0.1, 2.0) : random.real(-2.0, 2.0));
    }
}

inline std::vector<float> randomVector(Random &random, Kind kind, bool isInverse, std::size_t dim, float) {
    std::vector<float> values(dim);
    for (float &value : values)
        value = randomFloat(random, kind, isInverse);
    return values;
}

inline std::vector<std::int16_t> randomVector(Random &random, Kind kind, bool isInverse, std::size_t dim,
                                              std::int16_t) {
    if (kind == Kind::anything) return random.elements<std::int16_t>(dim);
    const int range = kind == Kind::grid ? 3 : 4000;
    std::vector<std::int16_t> values(dim);
    for (std::int16_t &value : values)
        value = static_cast<std::int16_t>(random.integer(isInverse ? 1 : -range, range));
    return values;
}

inline float randomWeight(Random &random, Kind kind, float) {
    if (kind == Kind::anything) return random.anyReals<float>(1)[0];
    const double sign = kind == Kind::mixed && random.bits() % 2 != 0 ? -1.0 : 1.0;
    return static_cast<float>(sign * random.real(0.01, 1.0));
}
inline std::int16_t randomWeight(Random &random, Kind kind, std::int16_t) {
    if (kind == Kind::anything) return random.element<std::int16_t>();
    const int sign = kind == Kind::mixed && random.bits() % 2 != 0 ? -1 : 1;
    return static_cast<std::int16_t>(sign * random.integer(1, 32767));
}

/// The scale that brings the forms of words of this kind to those of floats.
inline std::int32_t randomScale(Random &random, Kind kind, std::size_t dim) {
    if (kind == Kind::grid) return static_cast<std::int32_t>(random.integer(-4, 0));
    if (kind == Kind::anything) return static_cast<std::int32_t>(random.integer(-70, 3));
    int size = 0;
    for (std::size_t n = dim; n > 1; n /= 2)
        ++size;
    return static_cast<std::int32_t>(-34 - size + random.integer(-2, 8) + (kind == Kind::far ? 7 : 0));
}

template <class T>
MixtureCase<T> randomMixture(Random &random, Kind kind, bool full, std::size_t components, std::size_t dim) {
    MixtureCase<T> made;
    Model<T> &model = made.model;
    made.scale = randomScale(random, kind, dim);
    const auto vector = [&](bool isInverse) { return randomVector(random, kind, isInverse, dim, T{}); };
    for (std::size_t m = 0; m < components; ++m) {
        model.weights.push_back(randomWeight(random, kind, T{}));
        model.means.push_back(vector(false));
        if (!full) {
            model.diagonals.push_back(vector(true));
            continue;
        }
        model.matrices.emplace_back();
        for (std::size_t r = 0; r < dim; ++r) {
            model.matrices.back().push_back(vector(false));
            // Enough on the diagonal to make it count.
            if (kind != Kind::anything) {
                T &onDiagonal = model.matrices.back()[r][r];
                onDiagonal = static_cast<T>(onDiagonal < 0 ? -onDiagonal : onDiagonal);
            }
        }
    }
    made.x = vector(false);
    if (components > 0 && kind == Kind::clusters) {
        const auto &near = model.means[random.index(components)];
        for (std::size_t c = 0; c < dim; ++c)
            made.x[c] = static_cast<T>(near[c] + made.x[c] / 4);
    }
    if constexpr (std::is_same_v<T, float>) {
        if (kind == Kind::far && dim > 0) {
            // Scales all forms so that the first exponent becomes one between -640 and -760.
            const double form =
                static_cast<double>(components > 0 ? reference::quadraticForm(model, 0, made.x) : 1);
            const auto factor = static_cast<float>(random.real(1280.0, 1520.0) / form);
            for (auto &diagonal : model.diagonals)
                for (T &value : diagonal)
                    value *= factor;
            for (auto &matrix : model.matrices)
                for (auto &row : matrix)
                    for (T &value : row)
                        value *= factor;
        }
    }
    return made;
}

template <class T>
std::vector<const T *> rowsOf(const std::vector<std::vector<T>> &rows) {
    std::vector<const T *> pointers;
    for (const auto &row : rows)
        pointers.push_back(row.data());
    return pointers;
}

inline QZsGaussMixServer *initServer(const float *weights, const float *const *means,
                                     const float *const *const *matrices, const float *const *diagonals,
                                     std::int32_t nMix, std::int32_t tables, std::int32_t) {
    return QZsInitGaussMixServer(weights, means, matrices, diagonals, nullptr, nMix, tables);
}
inline QZwGaussMixServer *initServer(const std::int16_t *weights, const std::int16_t *const *means,
                                     const std::int16_t *const *const *matrices,
                                     const std::int16_t *const *diagonals, std::int32_t nMix,
                                     std::int32_t tables, std::int32_t scale) {
    return QZwInitGaussMixServer(weights, means, matrices, diagonals, nullptr, nMix, tables, scale);
}

struct ServerRelease {
    void operator()(QZsGaussMixServer *server) const { QZsFreeGaussMixServer(server); }
    void operator()(QZwGaussMixServer *server) const { QZwFreeGaussMixServer(server); }
};

/// A server with the pointer arrays that it borrows; the model has to outlive it.
template <class T>
class Server {
    using Record = std::conditional_t<std::is_same_v<T, float>, QZsGaussMixServer, QZwGaussMixServer>;

public:
    explicit Server(const Model<T> &model, bool tables = false, std::int32_t scale = 0)
        : means_(rowsOf(model.means)), diagonals_(rowsOf(model.diagonals)) {
        for (const auto &matrix : model.matrices)
            rows_.push_back(rowsOf(matrix));
        for (const auto &rows : rows_)
            matrices_.push_back(rows.data());
        const bool full = !model.matrices.empty();
        means_.push_back(nullptr); // not empty: pointers to nothing would be null
        diagonals_.push_back(nullptr);
        record_.reset(initServer(model.weights.data(), means_.data(), full ? matrices_.data() : nullptr,
                                 full ? nullptr : diagonals_.data(),
                                 static_cast<std::int32_t>(model.weights.size()), tables ? 1 : 0, scale));
    }

    Record *get() const { return record_.get(); }

    /// The value before any conversion.
    double at(const std::vector<T> &x) const {
        const Record *const record = record_.get();
        double value;
        evaluateMixtures(&record, 1, x.data(), static_cast<std::int32_t>(x.size()), &value);
        return value;
    }

private:
    std::vector<const T *> means_, diagonals_;
    std::vector<std::vector<const T *>> rows_;
    std::vector<const T *const *> matrices_;
    std::unique_ptr<Record, ServerRelease> record_;
};

} // namespace qzk::test
