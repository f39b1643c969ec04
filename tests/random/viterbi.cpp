// The searches against all paths of small models, and against the recurrence for larger ones: every topology,
// model and letter, with many equal costs.
#include "reference/viterbi.hpp"
#include "common/hmm.hpp"
#include "qzk.h"
#include "support/bits.hpp"
#include "support/hmm.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace qzk::test {
namespace {

float evaluate(std::int32_t model, const std::int32_t *o, std::int32_t n, std::int32_t *best, float) {
    return QZsEvalHMMViterbi(model, o, n, best);
}
std::int32_t evaluate(std::int32_t model, const std::int32_t *o, std::int32_t n, std::int32_t *best,
                      std::int32_t) {
    std::int32_t scale = 0;
    return QZwEvalHMMViterbi(model, o, n, best, QZ_ScaleWrap, &scale);
}
float evaluateContinuous(std::int32_t model, const float *const *o, std::int32_t n, std::int32_t *best) {
    return QZsEvalContHMMViterbi(model, o, n, best);
}
std::int32_t evaluateContinuous(std::int32_t model, const std::int16_t *const *o, std::int32_t n,
                                std::int32_t *best) {
    std::int32_t scale = 0;
    return QZwEvalContHMMViterbi(model, o, n, best, QZ_ScaleWrap, &scale);
}
float evaluateSemicontinuous(std::int32_t model, const float *const *o, std::int32_t n, std::int32_t *best) {
    return QZsEvalSemicontHMMViterbi(model, o, n, best);
}
std::int32_t evaluateSemicontinuous(std::int32_t model, const std::int16_t *const *o, std::int32_t n,
                                    std::int32_t *best) {
    std::int32_t scale = 0;
    return QZwEvalSemicontHMMViterbi(model, o, n, best, QZ_ScaleWrap, &scale);
}

constexpr std::int32_t wordScale = -9;

/// A mixture with a diagonal and the arrays that it borrows.
template <class T>
class Mixture {
public:
    using Server = typename HMMLetter<T>::Mixture;

    Mixture(Random &random, std::size_t dim) {
        const auto some = [&](double low, double high, double unit) {
            return static_cast<T>(sizeof(T) == 4 ? random.real(low, high) : random.real(low, high) * unit);
        };
        const std::size_t nMix = 1 + random.index(2);
        for (std::size_t m = 0; m < nMix; ++m) {
            weights_.push_back(some(0, 0.5, 16384));
            for (auto *const rows : {&means_, &inverse_}) {
                rows->emplace_back();
                for (std::size_t i = 0; i < dim; ++i)
                    rows->back().push_back(rows == &means_ ? some(-2, 2, 8) : some(0, 2, 3));
            }
        }
        for (std::size_t m = 0; m < nMix; ++m) {
            meanRows_.push_back(means_[m].data());
            inverseRows_.push_back(inverse_[m].data());
        }
        server_ =
            make(static_cast<std::int32_t>(nMix), weights_.data(), meanRows_.data(), inverseRows_.data());
    }
    Mixture(Mixture &&other) = default;
    ~Mixture() { free(server_); }

    Server *server() const { return server_; }

private:
    static QZsGaussMixServer *make(std::int32_t nMix, const float *weights, const float *const *means,
                                   const float *const *inverse) {
        return QZsInitGaussMixServer(weights, means, nullptr, inverse, nullptr, nMix, 0);
    }
    static QZwGaussMixServer *make(std::int32_t nMix, const std::int16_t *weights,
                                   const std::int16_t *const *means, const std::int16_t *const *inverse) {
        return QZwInitGaussMixServer(weights, means, nullptr, inverse, nullptr, nMix, 0, -6);
    }
    static void free(QZsGaussMixServer *server) { QZsFreeGaussMixServer(server); }
    static void free(QZwGaussMixServer *server) { QZwFreeGaussMixServer(server); }

    std::vector<T> weights_;
    std::vector<std::vector<T>> means_, inverse_;
    std::vector<const T *> meanRows_, inverseRows_;
    Server *server_;
};

/// What 16-bit evaluations of a mixture give, and the value as such for floats.
double densityOf(const QZsGaussMixServer *server, const float *x, std::size_t dim) {
    return QZsEvalGaussMix(server, x, static_cast<std::int32_t>(dim));
}
std::int32_t densityOf(const QZwGaussMixServer *server, const std::int16_t *x, std::size_t dim) {
    std::int32_t scale = -15;
    return QZwEvalGaussMix(server, x, static_cast<std::int32_t>(dim), QZ_ScaleFixed, &scale);
}
float costOf(double density) { return reference::outputCost(density); }
std::int32_t costOf(std::int32_t density) { return reference::outputCost(density, wordScale); }

double weightedSum(const std::vector<float> &weights, const std::vector<float> &values) {
    double sum = 0.0;
    for (std::size_t k = 0; k < values.size(); ++k)
        sum += static_cast<double>(weights[k]) * static_cast<double>(values[k]);
    return sum;
}
std::int32_t weightedSum(const std::vector<std::int16_t> &weights, const std::vector<std::int16_t> &values) {
    std::int64_t sum = 0;
    for (std::size_t k = 0; k < values.size(); ++k)
        sum += weights[k] * values[k];
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(sum)));
}

template <class T>
class Paths : public testing::Test {
protected:
    using Letter = HMMLetter<T>;
    using Cost = typename Letter::Cost;
    static constexpr bool isWord = sizeof(T) == 2;

    ~Paths() override { QZHMMFreeAll(); }

    /// Small whole numbers half of the time, so that many paths cost the same.
    T cost() {
        if (ties) return static_cast<T>(random.index(3));
        return static_cast<T>(isWord ? random.real(0, 32766) : random.real(0, 100));
    }
    /// Of one of S codebook entries: floats add up to less than 1, so that no cost is negative.
    T weight(std::size_t S) {
        return static_cast<T>(isWord ? random.real(0, 3000) : random.real(0, 1.0 / static_cast<double>(S)));
    }
    std::vector<T> costs(std::size_t n) {
        std::vector<T> result(n);
        for (T &value : result)
            value = cost();
        return result;
    }
    /// Steps of one of the topologies; what is impossible is dear.
    Matrix<T> steps(std::size_t n, std::int32_t kind) {
        Matrix<T> a(n, n, Letter::impossibleCost);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = kind == 0 ? 0 : i; j < n && (kind != QZ_HMMBakis || j <= i + 2); ++j)
                a[i][j] = cost();
        return a;
    }
    /// What no path takes is dearer than any path.
    static std::vector<std::vector<Cost>> widened(const Matrix<T> &m) {
        std::vector<std::vector<Cost>> result;
        for (std::size_t i = 0; i < m.size(); ++i) {
            result.emplace_back(m[i].begin(), m[i].end());
            std::replace(result.back().begin(), result.back().end(), Cost{Letter::impossibleCost},
                         isWord ? static_cast<Cost>(INT32_MAX) : Cost{Letter::impossibleCost});
        }
        return result;
    }

    Random random;
    bool ties = false;
};

using Letters = testing::Types<float, std::int16_t>;
TYPED_TEST_SUITE(Paths, Letters);

TYPED_TEST(Paths, Discrete) {
    using T = TypeParam;
    using Cost = typename TestFixture::Cost;
    for (const simd::Level level : availableLevels()) {
        const ScopedLevel scope(level);
        for (int round = 0; round < 600; ++round) {
            const std::int32_t kind = std::vector{0, QZ_HMMLeftRight, QZ_HMMBakis}[this->random.index(3)];
            const bool small = round % 2 == 0;
            const std::size_t n = 1 + this->random.index(small ? 4 : 40),
                              frames = 1 + this->random.index(small ? 5 : 12), S = 1 + this->random.index(4);
            this->ties = this->random.index(2) == 0;
            const Matrix<T> a = this->steps(n, kind);
            Matrix<T> b(n, S);
            for (std::size_t j = 0; j < n; ++j)
                b[j] = this->costs(S);
            const std::vector<T> pi = this->costs(n);
            const auto id =
                TestFixture::Letter::discrete(a.rows(), b.rows(), pi.data(), static_cast<std::int32_t>(n),
                                              static_cast<std::int32_t>(S), QZ_HMMCost);
            reference::Search<Cost> search = {this->widened(a), {pi.begin(), pi.end()}, {}};
            std::vector<std::int32_t> symbols;
            for (std::size_t t = 0; t < frames; ++t) {
                const std::size_t symbol = this->random.index(S);
                symbols.push_back(static_cast<std::int32_t>(symbol));
                search.outputs.emplace_back();
                for (std::size_t j = 0; j < n; ++j)
                    search.outputs.back().push_back(b[j][symbol]);
            }
            std::int32_t best = 0;
            const Cost cost = evaluate(id, symbols.data(), static_cast<std::int32_t>(frames), &best, Cost());
            if (small) {
                ASSERT_EQ(search.bestCost(), search.bestCostByRecurrence());
            }
            ASSERT_EQ(search.bestCostByRecurrence(), cost) << "states " << n << ", topology " << kind << ", "
                                                           << simd::levelName(level) << ", seed " << seed();
            ASSERT_EQ(id, best);
            QZFreeHMMServer(id);
        }
    }
}

TYPED_TEST(Paths, ContinuousAndSemicontinuous) {
    using T = TypeParam;
    using Cost = typename TestFixture::Cost;
    for (const simd::Level level : availableLevels()) {
        const ScopedLevel scope(level);
        for (int round = 0; round < 100; ++round) {
            const std::int32_t kind = std::vector{0, QZ_HMMLeftRight, QZ_HMMBakis}[this->random.index(3)];
            const bool small = round % 2 == 0;
            // Now and then more states, more of a codebook and more frames than are computed at once.
            const std::size_t most = round % 11 == 0 ? 300 : 20, n = 1 + this->random.index(small ? 4 : most),
                              S = 1 + this->random.index(round % 13 == 0 ? 300 : 6),
                              frames = 1 + this->random.index(!small && round % 5 == 0 ? 100 : 5),
                              dim = 1 + this->random.index(3);
            this->ties = this->random.index(2) == 0;
            const Matrix<T> a = this->steps(n, kind);
            const std::vector<T> pi = this->costs(n);
            std::vector<Mixture<T>> mixtures;
            mixtures.reserve(n + S);
            std::vector<typename Mixture<T>::Server *> servers;
            for (std::size_t k = 0; k < n + S; ++k) {
                mixtures.emplace_back(this->random, dim);
                servers.push_back(mixtures.back().server());
            }
            Matrix<T> observations(frames, dim), weights(n, S);
            for (std::size_t t = 0; t < frames; ++t)
                for (T &x : observations[t])
                    x = static_cast<T>(TestFixture::isWord ? this->random.real(-16, 16)
                                                           : this->random.real(-2, 2));
            for (std::size_t j = 0; j < n; ++j)
                for (T &w : weights[j])
                    w = this->weight(S);

            const auto states = static_cast<std::int32_t>(n), length = static_cast<std::int32_t>(frames);
            const auto continuous =
                TestFixture::Letter::continuous(a.rows(), pi.data(), servers.data(), states,
                                                static_cast<std::int32_t>(dim), QZ_HMMCost, wordScale);
            const auto semicontinuous = TestFixture::Letter::semicontinuous(
                a.rows(), weights.rows(), pi.data(), servers.data() + n, states, static_cast<std::int32_t>(S),
                static_cast<std::int32_t>(dim), QZ_HMMCost, wordScale);
            reference::Search<Cost> search = {this->widened(a), {pi.begin(), pi.end()}, {}};
            reference::Search<Cost> shared = search;
            for (std::size_t t = 0; t < frames; ++t) {
                search.outputs.emplace_back();
                shared.outputs.emplace_back();
                std::vector<T> values;
                for (std::size_t k = 0; k < S; ++k)
                    values.push_back(static_cast<T>(densityOf(servers[n + k], observations[t].data(), dim)));
                for (std::size_t j = 0; j < n; ++j) {
                    search.outputs.back().push_back(
                        costOf(densityOf(servers[j], observations[t].data(), dim)));
                    shared.outputs.back().push_back(costOf(weightedSum(weights[j], values)));
                }
            }
            SCOPED_TRACE(testing::Message() << "states " << n << ", topology " << kind << ", "
                                            << simd::levelName(level) << ", seed " << seed());
            std::int32_t best = 0;
            ASSERT_EQ(small ? search.bestCost() : search.bestCostByRecurrence(),
                      evaluateContinuous(continuous, observations.rows(), length, &best));
            ASSERT_EQ(continuous, best);
            ASSERT_EQ(small ? shared.bestCost() : shared.bestCostByRecurrence(),
                      evaluateSemicontinuous(semicontinuous, observations.rows(), length, &best));
            ASSERT_EQ(semicontinuous, best);
            QZHMMFreeAll();
        }
    }
}

/// Classes whose members have all sizes and topologies, some of them twice: the last of the best wins.
TYPED_TEST(Paths, Classes) {
    using T = TypeParam;
    using Letter = typename TestFixture::Letter;
    using Cost = typename TestFixture::Cost;
    struct Best {
        Cost cost = std::numeric_limits<Cost>::max();
        std::int32_t id = 0;

        void see(Cost seen, std::int32_t of) {
            if (seen <= cost) *this = {seen, of};
        }
    };
    for (const simd::Level level : availableLevels()) {
        const ScopedLevel scope(level);
        for (int round = 0; round < 60; ++round) {
            const std::size_t frames = 1 + this->random.index(4), S = 1 + this->random.index(4), dim = 2;
            const auto length = static_cast<std::int32_t>(frames), size = static_cast<std::int32_t>(S);
            this->ties = this->random.index(2) == 0;
            std::vector<Mixture<T>> mixtures;
            mixtures.reserve(S);
            std::vector<typename Mixture<T>::Server *> codebook;
            for (std::size_t k = 0; k < S; ++k) {
                mixtures.emplace_back(this->random, dim);
                codebook.push_back(mixtures.back().server());
            }
            Matrix<T> observations(frames, dim);
            std::vector<std::int32_t> symbols;
            for (std::size_t t = 0; t < frames; ++t) {
                symbols.push_back(static_cast<std::int32_t>(this->random.index(S)));
                for (T &x : observations[t])
                    x = static_cast<T>(TestFixture::isWord ? this->random.real(-16, 16)
                                                           : this->random.real(-2, 2));
            }
            const std::int32_t classes[] = {QZCreateHMMClass(), QZCreateHMMClass(), QZCreateHMMClass()};
            Best best[3];
            for (std::size_t member = 1 + this->random.index(5); member > 0; --member) {
                const std::int32_t kind = std::vector{0, QZ_HMMLeftRight, QZ_HMMBakis}[this->random.index(3)];
                const std::size_t n = 1 + this->random.index(4);
                const Matrix<T> a = this->steps(n, kind);
                const std::vector<T> pi = this->costs(n);
                Matrix<T> b(n, S), weights(n, S);
                std::vector<typename Mixture<T>::Server *> ofStates;
                for (std::size_t j = 0; j < n; ++j) {
                    b[j] = this->costs(S);
                    for (T &w : weights[j])
                        w = this->weight(S);
                    ofStates.push_back(codebook[this->random.index(S)]);
                }
                const reference::Search<Cost> steps = {this->widened(a), {pi.begin(), pi.end()}, {}};
                reference::Search<Cost> searches[] = {steps, steps, steps};
                for (std::size_t t = 0; t < frames; ++t) {
                    const T *const x = observations[t].data();
                    std::vector<T> values;
                    for (const auto *const server : codebook)
                        values.push_back(static_cast<T>(densityOf(server, x, dim)));
                    for (auto &search : searches)
                        search.outputs.emplace_back();
                    for (std::size_t j = 0; j < n; ++j) {
                        searches[0].outputs[t].push_back(b[j][static_cast<std::size_t>(symbols[t])]);
                        searches[1].outputs[t].push_back(costOf(densityOf(ofStates[j], x, dim)));
                        searches[2].outputs[t].push_back(costOf(weightedSum(weights[j], values)));
                    }
                }
                for (std::size_t copies = 1 + this->random.index(2); copies > 0; --copies) {
                    const auto states = static_cast<std::int32_t>(n);
                    const std::int32_t ids[] = {
                        Letter::discrete(a.rows(), b.rows(), pi.data(), states, size, QZ_HMMCost),
                        Letter::continuous(a.rows(), pi.data(), ofStates.data(), states, dim, QZ_HMMCost,
                                           wordScale),
                        Letter::semicontinuous(a.rows(), weights.rows(), pi.data(), codebook.data(), states,
                                               size, dim, QZ_HMMCost, wordScale)};
                    for (std::size_t type = 0; type < 3; ++type) {
                        ASSERT_EQ(1, QZAddHMMToClass(classes[type], ids[type]));
                        best[type].see(searches[type].bestCost(), ids[type]);
                    }
                }
            }
            SCOPED_TRACE(testing::Message() << simd::levelName(level) << ", seed " << seed());
            std::int32_t id = 0;
            ASSERT_EQ(best[0].cost, evaluate(-classes[0], symbols.data(), length, &id, Cost()));
            ASSERT_EQ(best[0].id, id);
            ASSERT_EQ(best[1].cost, evaluateContinuous(-classes[1], observations.rows(), length, &id));
            ASSERT_EQ(best[1].id, id);
            ASSERT_EQ(best[2].cost, evaluateSemicontinuous(-classes[2], observations.rows(), length, &id));
            ASSERT_EQ(best[2].id, id);
            QZHMMFreeAll();
        }
    }
}

} // namespace
} // namespace qzk::test
