// Hidden Markov models of both letters under one set of names.
#pragma once

#include "mixtures.hpp"

#include <cstdint>
#include <memory>
#include <vector>

namespace qzk::digest {

enum class Topology { general, leftToRight, bakis };
constexpr Topology topologies[] = {Topology::general, Topology::leftToRight, Topology::bakis};

inline std::int32_t initDiscrete(const float *const *a, const float *const *b, const float *pi,
                                 std::int32_t nStates, std::int32_t nSymbols, std::int32_t options) {
    return call<QZsInitHMMServer>(a, b, pi, nStates, nSymbols, options);
}
inline std::int32_t initDiscrete(const std::int16_t *const *a, const std::int16_t *const *b,
                                 const std::int16_t *pi, std::int32_t nStates, std::int32_t nSymbols,
                                 std::int32_t options) {
    return call<QZwInitHMMServer>(a, b, pi, nStates, nSymbols, options);
}
inline std::int32_t initContinuous(const float *const *a, const float *pi, QZsGaussMixServer *const *mixtures,
                                   std::int32_t nStates, std::int32_t dim, std::int32_t options,
                                   std::int32_t) {
    return call<QZsInitContHMMServer>(a, pi, mixtures, nStates, dim, options);
}
inline std::int32_t initContinuous(const std::int16_t *const *a, const std::int16_t *pi,
                                   QZwGaussMixServer *const *mixtures, std::int32_t nStates, std::int32_t dim,
                                   std::int32_t options, std::int32_t scale) {
    return call<QZwInitContHMMServer>(a, pi, mixtures, nStates, dim, options, scale);
}
inline std::int32_t initSemicontinuous(const float *const *a, const float *const *b, const float *pi,
                                       QZsGaussMixServer *const *codebook, std::int32_t nStates,
                                       std::int32_t nSymbols, std::int32_t dim, std::int32_t options,
                                       std::int32_t) {
    return call<QZsInitSemicontHMMServer>(a, b, pi, codebook, nStates, nSymbols, dim, options);
}
inline std::int32_t initSemicontinuous(const std::int16_t *const *a, const std::int16_t *const *b,
                                       const std::int16_t *pi, QZwGaussMixServer *const *codebook,
                                       std::int32_t nStates, std::int32_t nSymbols, std::int32_t dim,
                                       std::int32_t options, std::int32_t scale) {
    return call<QZwInitSemicontHMMServer>(a, b, pi, codebook, nStates, nSymbols, dim, options, scale);
}

/// Draws models whose mixtures it keeps.
template <class T>
class HmmMaker {
public:
    using Server = typename MixtureServer<T>::Server;

    HmmMaker(Generator &random, std::size_t dim, std::size_t nSymbols)
        : random_(random), dim_(dim), nSymbols_(nSymbols) {
        ties_ = random.below(2) == 0;
        scale_ = random.between(-12, -6);
        for (std::size_t k = 0; k < nSymbols; ++k)
            codebook_.push_back(mixture());
    }

    std::int32_t discrete(std::size_t nStates) {
        const Rows<T> a = steps(nStates), b(lists(nStates, nSymbols_, [&] { return cost(); }));
        const std::vector<T> pi = initial(nStates);
        return initDiscrete(a.get(), b.get(), pi.data(), number(nStates), number(nSymbols_), options());
    }
    std::int32_t continuous(std::size_t nStates) {
        const Rows<T> a = steps(nStates);
        const std::vector<T> pi = initial(nStates);
        std::vector<Server *> mixtures = {nullptr}; // not empty
        mixtures.clear();
        for (std::size_t j = 0; j < nStates; ++j)
            mixtures.push_back(random_.below(4) == 0 && nSymbols_ > 0 ? codebook_[random_.below(nSymbols_)]
                                                                      : mixture());
        return initContinuous(a.get(), pi.data(), mixtures.data(), number(nStates), number(dim_), options(),
                              scale_);
    }
    std::int32_t semicontinuous(std::size_t nStates) {
        const Rows<T> a = steps(nStates), b(lists(nStates, nSymbols_, [&] { return weight(); }));
        const std::vector<T> pi = initial(nStates);
        return initSemicontinuous(a.get(), b.get(), pi.data(), codebook_.data(), number(nStates),
                                  number(nSymbols_), number(dim_), options(), scale_);
    }

    /// Feature vectors among the mixtures.
    Rows<T> observations(std::size_t n) {
        return Rows<T>(lists(n, dim_, [&] {
            return isWord ? static_cast<T>(random_.between(-16, 16)) : random_.signedReal<T>(2);
        }));
    }

private:
    static constexpr bool isWord = sizeof(T) == 2;

    static std::int32_t number(std::size_t n) { return static_cast<std::int32_t>(n); }
    static std::int32_t options() { return QZ_HMMCost; }

    /// Small whole numbers half of the time, so that many paths cost the same.
    T cost() {
        if (ties_) return static_cast<T>(random_.below(3));
        return isWord ? static_cast<T>(random_.between(0, 32766)) : random_.positiveReal<T>(128);
    }
    T weight() {
        return isWord ? static_cast<T>(random_.between(0, 3000))
                      : random_.positiveReal<T>() / static_cast<T>(nSymbols_);
    }
    std::vector<T> initial(std::size_t n) {
        std::vector<T> values;
        for (std::size_t i = 0; i <= n; ++i)
            values.push_back(cost());
        return values;
    }
    template <class Draw>
    static std::vector<std::vector<T>> lists(std::size_t rows, std::size_t columns, Draw draw) {
        std::vector<std::vector<T>> values(rows);
        for (auto &row : values)
            for (std::size_t i = 0; i < columns; ++i)
                row.push_back(draw());
        return values;
    }
    Rows<T> steps(std::size_t n) {
        constexpr T impossible = isWord ? static_cast<T>(32767) : static_cast<T>(1e30f);
        const Topology topology = random_.oneOf(topologies);
        std::vector<std::vector<T>> a(n, std::vector<T>(n, impossible));
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = topology == Topology::general ? 0 : i;
                 j < n && (topology != Topology::bakis || j <= i + 2); ++j)
                if (random_.below(8) != 0) a[i][j] = cost();
        return Rows<T>(a);
    }
    Server *mixture() {
        MixtureData<T> data(random_, Spread::flat, false, 1 + random_.below(3), dim_);
        const auto each = [](std::vector<std::vector<T>> &rows, auto draw) {
            for (auto &row : rows)
                for (T &value : row)
                    value = draw();
        };
        if constexpr (isWord) {
            each(data.means, [&] { return static_cast<T>(random_.between(-16, 16)); });
            each(data.diagonals, [&] { return static_cast<T>(random_.between(0, 6)); });
            data.scale = -6;
        }
        for (T &value : data.weights)
            value = static_cast<T>(value / 4); // densities below 1 cost something
        servers_.push_back(std::make_unique<MixtureServer<T>>(data, random_.below(4) == 0));
        return servers_.back()->get();
    }

    Generator &random_;
    std::size_t dim_, nSymbols_;
    bool ties_;
    std::int32_t scale_;
    std::vector<Server *> codebook_;
    std::vector<std::unique_ptr<MixtureServer<T>>> servers_;
};

} // namespace qzk::digest
