#include "features.hpp"
#include "common/errors.hpp"
#include "common/library.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace recognise {
namespace {

constexpr int bins = frameLength / 2 + 1;

// Filter bank. The bank places its bins from 0 to half the rate it is given, and reads a spectrum whose bins
// reach the full sampling rate: hence twice the rate.
constexpr int filterCount = 24, lowestFrequency = 150, highestFrequency = 3600;
constexpr int filterAxisRate = 2 * sampleRate;
constexpr float preEmphasis = 0.95F;

// End points, in decibels and frames.
constexpr double silenceLevel = 20;        // loudest frame below 10 units of 16-bit samples: no word at all
constexpr double aboveNoise = 6;           // a frame of the word stands out of the noise by this much
constexpr double belowPeak = 35;           // and is no more than this below the loudest frames
constexpr double noiseHeadroom = 12;       // what is this near to the peak is never taken for noise
constexpr int shortBurst = 5, farGap = 30; // a click: less than 50 ms, 300 ms away from the word
constexpr int margin = 3;                  // kept before and after, for soft consonants

// Power below this part of the word's loud frames counts as this much: what noise and coders do to the soft
// parts is hidden in references and tests alike.
constexpr double floorLevel = 0.02; // -17 dB
constexpr int padding = 6;          // frames of silence put around the word, so that tight cuts compare well
constexpr int slopeReach = 2;       // frames to each side over which the slope of a coefficient is fitted
constexpr float energyWeight = 0.6F;

// Fixed scales of the 16-bit path but for its spectra, the same for every frame of every word so that frames
// compare: samples fill 15 bits (pre-emphasis can double them), a log magnitude is in 2^-12, a cepstral
// coefficient in 2^-5.
constexpr float samplePeak = 16384;
constexpr int logMagnitudeScale = -12, cepstrumShift = 7;
constexpr float highestLogMagnitude = 3.9F; // 2 * 111 bins * 3.9 * 2^5 stays within 16 bits in c0

double decibels(double power) { return 10 * std::log10(power + 1e-3); }

std::vector<double> frameLevels(const std::vector<float> &samples) {
    const double mean =
        std::accumulate(samples.begin(), samples.end(), 0.0) / static_cast<double>(samples.size());
    std::vector<double> levels;
    for (std::size_t start = 0; start + frameLength <= samples.size(); start += frameStep) {
        double sum = 0;
        for (std::size_t k = start; k < start + frameLength; ++k)
            sum += (samples[k] - mean) * (samples[k] - mean);
        levels.push_back(decibels(sum / frameLength));
    }
    return levels;
}

double quantile(std::vector<double> values, double part) {
    const auto nth =
        values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

struct Run {
    int first, last;
    double energy;
    int length() const { return last - first + 1; }
};

std::vector<Run> runsAbove(const std::vector<double> &levels, double threshold) {
    std::vector<Run> runs;
    bool inside = false;
    for (int frame = 0; frame < static_cast<int>(levels.size()); ++frame) {
        const double level = levels[static_cast<std::size_t>(frame)];
        if (level >= threshold) {
            if (!inside) runs.push_back({frame, frame, 0});
            runs.back().last = frame;
            runs.back().energy += std::pow(10, level / 10);
        }
        inside = level >= threshold;
    }
    return runs;
}

// The strongest run and everything around it but short bursts far off.
Run joinRuns(const std::vector<Run> &runs) {
    const auto strongest = std::ranges::max_element(runs, {}, &Run::energy);
    Run word = *strongest;
    for (auto run = strongest + 1; run < runs.end(); ++run)
        if (run->length() >= shortBurst || run->first - word.last < farGap) word.last = run->last;
    for (auto run = strongest; run-- > runs.begin();)
        if (run->length() >= shortBurst || word.first - run->last < farGap) word.first = run->first;
    return word;
}

// The word alone: no offset, a fixed peak, silence around it.
std::vector<float> cutWord(const std::vector<float> &samples, Extent word) {
    const std::vector<float> inside(samples.begin() + static_cast<std::ptrdiff_t>(word.begin),
                                    samples.begin() + static_cast<std::ptrdiff_t>(word.end));
    const double mean =
        std::accumulate(samples.begin(), samples.end(), 0.0) / static_cast<double>(samples.size());
    double peak = 0;
    for (const float sample : inside)
        peak = std::max(peak, std::abs(sample - mean));
    const std::size_t silence = static_cast<std::size_t>(padding) * frameStep;
    std::vector<float> cut(inside.size() + 2 * silence, 0.0F);
    for (std::size_t k = 0; k < inside.size(); ++k)
        cut[silence + k] = static_cast<float>((inside[k] - mean) * (samplePeak / peak));
    return cut;
}

// Packed spectrum of one frame. In 16 bits every frame's spectrum fills its range, and the scale factor that
// was found for it is undone.
std::vector<float> packedSpectrum(std::vector<float> &frame, Arithmetic arithmetic) {
    std::vector<float> packed(frameLength);
    if (arithmetic == Arithmetic::floating) {
        QZsPreemphasize(frame.data(), preEmphasis, frameLength);
        QZsWinHamming(frame.data(), frameLength);
        QZsRealFftNip(frame.data(), packed.data(), fftOrder, QZ_FORWARD);
        return packed;
    }
    std::vector<int16_t> samples(frameLength);
    int32_t scale = 0;
    QZswbConvertDown(frame.data(), samples.data(), frameLength, QZ_ScaleSaturate, &scale);
    QZwPreemphasize(samples.data(), preEmphasis, frameLength, QZ_ScaleSaturate, &scale);
    QZwWinHamming(samples.data(), frameLength, QZ_ScaleSaturate, &scale);
    QZwRealFft(samples.data(), fftOrder, QZ_FORWARD, QZ_ScaleAuto, &scale);
    QZwsbConvertUp(samples.data(), packed.data(), frameLength, -scale);
    return packed;
}

// Single bins of a spectrum scatter widely, most of all between harmonics; neighbours steady the logarithm.
void smooth(std::vector<float> &power) {
    for (int pass = 0; pass < 2; ++pass) {
        float previous = power[0];
        for (std::size_t bin = 1; bin + 1 < power.size(); ++bin) {
            const float here = power[bin];
            power[bin] = 0.25F * previous + 0.5F * here + 0.25F * power[bin + 1];
            previous = here;
        }
    }
}

// Log magnitudes relative to the floor: 0 in silence.
Matrix logMagnitudes(const Matrix &power) {
    std::vector<double> frameMeans;
    for (std::size_t frame = 0; frame < power.rows(); ++frame)
        frameMeans.push_back(std::accumulate(power[frame], power[frame] + bins, 0.0) / bins);
    const double floor = floorLevel * quantile(frameMeans, 0.9) + 1e-9;
    Matrix result(power.rows(), power.columns());
    for (std::size_t frame = 0; frame < power.rows(); ++frame)
        for (std::size_t bin = 0; bin < power.columns(); ++bin)
            result[frame][bin] = static_cast<float>(0.5 * std::log10(1 + power[frame][bin] / floor));
    return result;
}

// Mean 0 over the word takes out microphone and line. Dividing by the root of the deviation evens out the
// coefficients half-way: the first ones are the largest, but also say the most.
Matrix normalised(const Matrix &cepstra) {
    Matrix result(cepstra.rows(), cepstra.columns());
    const auto frames = static_cast<double>(cepstra.rows());
    for (std::size_t k = 0; k < cepstra.columns(); ++k) {
        double mean = 0, variance = 0;
        for (std::size_t frame = 0; frame < cepstra.rows(); ++frame)
            mean += cepstra[frame][k] / frames;
        for (std::size_t frame = 0; frame < cepstra.rows(); ++frame)
            variance += (cepstra[frame][k] - mean) * (cepstra[frame][k] - mean) / frames;
        const double weight = (k == 0 ? energyWeight : 1) / std::sqrt(std::sqrt(variance) + 1e-3);
        for (std::size_t frame = 0; frame < cepstra.rows(); ++frame)
            result[frame][k] = static_cast<float>((cepstra[frame][k] - mean) * weight);
    }
    return result;
}

// Appends to every coefficient its slope, fitted over the neighbouring frames.
Matrix withSlopes(const Matrix &values) {
    Matrix result(values.rows(), 2 * values.columns());
    const auto last = static_cast<std::ptrdiff_t>(values.rows()) - 1;
    for (std::ptrdiff_t frame = 0; frame <= last; ++frame)
        for (std::size_t k = 0; k < values.columns(); ++k) {
            float sum = 0, norm = 0;
            for (int d = 1; d <= slopeReach; ++d) {
                const auto after = static_cast<std::size_t>(std::min(last, frame + d));
                const auto before = static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, frame - d));
                sum += static_cast<float>(d) * (values[after][k] - values[before][k]);
                norm += static_cast<float>(2 * d * d);
            }
            float *row = result[static_cast<std::size_t>(frame)];
            row[k] = values[static_cast<std::size_t>(frame)][k];
            row[values.columns() + k] = sum / norm;
        }
    return result;
}

} // namespace

Extent findWord(const std::vector<float> &samples) {
    if (samples.size() < frameLength)
        throw common::InputError("shorter than one frame (" +
                                 std::to_string(1000 * frameLength / sampleRate) + " ms)");
    const std::vector<double> levels = frameLevels(samples);
    if (*std::ranges::max_element(levels) < silenceLevel) throw common::InputError("nothing but silence");

    const double peak = quantile(levels, 0.98), noise = quantile(levels, 0.1);
    const double threshold = std::max(peak - belowPeak, std::min(noise + aboveNoise, peak - noiseHeadroom));
    const Run word = joinRuns(runsAbove(levels, threshold));
    const int first = std::max(0, word.first - margin);
    const int last = std::min(static_cast<int>(levels.size()) - 1, word.last + margin);
    return {static_cast<std::size_t>(first) * frameStep,
            static_cast<std::size_t>(last) * frameStep + frameLength};
}

std::vector<float> powers(const std::vector<float> &packed) {
    std::vector<float> power(bins);
    power.front() = packed[0] * packed[0];
    power.back() = packed[1] * packed[1];
    for (std::size_t bin = 1; bin + 1 < bins; ++bin)
        power[bin] = packed[2 * bin] * packed[2 * bin] + packed[2 * bin + 1] * packed[2 * bin + 1];
    return power;
}

FrontEnd::FrontEnd(Arithmetic chosen) : arithmetic(chosen) {
    const auto init = arithmetic == Arithmetic::floating ? QZsMFCCInit : QZwMFCCInit;
    filters.reset(init(fftOrder, filterCount, lowestFrequency, highestFrequency, filterAxisRate, 0, 0, 0));
    common::checkLibrary();
}

Matrix FrontEnd::powerSpectra(const std::vector<float> &samples) const {
    const std::size_t frames = (samples.size() - frameLength) / frameStep + 1;
    Matrix power(frames, bins);
    std::vector<float> frame(frameLength);
    for (std::size_t f = 0; f < frames; ++f) {
        std::copy_n(samples.data() + f * frameStep, frameLength, frame.data());
        std::vector<float> spectrum = powers(packedSpectrum(frame, arithmetic));
        smooth(spectrum);
        std::ranges::copy(spectrum, power[f]);
    }
    return power;
}

void FrontEnd::cepstrum(const std::vector<float> &logMagnitude, float *out) const {
    if (arithmetic == Arithmetic::floating) {
        QZsCepstralMFCC(0, logMagnitude.data(), filters.get(), out, cepstrumLength);
        return;
    }
    std::vector<int16_t> spectrum(frameLength), coefficients(cepstrumLength);
    std::vector<float> bounded(logMagnitude);
    for (float &value : bounded)
        value = std::min(value, highestLogMagnitude);
    int32_t scale = logMagnitudeScale;
    QZswbConvertDown(bounded.data(), spectrum.data(), bins, QZ_ScaleFixed, &scale);
    scale = cepstrumShift;
    QZwCepstralMFCC(0, spectrum.data(), filters.get(), coefficients.data(), cepstrumLength, QZ_ScaleFixed,
                    &scale);
    QZwsbConvertUp(coefficients.data(), out, cepstrumLength, -(logMagnitudeScale + cepstrumShift));
}

Analysis FrontEnd::analyse(const Recording &recording) const {
    Analysis result;
    result.word = findWord(recording.samples);
    const Matrix logs = logMagnitudes(powerSpectra(cutWord(recording.samples, result.word)));
    result.cepstra = Matrix(logs.rows(), cepstrumLength);
    std::vector<float> spectrum(bins);
    for (std::size_t frame = 0; frame < logs.rows(); ++frame) {
        std::copy_n(logs[frame], bins, spectrum.data());
        cepstrum(spectrum, result.cepstra[frame]);
    }
    common::checkLibrary();
    result.features = withSlopes(normalised(result.cepstra));
    return result;
}

} // namespace recognise
