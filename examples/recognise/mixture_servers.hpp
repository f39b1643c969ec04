#pragma once

#include "chain_tables.hpp"
#include "common/library.hpp"
#include "features.hpp"
#include "fixed.hpp"
#include "train_mixture.hpp"

#include "qzk.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace recognise {

/// The end is a feature of its own, 0 in every frame but that behind the recording. The distance makes the
/// end cost more than 100 decades anywhere but in the state that expects it.
constexpr float endMark = 8, endInverse = 10;

/// The features with the one for the end beside them, and the frame for the end behind them.
Matrix withEnd(const Matrix &features);

/// Common logarithm of the least weight in floats; in 16 bits it is 1.
constexpr double leastLogarithm = -30;

/// How mixtures and chains become those of the library, in floats.
struct FloatKind {
    using Element = float;
    using Server = QZsGaussMixServer;
    static constexpr Arithmetic arithmetic = Arithmetic::floating;
    static constexpr float impossible = 1e30F;

    /// Of the common logarithm.
    static float weight(double logarithm) {
        return static_cast<float>(std::pow(10, std::max(logarithm, leastLogarithm)));
    }
    static float feature(float value) { return value; }
    static float inverseVariance(float value) { return value; }
    static float cost(float value) { return value; }

    static Server *mixture(const float *weights, const float *const *means, const float *const *inverses,
                           std::size_t components) {
        return QZsInitGaussMixServer(weights, means, nullptr, inverses, nullptr,
                                     static_cast<int32_t>(components), 0);
    }
    static int32_t model(const ChainTables<float> &tables, Server *const *mixtures, int32_t dimension) {
        return QZsInitContHMMServer(tables.transitions.data(), tables.initial.data(), mixtures,
                                    static_cast<int32_t>(tables.initial.size()), dimension, QZ_HMMCost);
    }
    static void release(Server *server) { QZsFreeGaussMixServer(server); }

    /// A recording as continuous models see it, with the frame for the end.
    class Observed {
    public:
        explicit Observed(const Matrix &features) : values(withEnd(features)), rows(rowsOf(values)) {}
        const float *const *data() const { return rows.data(); }
        int32_t frames() const { return static_cast<int32_t>(rows.size()); }

    private:
        Matrix values;
        std::vector<const float *> rows;
    };

    static double modelCost(int32_t model, const Observed &observed, int32_t *best) {
        return QZsEvalContHMMViterbi(model, observed.data(), observed.frames(), best);
    }
    static double outputCost(const Server *server, const float *frame, int32_t dimension) {
        return -std::log10(QZsEvalGaussMix(server, frame, dimension));
    }
};

/// The same in 16 bits. Densities have 29 binary places there, nine decades: their eighth root, and that of
/// every probability, brings what matters into them. Costs are in 2^-11 of its decade.
struct FixedKind {
    using Element = int16_t;
    using Server = QZwGaussMixServer;
    static constexpr Arithmetic arithmetic = Arithmetic::fixed;
    static constexpr int16_t impossible = 32767;
    static constexpr int rootShift = 3, costScale = -11, weightBits = 14, inverseBits = 8, densityBits = 29;

    static int16_t weight(double logarithm) {
        const double root = std::pow(10, std::ldexp(logarithm, -rootShift));
        return static_cast<int16_t>(std::max(std::lround(std::ldexp(root, weightBits)), 1L));
    }
    static int16_t feature(float value) {
        return static_cast<int16_t>(
            std::lround(std::ldexp(std::clamp(value, -255.0F, 255.0F), -featureScale)));
    }
    static int16_t inverseVariance(float value) {
        return static_cast<int16_t>(std::lround(std::min(std::ldexp(value, inverseBits), 32767.0F)));
    }
    static int16_t cost(float value) {
        return static_cast<int16_t>(
            std::lround(std::min(std::ldexp(value, -costScale - rootShift), 32766.0F)));
    }

    static Server *mixture(const int16_t *weights, const int16_t *const *means,
                           const int16_t *const *inverses, std::size_t components) {
        return QZwInitGaussMixServer(weights, means, nullptr, inverses, nullptr,
                                     static_cast<int32_t>(components), 0,
                                     2 * featureScale - inverseBits - rootShift);
    }
    static int32_t model(const ChainTables<int16_t> &tables, Server *const *mixtures, int32_t dimension) {
        return QZwInitContHMMServer(tables.transitions.data(), tables.initial.data(), mixtures,
                                    static_cast<int32_t>(tables.initial.size()), dimension, QZ_HMMCost,
                                    costScale);
    }
    static void release(Server *server) { QZwFreeGaussMixServer(server); }

    class Observed {
    public:
        explicit Observed(const Matrix &features)
            : values(withEnd(features)), count(static_cast<int32_t>(features.rows() + 1)) {}
        const int16_t *const *data() const { return values.data(); }
        int32_t frames() const { return count; }

    private:
        FixedPattern values;
        int32_t count;
    };

    static double modelCost(int32_t model, const Observed &observed, int32_t *best) {
        int32_t scoreScale = 0;
        const int32_t cost =
            QZwEvalContHMMViterbi(model, observed.data(), observed.frames(), best, 0, &scoreScale);
        // One frame that no state can give costs 2^29 - 1.
        return cost < 0x1FFFFFFF ? std::ldexp(cost, costScale + rootShift)
                                 : std::numeric_limits<double>::infinity();
    }
    static double outputCost(const Server *server, const int16_t *frame, int32_t dimension) {
        int32_t scale = weightBits - densityBits;
        const int32_t density = QZwEvalGaussMix(server, frame, dimension, QZ_ScaleFixed, &scale);
        return std::ldexp(std::log10(std::ldexp(1.0, densityBits) / std::max(density, 1)), rootShift);
    }
};

/// Mixture servers of the library, released with it, and the arrays that they look into.
template <class Kind>
class MixtureServers {
public:
    MixtureServers() = default;
    ~MixtureServers() { clear(); }
    MixtureServers(const MixtureServers &) = delete;
    MixtureServers &operator=(const MixtureServers &) = delete;

    void clear() {
        for (typename Kind::Server *server : servers)
            Kind::release(server);
        servers.clear();
        arrays.clear();
    }

    /// A server of the mixture, whose densities are divided by 10^largest.
    void add(const Mixture &mixture, double largest) {
        const std::vector<double> factors = logFactors(mixture);
        const std::size_t dimension = mixture.means.columns();
        auto values = std::make_unique<Arrays>(factors.size() + 1, dimension + 1);
        for (std::size_t component = 0; component < factors.size(); ++component) {
            values->weights.push_back(Kind::weight(factors[component] - largest));
            for (std::size_t k = 0; k < dimension; ++k) {
                values->means[component][k] = Kind::feature(mixture.means[component][k]);
                values->inverses[component][k] = Kind::inverseVariance(1 / mixture.variances[component][k]);
            }
            values->inverses[component][dimension] = Kind::inverseVariance(endInverse);
        }
        // The least weight there is, however far a frame lies: no frame becomes impossible by its distance.
        values->weights.push_back(Kind::weight(leastLogarithm));
        values->inverses[factors.size()][dimension] = Kind::inverseVariance(endInverse);
        keep(std::move(values));
    }

    /// One for the frame behind a recording.
    void addEnd(std::size_t dimension) {
        auto values = std::make_unique<Arrays>(1, dimension + 1);
        values->weights.push_back(Kind::weight(0));
        values->means[0][dimension] = Kind::feature(endMark);
        values->inverses[0][dimension] = Kind::inverseVariance(endInverse);
        keep(std::move(values));
    }

    std::size_t size() const { return servers.size(); }
    typename Kind::Server *const *from(std::size_t first) const { return servers.data() + first; }

private:
    struct Arrays {
        Arrays(std::size_t components, std::size_t dimension)
            : means(components, dimension), inverses(components, dimension) {}

        std::vector<typename Kind::Element> weights;
        Rows<typename Kind::Element> means, inverses;
    };

    void keep(std::unique_ptr<Arrays> values) {
        arrays.push_back(std::move(values));
        const Arrays &kept = *arrays.back();
        servers.push_back(
            Kind::mixture(kept.weights.data(), kept.means.data(), kept.inverses.data(), kept.weights.size()));
        common::checkLibrary();
    }

    std::vector<std::unique_ptr<Arrays>> arrays;
    std::vector<typename Kind::Server *> servers;
};

} // namespace recognise
