// The Viterbi search: the cost of the best path of states through one model, or the best model of a class.
#include "common/hmm.hpp"
#include "common/hmm_layout.hpp"
#include "common/memory.hpp"
#include "common/mixture.hpp"
#include "common/scale.hpp"
#include "common/unaligned.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace qzk {
namespace {

template <class Cost>
constexpr Cost infinity = std::numeric_limits<Cost>::max();

/// Densities of 16-bit mixtures are asked for with this scale: 15 fractional bits beyond those of the
/// weights.
constexpr std::int32_t densityScale = -15;

template <class Element>
using MixtureOf = std::conditional_t<std::is_same_v<Element, float>, QZsGaussMixServer, QZwGaussMixServer>;

template <class Cost>
const simd::ViterbiKernelsOf<Cost> &recurrences() {
    if constexpr (std::is_same_v<Cost, float>)
        return simd::kernels().viterbi.ofFloats;
    else
        return simd::kernels().viterbi.ofWords;
}

/// The packed tables of a server that a search of its kind can score.
template <class Element>
struct Tables {
    using Cost = CostOf<Element>;

    std::int32_t n;
    simd::ViterbiModel<Cost> model;
    const Cost *initial;

    explicit Tables(const HMMServer &server) : n(server.nStates) {
        const auto size = static_cast<std::size_t>(n);
        const std::int32_t topology = server.flavor & hmmTopologies;
        model = {topology == QZ_HMMBakis       ? simd::ViterbiTopology::bakis
                 : topology == QZ_HMMLeftRight ? simd::ViterbiTopology::leftRight
                                               : simd::ViterbiTopology::general,
                 size, packedData<const Cost>(server.transitions, server.flavor),
                 transitionLanes<Element>(server.transitions, topology, n)};
        initial = packedData<const Cost>(server.initial, server.flavor);
    }
};

/// Path costs, and rows of output costs, of the members of a class one after the other.
template <class Cost, std::int32_t rowCount>
class WorkBuffer {
public:
    /// Makes room for n states, which the buffer may have already; false without memory.
    bool provide(std::int64_t n) {
        n = std::max(n, std::int64_t{8});
        if (n <= capacity_) return true;
        const auto stride = static_cast<std::int64_t>(simd::viterbiStride(static_cast<std::size_t>(n)));
        buffer_ = Buffer<Cost>();
        buffer_ = Buffer<Cost>(8 * n + (std::is_integral_v<Cost> ? 4 : 0) + (rowCount - 1) * stride);
        capacity_ = buffer_ ? n : 0;
        return static_cast<bool>(buffer_);
    }

    simd::ViterbiPaths<Cost> paths(std::size_t n) const { return {vector(0, n), vector(1, n)}; }
    Cost *rows(std::size_t n) const { return vector(2, n); }

private:
    /// The first three vectors and their alignment fit into eight times the states, as these are eight at
    /// least.
    Cost *vector(std::size_t k, std::size_t n) const {
        return alignUp(buffer_.get(), simd::viterbiAlignment) + k * simd::viterbiStride(n);
    }

    Buffer<Cost> buffer_;
    std::int64_t capacity_ = 0;
};

/// The servers that a call names, one after the other: one of them, or the members of a class.
class Servers {
public:
    explicit Servers(std::int32_t model)
        : server_(model >= 0 ? model : 0),
          class_(static_cast<std::int32_t>(model < 0 ? 0u - static_cast<std::uint32_t>(model) : 0u)) {
        if (class_ != 0) rewindHMMClass(class_);
    }

    /// Null behind the last one.
    const HMMServer *next() {
        return findHMMServer(class_ == 0 ? std::exchange(server_, 0) : nextHMMClassMember(class_));
    }

private:
    std::int32_t server_, class_;
};

template <class Cost>
struct Score {
    Cost cost = infinity<Cost>;
    bool isScored = false;
};

/// False for servers of another kind, and where tables or mixtures found no memory.
bool isComplete(const HMMServer &server, std::int32_t kind) {
    return (server.flavor & (hmmElements | hmmModels)) == kind && server.nStates >= 1 &&
           ((kind & QZ_HMMDiscrete) != 0 || server.mixtures != nullptr);
}

/// `Outputs` tells the kind of servers that it belongs to, prepares the call with the first one of them, and
/// runs a server from the costs of its first frame on.
template <class Element, class Outputs>
Score<CostOf<Element>> search(std::int32_t model, std::int32_t nObs, std::int32_t *bestId, Outputs outputs) {
    using Cost = CostOf<Element>;
    constexpr std::int32_t kind = HMMElement<Element>::flavor | Outputs::model;
    Score<Cost> best;
    if (nObs <= 0) return best;
    WorkBuffer<Cost, Outputs::rows> work;
    Servers servers(model);
    while (const HMMServer *const server = servers.next()) {
        if (!isComplete(*server, kind)) continue;
        if (!outputs.prepare(*server) || !work.provide(server->nStates)) return {};
        const Tables<Element> tables(*server);
        auto paths = work.paths(tables.model.nStates);
        outputs.run(*server, tables, paths, work.rows(tables.model.nStates));
        const Cost cost = *std::min_element(paths.now, paths.now + tables.n, simd::isLess<Cost>);
        best.isScored = true;
        if (cost <= best.cost) {
            best.cost = cost;
            *bestId = server->id;
        }
    }
    return best;
}

template <class Element>
void start(const Tables<Element> &tables, const CostOf<Element> *output, CostOf<Element> *costs) {
    for (std::int32_t j = 0; j < tables.n; ++j)
        costs[j] = simd::pathSum(tables.initial[j], output[j]);
    std::fill(costs + tables.n, costs + simd::viterbiStride(tables.model.nStates), CostOf<Element>{});
}

/// Outputs that are looked up in the server.
template <class Element>
struct DiscreteOutputs {
    using Cost = CostOf<Element>;
    static constexpr std::int32_t model = QZ_HMMDiscrete, rows = 1;

    const std::int32_t *symbols;
    std::int32_t nObs;

    bool prepare(const HMMServer &) { return true; }
    void run(const HMMServer &server, const Tables<Element> &tables, simd::ViterbiPaths<Cost> &paths,
             Cost *) const {
        const auto *const rows = packedData<const Cost *const>(server.outputs, server.flavor);
        start(tables, rows[symbols[0]], paths.now);
        recurrences<Cost>().advance(tables.model, paths, rows, symbols + 1,
                                    static_cast<std::size_t>(nObs) - 1);
    }
};

/// Observations whose elements lie side by side, so that a mixture is evaluated at all of them at once.
template <class Element>
class TurnedVectors {
public:
    static constexpr auto most = static_cast<std::int32_t>(simd::turnedVectors);

    void turn(const Element *const *vectors, std::int32_t count, std::int32_t dim) {
        vectors_ = vectors;
        count_ = count;
        dim_ = dim;
        if (dim > static_cast<std::int32_t>(simd::mostTurned)) return;
        if (count < most) std::fill_n(columns_, most * std::max(dim, 0), 0.0);
        for (std::int32_t i = 0; i < count; ++i)
            for (std::int32_t c = 0; c < dim; ++c)
                columns_[c * most + i] = elementAt(vectors[i], static_cast<std::size_t>(c));
    }

    /// stored[i] = what put(density) makes of the mixture's value at vector i, where put(values, stored,
    /// count) never falls, or never rises, with the values: where it gives the same for both of their bounds,
    /// that is it.
    template <class Stored, class Put>
    void evaluate(const MixtureOf<Element> *mixture, Stored *stored, Put put) const {
        double lower[most], upper[most];
        Stored ofUpper[most];
        boundMixture(*mixture, columns_, count_, dim_, lower, upper);
        put(lower, stored, count_);
        put(upper, ofUpper, count_);
        for (std::int32_t i = 0; i < count_; ++i) {
            const bool bounded = upper[i] - lower[i] < infinity<double>;
            if (bounded && std::memcmp(stored + i, ofUpper + i, sizeof *stored) == 0) continue;
            double value;
            evaluateMixtures(&mixture, 1, vectors_[i], dim_, &value);
            put(&value, stored + i, 1);
        }
    }

private:
    const Element *const *vectors_;
    std::int32_t count_, dim_;
    alignas(simd::viterbiAlignment) double columns_[simd::turnedVectors * simd::mostTurned];
};

/// Work in pieces of this many states or codebook entries, which the stack holds.
constexpr std::int32_t piece = 128;

template <class Work>
void inPieces(std::int32_t count, Work work) {
    for (std::int32_t i = 0; i < count; i += piece)
        work(i, std::min(piece, count - i));
}

/// Calls take(i, j, stored) with what put makes of the value of mixture j at vector i, for up to
/// TurnedVectors::most vectors. Servers that look exponentials up may report, vector by vector.
template <class Stored, class Element, class Put, class Take>
void evaluateAll(MixtureOf<Element> *const *mixtures, std::int32_t n, const Element *const *vectors,
                 std::int32_t count, std::int32_t dim, Put put, Take take) {
    if (std::any_of(mixtures, mixtures + n, [](const auto *mixture) { return mixture->useExpTables != 0; })) {
        for (std::int32_t i = 0; i < count; ++i)
            inPieces(n, [&](std::int32_t first, std::int32_t some) {
                double values[piece];
                Stored stored[piece];
                evaluateMixtures(mixtures + first, some, vectors[i], dim, values);
                put(values, stored, some);
                for (std::int32_t k = 0; k < some; ++k)
                    take(i, first + k, stored[k]);
            });
        return;
    }
    TurnedVectors<Element> turned;
    turned.turn(vectors, count, dim);
    for (std::int32_t j = 0; j < n; ++j) {
        Stored stored[TurnedVectors<Element>::most];
        turned.evaluate(mixtures[j], stored, put);
        for (std::int32_t i = 0; i < count; ++i)
            take(i, j, stored[i]);
    }
}

void putCosts(const double *densities, float *costs, std::int32_t count) {
    simd::kernels().viterbi.floatCosts(densities, costs, static_cast<std::size_t>(count));
}

/// As 32-bit integers with 29 fractional bits.
void putFixed(const double *densities, std::int32_t *fixed, std::int32_t count) {
    simd::kernels().convert.doubleToInt.wrap(densities, fixed, static_cast<std::size_t>(count),
                                             multiplierOf(densityScale));
}

void putFloats(const double *densities, float *floats, std::int32_t count) {
    std::transform(densities, densities + count, floats,
                   [](double density) { return static_cast<float>(density); });
}

void costsOf(const HMMServer &server, const std::int32_t *densities, std::int32_t count,
             std::int32_t *costs) {
    simd::kernels().viterbi.wordCosts(densities, costs, static_cast<std::size_t>(count),
                                      multiplierOf(server.scale));
}

/// Rows of costs, each with a mixture for every state.
void computeRows(const HMMServer &server, const float *const *frames, std::int32_t count, float *costs,
                 std::ptrdiff_t stride) {
    evaluateAll<float>(static_cast<QZsGaussMixServer *const *>(server.mixtures), server.nStates, frames,
                       count, server.dim, putCosts,
                       [=](std::int32_t i, std::int32_t j, float cost) { costs[i * stride + j] = cost; });
}

void computeRows(const HMMServer &server, const std::int16_t *const *frames, std::int32_t count,
                 std::int32_t *costs, std::ptrdiff_t stride) {
    evaluateAll<std::int32_t>(
        static_cast<QZwGaussMixServer *const *>(server.mixtures), server.nStates, frames, count, server.dim,
        putFixed, [=](std::int32_t i, std::int32_t j, std::int32_t fixed) { costs[i * stride + j] = fixed; });
    for (std::int32_t i = 0; i < count; ++i)
        inPieces(server.nStates, [&](std::int32_t j, std::int32_t some) {
            std::int32_t fixed[piece];
            std::copy_n(costs + i * stride + j, some, fixed);
            costsOf(server, fixed, some, costs + i * stride + j);
        });
}

/// Runs the frames, of whose costs computeRows(t, count) computes up to mostRows rows at a time.
template <std::int32_t mostRows, class Element, class ComputeRows>
void runRows(const Tables<Element> &tables, simd::ViterbiPaths<CostOf<Element>> &paths,
             CostOf<Element> *costs, std::int32_t nObs, ComputeRows computeRows) {
    using Cost = CostOf<Element>;
    const std::size_t stride = simd::viterbiStride(tables.model.nStates);
    const Cost *rows[mostRows];
    std::int32_t symbols[mostRows];
    for (std::int32_t i = 0; i < mostRows; ++i) {
        rows[i] = costs + static_cast<std::size_t>(i) * stride;
        symbols[i] = i;
    }
    std::fill_n(costs, mostRows * stride, Cost{});
    for (std::int32_t t = 0; t < nObs; t += mostRows) {
        const std::int32_t count = std::min(mostRows, nObs - t), started = t == 0 ? 1 : 0;
        computeRows(t, count);
        if (started != 0) start(tables, rows[0], paths.now);
        recurrences<Cost>().advance(tables.model, paths, rows, symbols + started,
                                    static_cast<std::size_t>(count - started));
    }
}

/// One mixture per state.
template <class Element>
struct ContinuousOutputs {
    using Cost = CostOf<Element>;
    static constexpr std::int32_t model = QZ_HMMCont, rows = TurnedVectors<Element>::most;

    const Element *const *observations;
    std::int32_t nObs;

    bool prepare(const HMMServer &) { return true; }
    void run(const HMMServer &server, const Tables<Element> &tables, simd::ViterbiPaths<Cost> &paths,
             Cost *costs) const {
        const auto stride = static_cast<std::ptrdiff_t>(simd::viterbiStride(tables.model.nStates));
        runRows<rows>(tables, paths, costs, nObs, [&](std::int32_t t, std::int32_t count) {
            computeRows(server, observations + t, count, costs, stride);
        });
    }
};

/// A codebook's values at each of `count` vectors: floats, or the low 16 bits of integers.
void computeValues(const HMMServer &server, const float *const *vectors, std::int32_t count, float *values,
                   std::int32_t size) {
    evaluateAll<float>(static_cast<QZsGaussMixServer *const *>(server.mixtures), size, vectors, count,
                       server.dim, putFloats, [=](std::int32_t i, std::int32_t k, float density) {
                           values[std::ptrdiff_t{i} * size + k] = density;
                       });
}

void computeValues(const HMMServer &server, const std::int16_t *const *vectors, std::int32_t count,
                   std::int16_t *values, std::int32_t size) {
    evaluateAll<std::int32_t>(static_cast<QZwGaussMixServer *const *>(server.mixtures), size, vectors, count,
                              server.dim, putFixed, [=](std::int32_t i, std::int32_t k, std::int32_t fixed) {
                                  values[std::ptrdiff_t{i} * size + k] = static_cast<std::int16_t>(fixed);
                              });
}

/// A row of the costs of sums of codebook values, weighted by every state.
void computeRow(const HMMServer &server, const float *values, std::int32_t size, float *costs) {
    const auto *const weights = packedData<const float *const>(server.outputs, server.flavor);
    inPieces(server.nStates, [&](std::int32_t j, std::int32_t some) {
        double densities[piece];
        const auto n = static_cast<std::size_t>(some);
        if (size == server.nSymbols)
            simd::kernels().mixture.weightedSums(weights[j], n, values, static_cast<std::size_t>(size),
                                                 densities);
        else
            std::transform(weights + j, weights + j + some, densities,
                           [=](const float *state) { return QZsDotP(state, values, size); });
        putCosts(densities, costs + j, some);
    });
}

void computeRow(const HMMServer &server, const std::int16_t *values, std::int32_t size, std::int32_t *costs) {
    const auto *const weights = packedData<const std::int16_t *const>(server.outputs, server.flavor);
    inPieces(server.nStates, [&](std::int32_t j, std::int32_t some) {
        std::int32_t densities[piece], scale = 0;
        std::transform(weights + j, weights + j + some, densities, [&](const std::int16_t *state) {
            return QZwDotP(state, values, size, QZ_ScaleWrap, &scale);
        });
        costsOf(server, densities, some, costs + j);
    });
}

/// The codebook's densities at every observation, shared by all members of the call.
template <class Element>
struct SemicontinuousOutputs {
    using Cost = CostOf<Element>;
    static constexpr std::int32_t model = QZ_HMMSemicont, rows = 1;

    const Element *const *observations;
    std::int32_t nObs;
    std::int32_t size = 0;
    Buffer<Element> values{}; // `size` for each observation

    bool prepare(const HMMServer &server) {
        if (values) return true;
        size = server.nSymbols;
        values = Buffer<Element>(std::int64_t{nObs} * size);
        if (!values) return false;
        for (std::int32_t t = 0; t < nObs; t += TurnedVectors<Element>::most)
            computeValues(server, observations + t, std::min(TurnedVectors<Element>::most, nObs - t),
                          valuesAt(t), size);
        return true;
    }

    void run(const HMMServer &server, const Tables<Element> &tables, simd::ViterbiPaths<Cost> &paths,
             Cost *costs) const {
        const std::int32_t shared = std::min(size, server.nSymbols);
        runRows<rows>(tables, paths, costs, nObs,
                      [&](std::int32_t t, std::int32_t) { computeRow(server, valuesAt(t), shared, costs); });
    }

    Element *valuesAt(std::int32_t t) const { return values.get() + std::ptrdiff_t{t} * size; }
};

std::int32_t scaled(const Score<std::int32_t> &score, std::int32_t scoreMode, std::int32_t *scoreScale) {
    if (!score.isScored) return score.cost;
    if (scoreMode != QZ_ScaleFixed) {
        *scoreScale = 0;
        return score.cost;
    }
    const auto scale = static_cast<std::uint32_t>(*scoreScale);
    if (*scoreScale >= 0) return score.cost >> (scale & 31);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(score.cost) << ((0 - scale) & 31));
}

} // namespace

} // namespace qzk

using namespace qzk;

extern "C" {

float QZsEvalHMMViterbi(int32_t model, const int32_t *observations, int32_t nObs, int32_t *bestId) {
    return search<float>(model, nObs, bestId, DiscreteOutputs<float>{observations, nObs}).cost;
}

float QZsEvalContHMMViterbi(int32_t model, const float *const *observations, int32_t nObs, int32_t *bestId) {
    return search<float>(model, nObs, bestId, ContinuousOutputs<float>{observations, nObs}).cost;
}

float QZsEvalSemicontHMMViterbi(int32_t model, const float *const *observations, int32_t nObs,
                                int32_t *bestId) {
    return search<float>(model, nObs, bestId, SemicontinuousOutputs<float>{observations, nObs}).cost;
}

int32_t QZwEvalHMMViterbi(int32_t model, const int32_t *observations, int32_t nObs, int32_t *bestId,
                          int32_t scoreMode, int32_t *scoreScale) {
    return scaled(search<int16_t>(model, nObs, bestId, DiscreteOutputs<int16_t>{observations, nObs}),
                  scoreMode, scoreScale);
}

int32_t QZwEvalContHMMViterbi(int32_t model, const int16_t *const *observations, int32_t nObs,
                              int32_t *bestId, int32_t scoreMode, int32_t *scoreScale) {
    return scaled(search<int16_t>(model, nObs, bestId, ContinuousOutputs<int16_t>{observations, nObs}),
                  scoreMode, scoreScale);
}

int32_t QZwEvalSemicontHMMViterbi(int32_t model, const int16_t *const *observations, int32_t nObs,
                                  int32_t *bestId, int32_t scoreMode, int32_t *scoreScale) {
    return scaled(search<int16_t>(model, nObs, bestId, SemicontinuousOutputs<int16_t>{observations, nObs}),
                  scoreMode, scoreScale);
}

} // extern "C"
