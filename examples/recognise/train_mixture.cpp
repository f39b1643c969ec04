#include "train_mixture.hpp"
#include "train_kmeans.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace recognise {

Mixture fitMixture(const Matrix &frames, const std::vector<float> &priorVariances,
                   const MixtureSettings &settings) {
    const std::size_t wanted =
        std::clamp(frames.rows() / settings.framesPerComponent, std::size_t{1}, settings.mostComponents);
    const Clusters clusters = cluster(frames, wanted);
    const std::size_t components = clusters.centres.rows(), columns = frames.columns();
    std::vector<double> counts(components), squares(components * columns);
    for (std::size_t frame = 0; frame < frames.rows(); ++frame) {
        const std::size_t component = clusters.members[frame];
        ++counts[component];
        for (std::size_t k = 0; k < columns; ++k) {
            const double distance = frames[frame][k] - clusters.centres[component][k];
            squares[component * columns + k] += distance * distance;
        }
    }
    Mixture mixture{{}, clusters.centres, Matrix(components, columns)};
    for (std::size_t component = 0; component < components; ++component) {
        mixture.weights.push_back(static_cast<float>(counts[component] / static_cast<double>(frames.rows())));
        for (std::size_t k = 0; k < columns; ++k)
            mixture.variances[component][k] = static_cast<float>(
                (squares[component * columns + k] + settings.priorFrames * priorVariances[k]) /
                (counts[component] + settings.priorFrames));
    }
    return mixture;
}

std::vector<float> variancesOf(const Matrix &frames) {
    std::vector<float> variances;
    const auto count = static_cast<double>(frames.rows());
    for (std::size_t k = 0; k < frames.columns(); ++k) {
        double mean = 0, variance = 0;
        for (std::size_t frame = 0; frame < frames.rows(); ++frame)
            mean += frames[frame][k] / count;
        for (std::size_t frame = 0; frame < frames.rows(); ++frame)
            variance += (frames[frame][k] - mean) * (frames[frame][k] - mean) / count;
        variances.push_back(static_cast<float>(variance));
    }
    return variances;
}

std::vector<double> logFactors(const Mixture &mixture) {
    std::vector<double> factors;
    for (std::size_t component = 0; component < mixture.means.rows(); ++component) {
        double factor = std::log10(mixture.weights[component]);
        for (std::size_t k = 0; k < mixture.means.columns(); ++k)
            factor -= 0.5 * std::log10(mixture.variances[component][k]);
        factors.push_back(factor);
    }
    return factors;
}

double mixtureCost(const Mixture &mixture, const std::vector<double> &factors, const float *frame) {
    // Added relative to the largest: any distance stays representable.
    double largest = -1e300, sum = 0;
    for (std::size_t component = 0; component < factors.size(); ++component) {
        double form = 0;
        const float *mean = mixture.means[component], *variance = mixture.variances[component];
        for (std::size_t k = 0; k < mixture.means.columns(); ++k) {
            const double distance = frame[k] - mean[k];
            form += distance * distance / variance[k];
        }
        const double value = factors[component] - 0.5 * form * std::numbers::log10e;
        if (value > largest) {
            sum = sum * std::pow(10, largest - value) + 1;
            largest = value;
        } else
            sum += std::pow(10, value - largest);
    }
    return -(largest + std::log10(sum));
}

} // namespace recognise
