// The Viterbi search: the cost of the best path of states through one model, or the best model of a class.
#include "common/hmm.hpp"
#include "common/hmm_layout.hpp"
#include "common/memory.hpp"
#include "common/mixture.hpp"
#include "common/scale.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

/// Path costs, and one row of output costs, of the members of a class one after the other.
template <class Cost>
class WorkBuffer {
public:
    /// Makes room for n states, which the buffer may have already; false without memory.
    bool provide(std::int64_t n) {
        n = std::max(n, std::int64_t{8});
        if (n <= capacity_) return true;
        buffer_ = Buffer<Cost>();
        buffer_ = Buffer<Cost>(8 * n + (std::is_integral_v<Cost> ? 4 : 0));
        capacity_ = buffer_ ? n : 0;
        return static_cast<bool>(buffer_);
    }

    simd::ViterbiPaths<Cost> paths(std::size_t n) const { return {vector(0, n), vector(1, n)}; }
    Cost *row(std::size_t n) const { return vector(2, n); }

private:
    /// Three vectors and their alignment fit into eight times the states, as these are eight at least.
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
        return findHMMServer(class_ == 0 ? std::exchange(server_, 0)
                                         : std::max(nextHMMClassMember(class_), 0));
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
    WorkBuffer<Cost> work;
    Servers servers(model);
    while (const HMMServer *const server = servers.next()) {
        if (!isComplete(*server, kind)) continue;
        if (!outputs.prepare(*server) || !work.provide(server->nStates)) return {};
        const Tables<Element> tables(*server);
        auto paths = work.paths(tables.model.nStates);
        outputs.run(*server, tables, paths, work.row(tables.model.nStates));
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
    static constexpr std::int32_t model = QZ_HMMDiscrete;

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

/// Runs the frames whose costs costsOf(t) computes, one row at a time.
template <class Element, class CostsOf>
void runRows(const Tables<Element> &tables, simd::ViterbiPaths<CostOf<Element>> &paths, CostOf<Element> *row,
             std::int32_t nObs, CostsOf costsOf) {
    const CostOf<Element> *const rows[] = {row};
    std::fill(row + tables.n, row + simd::viterbiStride(tables.model.nStates), CostOf<Element>{});
    constexpr std::int32_t first = 0;
    costsOf(0);
    start(tables, row, paths.now);
    for (std::int32_t t = 1; t < nObs; ++t) {
        costsOf(t);
        recurrences<CostOf<Element>>().advance(tables.model, paths, rows, &first, 1);
    }
}

/// Work in pieces of this many states or codebook entries, which the stack holds.
constexpr std::int32_t piece = 128;

template <class Work>
void inPieces(std::int32_t count, Work work) {
    for (std::int32_t i = 0; i < count; i += piece)
        work(i, std::min(piece, count - i));
}

void densitiesOf(QZsGaussMixServer *const *mixtures, std::int32_t count, const float *x, std::int32_t dim,
                 double *densities) {
    evaluateMixtures(mixtures, count, x, dim, densities);
}

/// As 32-bit integers with 29 fractional bits.
void densitiesOf(QZwGaussMixServer *const *mixtures, std::int32_t count, const std::int16_t *x,
                 std::int32_t dim, std::int32_t *densities) {
    double values[piece];
    evaluateMixtures(mixtures, count, x, dim, values);
    simd::kernels().convert.doubleToInt.wrap(values, densities, static_cast<std::size_t>(count),
                                             multiplierOf(densityScale));
}

template <class Element>
using Density = std::conditional_t<std::is_same_v<Element, float>, double, std::int32_t>;

void costsOf(const HMMServer &, const double *densities, std::int32_t count, float *costs) {
    simd::kernels().viterbi.floatCosts(densities, costs, static_cast<std::size_t>(count));
}

void costsOf(const HMMServer &server, const std::int32_t *densities, std::int32_t count,
             std::int32_t *costs) {
    simd::kernels().viterbi.wordCosts(densities, costs, static_cast<std::size_t>(count),
                                      multiplierOf(server.scale));
}

/// One mixture per state.
template <class Element>
struct ContinuousOutputs {
    using Cost = CostOf<Element>;
    static constexpr std::int32_t model = QZ_HMMCont;

    const Element *const *observations;
    std::int32_t nObs;

    bool prepare(const HMMServer &) { return true; }
    void run(const HMMServer &server, const Tables<Element> &tables, simd::ViterbiPaths<Cost> &paths,
             Cost *row) const {
        auto *const *const mixtures = static_cast<MixtureOf<Element> *const *>(server.mixtures);
        runRows(tables, paths, row, nObs, [&](std::int32_t t) {
            inPieces(tables.n, [&](std::int32_t j, std::int32_t count) {
                Density<Element> densities[piece];
                densitiesOf(mixtures + j, count, observations[t], server.dim, densities);
                costsOf(server, densities, count, row + j);
            });
        });
    }
};

double weighted(const float *weights, const float *values, std::int32_t count) {
    return QZsDotP(weights, values, count);
}

std::int32_t weighted(const std::int16_t *weights, const std::int16_t *values, std::int32_t count) {
    std::int32_t scale = 0;
    return QZwDotP(weights, values, count, QZ_ScaleWrap, &scale);
}

/// The codebook's densities at every observation, shared by all members of the call.
template <class Element>
struct SemicontinuousOutputs {
    using Cost = CostOf<Element>;
    static constexpr std::int32_t model = QZ_HMMSemicont;

    const Element *const *observations;
    std::int32_t nObs;
    std::int32_t size = 0;
    Buffer<Element> values{}; // `size` for each observation

    bool prepare(const HMMServer &server) {
        if (values) return true;
        size = server.nSymbols;
        values = Buffer<Element>(std::int64_t{nObs} * size);
        if (!values) return false;
        auto *const *const codebook = static_cast<MixtureOf<Element> *const *>(server.mixtures);
        for (std::int32_t t = 0; t < nObs; ++t) {
            inPieces(size, [&](std::int32_t k, std::int32_t count) {
                Density<Element> densities[piece];
                densitiesOf(codebook + k, count, observations[t], server.dim, densities);
                // Rounded to float, or the low 16 bits.
                std::transform(densities, densities + count, valuesAt(t) + k,
                               [](Density<Element> density) { return static_cast<Element>(density); });
            });
        }
        return true;
    }

    void run(const HMMServer &server, const Tables<Element> &tables, simd::ViterbiPaths<Cost> &paths,
             Cost *row) const {
        const auto *const weights = packedData<const Element *const>(server.outputs, server.flavor);
        const std::int32_t shared = std::min(size, server.nSymbols);
        runRows(tables, paths, row, nObs, [&](std::int32_t t) {
            inPieces(tables.n, [&](std::int32_t j, std::int32_t count) {
                Density<Element> densities[piece];
                std::transform(weights + j, weights + j + count, densities,
                               [&](const Element *state) { return weighted(state, valuesAt(t), shared); });
                costsOf(server, densities, count, row + j);
            });
        });
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
