#include "pictures.hpp"
#include "common/errors.hpp"
#include "text.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <optional>

namespace recognise {
namespace {

// All figures of one comparison are drawn in these units and scaled to the width that the page gives them.
constexpr double plotLeft = 34, plotWidth = 390, plotHeight = 150, cepstrumHeight = 78;
constexpr double range = 60; // decibels below the loudest point
constexpr std::size_t pictureStep = frameStep / 2;

[[gnu::format(printf, 1, 2)]] std::string format(const char *pattern, ...) {
    std::va_list arguments, again;
    va_start(arguments, pattern);
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, pattern, arguments)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, pattern, again);
    va_end(again);
    va_end(arguments);
    return text;
}

struct Sound {
    Recording recording;
    Analysis analysis;
};

Image spectrogram(const Recording &recording) {
    constexpr std::size_t bins = frameLength / 2 + 1;
    const std::size_t frames = (recording.samples.size() - frameLength) / pictureStep + 1;
    Matrix levels(frames, bins);
    float loudest = 0;
    std::vector<float> frame(frameLength);
    for (std::size_t f = 0; f < frames; ++f) {
        std::copy_n(recording.samples.data() + f * pictureStep, frameLength, frame.data());
        QZsPreemphasize(frame.data(), 0.9F, frameLength);
        QZsWinHanning(frame.data(), frameLength);
        QZsRealFft(frame.data(), fftOrder, QZ_FORWARD);
        const std::vector<float> power = powers(frame);
        std::ranges::copy(power, levels[f]);
        loudest = std::max(loudest, *std::ranges::max_element(power));
    }
    Image image(frames, bins);
    for (std::size_t f = 0; f < frames; ++f)
        for (std::size_t bin = 0; bin < bins; ++bin)
            image.set(bins - 1 - bin, f, 10 * std::log10(levels[f][bin] / loudest + 1e-12), -range, 0);
    return image;
}

Image cepstrogram(const Matrix &features, double largest) {
    Image image(features.rows(), cepstrumLength);
    for (std::size_t frame = 0; frame < features.rows(); ++frame)
        for (std::size_t k = 0; k < cepstrumLength; ++k)
            image.set(cepstrumLength - 1 - k, frame, features[frame][k], -largest, largest);
    return image;
}

double largestCoefficient(const Matrix &features) {
    double largest = 0;
    for (std::size_t frame = 0; frame < features.rows(); ++frame)
        for (std::size_t k = 0; k < cepstrumLength; ++k)
            largest = std::max(largest, static_cast<double>(std::abs(features[frame][k])));
    return largest;
}

std::string placed(const Image &image, const Palette &palette, double x, double y, double width,
                   double height, const std::string &plot, bool smooth) {
    return format("<image x='%.2f' y='%.2f' width='%.2f' height='%.2f' preserveAspectRatio='none'%s "
                  "data-plot='%s' "
                  "href='",
                  x, y, width, height, smooth ? " class='smooth'" : "", plot.c_str()) +
           pngAddress(image, palette) + "'/>";
}

std::string openFigure(double height, double below, const char *name) {
    return format("<svg viewBox='0 -6 %g %g' role='img'><title>%s</title>"
                  "<rect class='field' x='%g' width='%g' height='%g' rx='3'/>",
                  plotLeft + plotWidth + 8, height + 6 + below, name, plotLeft, plotWidth, height);
}

std::string label(double y, const std::string &text) {
    return format("<text x='%g' y='%.1f' text-anchor='end'>%s</text>", plotLeft - 5, y + 4, text.c_str());
}

std::string turned(double y, const char *text) {
    return format("<text transform='translate(9 %.1f) rotate(-90)' text-anchor='middle'>%s</text>", y, text);
}

std::string timeAxis(double seconds, double perSecond, double height) {
    double step = 0.1;
    while (seconds / step > 8)
        step *= step == 0.1 || step == 1 ? 2 : step == 0.2 || step == 2 ? 2.5 : 2;
    std::string svg;
    for (int tick = 0; tick * step <= seconds + 1e-9; ++tick) {
        const double x = plotLeft + tick * step * perSecond;
        svg += format("<path class='axis' d='M%.2f %g v4'/><text x='%.2f' y='%g' "
                      "text-anchor='middle'>%.3g%s</text>",
                      x, height + 1, x, height + 18, tick * step, tick ? "" : " s");
    }
    return svg;
}

// Time runs to the end of the longest recording, so that equal lengths are equally long.
class Figure {
public:
    Figure(const Sound &sound, double seconds, double largest)
        : sound(sound), perSecond(plotWidth / seconds), seconds(seconds), largest(largest) {}

    std::string spectrum() const {
        const double end = plotLeft + sound.recording.seconds() * perSecond;
        const Extent word = sound.analysis.word;
        const double first = timeAt(word.begin), last = timeAt(word.end);
        std::string svg = openFigure(plotHeight, 6, "Spectrogram");
        svg += placed(
            spectrogram(sound.recording), levelPalette(), plotLeft, 0, end - plotLeft, plotHeight,
            format(
                "{\"kind\":\"spectrum\",\"palette\":\"level\",\"low\":%g,\"high\":0,\"from\":0,\"to\":%.4f}",
                -range, sound.recording.seconds()),
            true);
        svg += format("<rect class='outside' x='%.2f' width='%.2f' height='%g'/>", plotLeft, first - plotLeft,
                      plotHeight);
        svg += format("<rect class='outside' x='%.2f' width='%.2f' height='%g'/>", last,
                      std::max(0.0, end - last), plotHeight);
        for (const double x : {first, last})
            svg += format("<line class='mark' x1='%.2f' x2='%.2f' y1='0' y2='%g'/>", x, x, plotHeight);
        for (int kilohertz = 0; kilohertz <= 4; kilohertz += 2)
            svg += label(plotHeight * (1 - kilohertz / 4.0), std::to_string(kilohertz));
        svg += turned(plotHeight / 2, "kHz");
        return svg + "</svg>";
    }

    std::string cepstrum() const {
        const Matrix &features = sound.analysis.features;
        const double margin = static_cast<double>(features.rows() * frameStep) / sampleRate;
        const double wordSeconds =
            static_cast<double>(sound.analysis.word.end - sound.analysis.word.begin) / sampleRate;
        const double from =
            static_cast<double>(sound.analysis.word.begin) / sampleRate - (margin - wordSeconds) / 2;
        std::string svg = openFigure(cepstrumHeight, 34, "Cepstrogram");
        svg += format("<svg x='%g' width='%g' height='%g' style='overflow:hidden;width:%gpx;height:%gpx'>",
                      plotLeft, plotWidth, cepstrumHeight, plotWidth, cepstrumHeight);
        svg += placed(
            cepstrogram(features, largest), signedPalette(), from * perSecond, 0, margin * perSecond,
            cepstrumHeight,
            format("{\"kind\":\"cepstrum\",\"palette\":\"signed\",\"low\":%.3f,\"high\":%.3f,\"from\":%.4f,"
                   "\"to\":%.4f,\"count\":%d}",
                   -largest, largest, from, from + margin, cepstrumLength),
            false);
        svg += "</svg>";
        for (const int k : {0, 6, 12})
            svg += label(cepstrumHeight * (1 - (k + 0.5) / cepstrumLength), "c" + std::to_string(k));
        return svg + timeAxis(seconds, perSecond, cepstrumHeight) + "</svg>";
    }

private:
    double timeAt(std::size_t sample) const {
        return plotLeft + static_cast<double>(sample) / sampleRate * perSecond;
    }

    const Sound &sound;
    double perSecond, seconds, largest;
};

} // namespace

std::string escaped(const std::string &text) {
    std::string safe;
    for (const char c : text)
        switch (c) {
        case '&':
            safe += "&amp;";
            break;
        case '<':
            safe += "&lt;";
            break;
        case '>':
            safe += "&gt;";
            break;
        case '"':
            safe += "&quot;";
            break;
        case '\'':
            safe += "&#39;";
            break;
        default:
            safe += c;
        }
    return safe;
}

std::string comparison(const std::vector<Shown> &recordings, const FrontEnd &frontEnd) {
    std::vector<std::optional<Sound>> sounds;
    double seconds = 0, largest = 0;
    for (const Shown &shown : recordings)
        try {
            Sound sound{readRecording(shown.file), {}};
            sound.analysis = frontEnd.analyse(sound.recording);
            seconds = std::max(seconds, sound.recording.seconds());
            largest = std::max(largest, largestCoefficient(sound.analysis.features));
            sounds.emplace_back(std::move(sound));
        } catch (const common::InputError &) {
            sounds.emplace_back();
        }

    constexpr std::array columns{"pair", "pair two", "pair three"};
    std::string html = std::string("<div class='") + columns.at(recordings.size() - 1) + "'>";
    for (std::size_t k = 0; k < recordings.size(); ++k) {
        html += "<div><h4>" + escaped(recordings[k].title) + "<small>" + escaped(recordings[k].remark) +
                "</small></h4>";
        if (sounds[k]) {
            const Figure figure(*sounds[k], seconds, largest);
            html += figure.spectrum() + figure.cepstrum();
        } else
            html += "no longer readable";
        html += "</div>";
    }
    return html + "</div>";
}

std::string scoreMap(const ScoreMap &map) {
    double low = 1e300, high = 0;
    for (const auto &row : map.scores)
        for (const double score : row)
            if (!std::isnan(score)) {
                low = std::min(low, score);
                high = std::max(high, score);
            }
    if (low > high) return "<p class='soft'>Nothing was comparable.</p>";
    Image image(map.columns.size(), map.rows.size());
    for (std::size_t row = 0; row < map.rows.size(); ++row)
        for (std::size_t column = 0; column < map.columns.size(); ++column)
            if (const double score = map.scores[row][column]; !std::isnan(score))
                image.set(row, column, -score, -high, -low); // alike is bright

    std::size_t longest = 0;
    for (const auto *names : {&map.rows, &map.columns})
        for (const std::string &name : *names)
            longest = std::max(longest, characters(name));
    const double cell = std::clamp(880.0 / static_cast<double>(map.columns.size()), 9.0, 34.0);
    const double size = std::min(11.0, cell * 0.95),
                 side = 6.2 * size / 11 * static_cast<double>(longest) + 14;
    const double width = cell * static_cast<double>(map.columns.size());
    const double height = cell * static_cast<double>(map.rows.size());

    std::string html =
        legend(format("%.1f per frame: alike", low), format("%.1f: different", high), levelPalette(), true);
    html += format("<div class='map' style='max-width:%.0fpx'><svg viewBox='0 0 %.1f %.1f' role='img'>"
                   "<title>Mean distance between the words</title>",
                   std::min(1120.0, side + width + 8), side + width + 8, side + height + 8);
    html += placed(
        image, levelPalette(), side, side, width, height,
        format("{\"kind\":\"scores\",\"palette\":\"level\",\"low\":%.5f,\"high\":%.5f}", high, low), false);
    for (std::size_t row = 0; row < map.rows.size(); ++row)
        html += format(
            "<text class='name' style='font-size:%.1fpx' x='%.1f' y='%.1f' text-anchor='end'>%s</text>", size,
            side - 5, side + cell * (static_cast<double>(row) + 0.5) + size * 0.35,
            escaped(map.rows[row]).c_str());
    for (std::size_t column = 0; column < map.columns.size(); ++column)
        html += format("<text class='name' style='font-size:%.1fpx' transform='translate(%.1f %.1f) "
                       "rotate(-90)'>%s</text>",
                       size, side + cell * (static_cast<double>(column) + 0.5) + size * 0.35, side - 5,
                       escaped(map.columns[column]).c_str());
    return html + "</svg></div>";
}

std::string statePicture(const StateCosts &states, double mark) {
    const std::size_t frames = states.costs.columns(), count = states.costs.rows();
    Image image(frames, count);
    for (std::size_t state = 0; state < count; ++state)
        for (std::size_t frame = 0; frame < frames; ++frame)
            image.set(count - 1 - state, frame, -static_cast<double>(states.costs[state][frame]), -mark, 0);
    const double seconds = static_cast<double>(frames * frameStep) / sampleRate;
    const double wide = plotWidth / static_cast<double>(frames),
                 high = plotHeight / static_cast<double>(count);
    std::string svg = openFigure(plotHeight, 34, "Costs of the frames in the states");
    svg += placed(
        image, levelPalette(), plotLeft, 0, plotWidth, plotHeight,
        format("{\"kind\":\"states\",\"palette\":\"level\",\"low\":%g,\"high\":0,\"from\":0,\"to\":%.4f,"
               "\"count\":%zu}",
               mark, seconds, count),
        false);
    std::string way;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const double y = plotHeight - (static_cast<double>(states.path[frame]) + 0.5) * high;
        way += frame ? format("V%.1f", y) : format("M%g %.1f", plotLeft, y);
        way += format("H%.1f", plotLeft + static_cast<double>(frame + 1) * wide);
    }
    svg += "<path class='way' d='" + way + "'/>";
    for (const std::size_t state : {std::size_t{0}, count - 1})
        svg += label(plotHeight - (static_cast<double>(state) + 0.5) * high, std::to_string(state + 1));
    svg += turned(plotHeight / 2, "state");
    return svg + timeAxis(seconds, plotWidth / seconds, plotHeight) + "</svg>";
}

std::string legend(const std::string &low, const std::string &high, const Palette &palette, bool reversed) {
    std::string stops;
    for (std::size_t stop = 0; stop <= 8; ++stop) {
        const auto &[red, green, blue] = palette[reversed ? 255 - stop * 255 / 8 : stop * 255 / 8];
        stops += format(",#%02x%02x%02x", red, green, blue);
    }
    return "<div class='legend'>" + escaped(low) + "<i style='background:linear-gradient(90deg" + stops +
           ")'></i>" + escaped(high) + "</div>";
}

} // namespace recognise
