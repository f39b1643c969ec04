#include "report.hpp"
#include "common/files.hpp"
#include "comparison.hpp"
#include "page.hpp"
#include "pictures.hpp"
#include "text.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <set>

namespace recognise {
namespace {

namespace fs = std::filesystem;

constexpr const char *reportNoun = "the report";

// What keeps the file small, however many tests there were.
constexpr std::size_t mostComparisons = 24, openComparisons = 6, mostMapLabels = 100, mostRows = 2000,
                      mostConfusedWords = 40;
constexpr std::size_t smallVocabulary = 20; // confusion table in full
constexpr std::size_t closestShown = 3;     // pictured when there is nothing else to picture

std::string spoken(const Result &result) { return result.recognised.empty() ? "nothing" : result.recognised; }

std::string card(const std::string &value, const std::string &name) {
    return "<div class='card'><b>" + value + "</b><span>" + escaped(name) + "</span></div>";
}

std::string summary(const Evaluation &evaluation) {
    const std::size_t total = evaluation.results.size();
    std::string html = "<div class='figures'>";
    html += card(percent(evaluation.right(), total), "recognised");
    html += card(std::to_string(evaluation.right()) + " / " + std::to_string(total),
                 plural(total, "test") + " right");
    html += card(std::to_string(evaluation.labels.size()),
                 plural(evaluation.labels.size(), "word") + " in " +
                     counted(evaluation.references.size(), "reference"));
    html += card(number(evaluation.timesRealTime(), 0) + " ×", "faster than real time");
    if (evaluation.skipped)
        html += card(std::to_string(evaluation.skipped), plural(evaluation.skipped, "file") + " not usable");
    return html + "</div>";
}

std::string groups(const Evaluation &evaluation) {
    if (evaluation.groups.size() < 2) return {};
    std::string html = "<h2>By condition</h2><div class='card'><table class='wide'>";
    for (const Group &group : evaluation.groups) {
        const double share = 100.0 * static_cast<double>(group.right) / static_cast<double>(group.total);
        html += "<tr><td>" + escaped(group.name) +
                "</td><td style='width:50%'><span class='meter'><i style='width:" + number(share, 2) +
                "%'></i></span></td><td class='number'>" + percent(group.right, group.total) +
                "</td><td class='number soft'>" + std::to_string(group.right) + " of " +
                std::to_string(group.total) + "</td></tr>";
    }
    return html + "</table></div>";
}

using WordPair = std::pair<std::string, std::string>; // said, recognised

// The words of a table: all of a small vocabulary, else those with most errors.
std::vector<std::string> confusedWords(const Evaluation &evaluation, bool expected) {
    std::map<std::string, std::size_t> errors;
    std::set<std::string> all;
    for (const Result &result : evaluation.results) {
        const std::string word = expected ? result.expected : spoken(result);
        all.insert(word);
        if (!result.right()) {
            ++errors[word];
            if (!expected) errors.try_emplace(result.expected); // the place of the right answer
        }
    }
    std::vector<std::string> words;
    if (all.size() <= smallVocabulary)
        words.assign(all.begin(), all.end());
    else
        for (const auto &[word, count] : errors)
            words.push_back(word);
    std::ranges::stable_sort(words, std::greater{}, [&](const std::string &word) { return errors[word]; });
    if (words.size() > mostConfusedWords) words.resize(mostConfusedWords);
    std::ranges::sort(words, naturalLess);
    return words;
}

std::string confusionTable(const Evaluation &evaluation) {
    std::map<WordPair, std::size_t> counts;
    std::map<std::string, std::size_t> totals;
    for (const Result &result : evaluation.results) {
        ++counts[{result.expected, spoken(result)}];
        ++totals[result.expected];
    }
    const std::vector<std::string> rows = confusedWords(evaluation, true),
                                   columns = confusedWords(evaluation, false);
    std::string html = "<div class='confusions'><table><thead><tr><th class='soft'>said ↓ recognised →</th>";
    for (const std::string &column : columns)
        html += (characters(column) > 3 ? "<th class='long'>" : "<th>") + escaped(column) + "</th>";
    html += "</tr></thead><tbody>";
    for (const std::string &row : rows) {
        html += "<tr><th>" + escaped(row) + "</th>";
        for (const std::string &column : columns) {
            const auto found = counts.find({row, column});
            if (found == counts.end()) {
                html += "<td></td>";
                continue;
            }
            const double share = static_cast<double>(found->second) / static_cast<double>(totals[row]);
            html += "<td class='" + std::string(row == column ? "hit" : "miss") +
                    "' style='--share:" + number(18 + 62 * share, 0) + "%' title='said " + escaped(row) +
                    ", recognised " + escaped(column) + ": " + std::to_string(found->second) + " of " +
                    std::to_string(totals[row]) + "'>" + std::to_string(found->second) + "</td>";
        }
        html += "</tr>";
    }
    return html + "</tbody></table></div>";
}

std::string confusions(const Evaluation &evaluation) {
    const bool clean = evaluation.right() == evaluation.results.size();
    std::string html = "<h2>Confusions</h2>";
    if (clean && evaluation.labels.size() > smallVocabulary)
        return html + "<p class='soft'>None: every test was recognised.</p>";
    if (evaluation.labels.size() > smallVocabulary)
        html += "<p class='soft'>Words that were taken for others, and the words they were taken for.</p>";
    return html + "<div class='card'>" + confusionTable(evaluation) + "</div>";
}

struct Aggregated {
    std::vector<double> sums;
    std::vector<std::size_t> counts;
    std::size_t wrong = 0;
    double leastMargin = std::numeric_limits<double>::max();
};

// Mean score of every expected word against every label; the most doubtful words if there are too many.
ScoreMap meanScores(const Evaluation &evaluation, bool &shortened) {
    const std::size_t labels = evaluation.labels.size();
    std::map<std::string, Aggregated, decltype(&naturalLess)> byWord(naturalLess);
    for (const Result &result : evaluation.results) {
        Aggregated &word = byWord[result.expected];
        word.sums.resize(labels);
        word.counts.resize(labels);
        for (std::size_t label = 0; label < labels; ++label)
            if (!std::isnan(result.labelScores[label])) {
                word.sums[label] += result.labelScores[label];
                ++word.counts[label];
            }
        word.wrong += !result.right();
        word.leastMargin = std::min(word.leastMargin, result.margin);
    }
    std::vector<std::string> words;
    for (const auto &[word, aggregated] : byWord)
        words.push_back(word);
    shortened = std::max(words.size(), labels) > mostMapLabels;
    std::vector<std::string> columns = evaluation.labels;
    if (shortened) {
        std::ranges::stable_sort(words, [&](const std::string &a, const std::string &b) {
            const Aggregated &left = byWord[a], &right = byWord[b];
            return std::pair(right.wrong, left.leastMargin) < std::pair(left.wrong, right.leastMargin);
        });
        if (words.size() > mostMapLabels) words.resize(mostMapLabels);
        std::ranges::sort(words, naturalLess);
        std::erase_if(columns, [&](const std::string &label) {
            return !std::ranges::binary_search(words, label, naturalLess);
        });
        if (columns.empty())
            columns.assign(evaluation.labels.begin(), evaluation.labels.begin() + mostMapLabels);
    }
    ScoreMap map{words, columns, {}};
    for (const std::string &word : words) {
        const Aggregated &aggregated = byWord[word];
        std::vector<double> &row = map.scores.emplace_back();
        for (const std::string &column : columns) {
            const auto label = static_cast<std::size_t>(
                std::ranges::lower_bound(evaluation.labels, column, naturalLess) - evaluation.labels.begin());
            row.push_back(aggregated.counts[label]
                              ? aggregated.sums[label] / static_cast<double>(aggregated.counts[label])
                              : std::numeric_limits<double>::quiet_NaN());
        }
    }
    return map;
}

// Tests that were asked for, then the misrecognised ones; the closest calls when there is neither.
std::vector<const Result *> pictured(const Evaluation &evaluation, const std::vector<std::string> &show,
                                     bool &closest) {
    std::vector<const Result *> wrong, chosen, right;
    for (const Result &result : evaluation.results) {
        const bool asked =
            std::ranges::any_of(show, [&](const std::string &name) { return isCalled(result.file, name); });
        (asked ? chosen : result.right() ? right : wrong).push_back(&result);
    }
    closest = wrong.empty() && chosen.empty();
    if (closest) {
        std::ranges::stable_sort(right, {}, &Result::margin);
        if (right.size() > closestShown) right.resize(closestShown);
        return right;
    }
    // Every confusion once before any of them twice, the frequent ones first.
    std::map<WordPair, std::vector<const Result *>> confused;
    for (const Result *result : wrong)
        confused[{result->expected, result->recognised}].push_back(result);
    std::vector<const std::vector<const Result *> *> byCount;
    for (const auto &[words, tests] : confused)
        byCount.push_back(&tests);
    std::ranges::stable_sort(byCount, std::greater{}, [](const auto *tests) { return tests->size(); });
    for (std::size_t round = 0; !byCount.empty(); ++round) {
        std::erase_if(byCount, [&](const auto *tests) { return tests->size() <= round; });
        for (const auto *tests : byCount)
            chosen.push_back((*tests)[round]);
    }
    return chosen;
}

std::string comparisonCard(const Result &result, const FrontEnd &frontEnd) {
    std::vector<Shown> shown{{result.file, "Test: " + result.file.string(), "said " + result.expected}};
    if (!result.recognisedReference.empty())
        shown.push_back({result.recognisedReference, "Best reference of “" + result.recognised + "”", ""});
    if (!result.right() && !result.expectedReference.empty())
        shown.push_back({result.expectedReference, "Best reference of “" + result.expected + "”", ""});
    for (std::size_t k = 1; k < shown.size(); ++k)
        shown[k].remark = shown[k].file.string();
    std::string html = "<div class='card'><h3>";
    if (result.right())
        html += "<span class='right'>" + escaped(result.expected) + "</span>";
    else
        html += escaped(result.expected) + " <span class='soft'>taken for</span> <span class='wrong'>" +
                escaped(spoken(result)) + "</span>";
    html += "</h3><span class='soft'>";
    if (!result.recognised.empty())
        html += "distance " + number(result.score, 2) + " per frame, runner-up " + number(result.margin, 2) +
                " behind";
    else
        html += "no reference of a comparable length";
    return html + "</span>" + comparison(shown, frontEnd) + "</div>";
}

std::string pictures(const Evaluation &evaluation, const FrontEnd &frontEnd,
                     const std::vector<std::string> &show) {
    bool closest = false;
    std::vector<const Result *> results = pictured(evaluation, show, closest);
    if (results.empty()) return {};
    std::string html = closest
                           ? "<h2>Closest calls</h2><p class='soft'>Recognised, with the smallest margins. "
                           : "<h2>Tests beside their references</h2><p class='soft'>";
    if (results.size() > mostComparisons) {
        html +=
            "The first " + std::to_string(mostComparisons) + " of " + std::to_string(results.size()) + ". ";
        results.resize(mostComparisons);
    }
    html += "Above the spectrogram, with the word between the dashed marks; below the normalised cepstra "
            "that are "
            "compared, from c0 (energy) to c12 (fine detail of the spectrum).</p>";
    html += "<div class='legend'>";
    html += legend("-60 dB", "0 dB", levelPalette(), false) + "<span class='gap'></span>";
    html += legend("negative", "positive coefficient", signedPalette(), false) + "</div>";
    for (std::size_t k = 0; k < results.size(); ++k) {
        if (k == openComparisons)
            html += "<details><summary>" + std::to_string(results.size() - k) + " more</summary>";
        html += comparisonCard(*results[k], frontEnd);
    }
    return results.size() > openComparisons ? html + "</details>" : html;
}

std::string resultTable(const Evaluation &evaluation) {
    std::vector<const Result *> results;
    for (const Result &result : evaluation.results)
        results.push_back(&result);
    std::ranges::stable_sort(results, [](const Result *a, const Result *b) {
        return std::pair(a->right(), a->margin) < std::pair(b->right(), b->margin);
    });
    std::string html =
        "<h2>All tests</h2><p class='soft'>Errors first, then by margin, the doubtful ones on top.";
    if (results.size() > mostRows) {
        html += " The first " + std::to_string(mostRows) + " of " + std::to_string(results.size()) + ".";
        results.resize(mostRows);
    }
    html += "</p><div class='card'><input id='filter' type='search' placeholder='Filter' aria-label='Filter'>"
            "<div class='scroll'><table class='wide' id='results'><thead><tr><th>file</th><th>said</th>"
            "<th>recognised</th><th class='number'>distance</th><th "
            "class='number'>margin</th></tr></thead><tbody>";
    for (const Result *result : results)
        html += "<tr><td>" + escaped(result->file.string()) + "</td><td>" + escaped(result->expected) +
                "</td><td class='" + (result->right() ? "right" : "wrong") + "'>" + escaped(spoken(*result)) +
                "</td><td class='number'>" + number(result->score, 2) + "</td><td class='number'>" +
                number(result->margin, 2) + "</td></tr>";
    return html + "</tbody></table></div></div>";
}

// Text inside a JSON string inside a script element.
std::string quoted(const std::string &text) {
    std::string json = "\"";
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || c == '"' || c == '\\' || c == '<') {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", code);
            json += escape;
        } else
            json += c;
    }
    return json + '"';
}

std::string list(const std::vector<std::string> &texts) {
    std::string json;
    for (const std::string &text : texts)
        json += (json.empty() ? "" : ",") + quoted(text);
    return "[" + json + "]";
}

std::string introduction(const Evaluation &evaluation) {
    const std::string method = "Method " + escaped(evaluation.method) + ". ";
    if (!evaluation.templates)
        return method +
               "Every test is scored against a model of each word; the word with the smallest cost "
               "(-log<sub>10</sub> of the probability, per frame) wins. The best reference of a word is "
               "the one that its model fits best.";
    return method + "Every test is compared with every reference. A word's distance is " +
           (evaluation.neighbours == 1
                ? "that of its nearest reference"
                : "the mean over its " + std::to_string(evaluation.neighbours) + " nearest references") +
           "; the word with the smallest wins.";
}

std::string page(const std::vector<Evaluation> &evaluations, const FrontEnd &frontEnd,
                 const std::vector<std::string> &show) {
    const Evaluation &evaluation = evaluations.front();
    bool shortened = false;
    const ScoreMap map = meanScores(evaluation, shortened);
    std::string html = "<!DOCTYPE html><html lang='en'><head><meta charset='utf-8'>"
                       "<meta name='viewport' content='width=device-width,initial-scale=1'>"
                       "<title>Word recognition report</title><style>";
    html += pageStyle;
    html += "</style></head><body><main><h1>Word recognition</h1><p class='soft'>" + introduction(evaluation);
    if (evaluations.size() > 1)
        html += " The other methods are compared with it; all else below is of this one.";
    html += "</p>";
    html += summary(evaluation) + compareMethods(evaluations) + groups(evaluation) + confusions(evaluation) +
            pictures(evaluation, frontEnd, show) + pictureStates(evaluations);
    html +=
        "<h2>Distances between words</h2><p class='soft'>Mean distance of the tests of a word (row) to the "
        "references of each word (column). Bright off the diagonal: easily confused.";
    if (shortened) html += " The " + std::to_string(map.rows.size()) + " most doubtful words.";
    html += "</p><div class='card'>" + scoreMap(map) + "</div>" + resultTable(evaluation);
    html +=
        "</main><div id='tip'></div><script type='application/json' id='page'>{\"palettes\":{\"level\":\"" +
        hexDigits(levelPalette()) + "\",\"signed\":\"" + hexDigits(signedPalette()) +
        "\"},\"rows\":" + list(map.rows) + ",\"columns\":" + list(map.columns) + "}</script><script>";
    html += pageScript;
    return html + "</script></body></html>\n";
}

} // namespace

void checkReportPlace(const std::string &file) { common::checkPlace(file, reportNoun); }

void writeReport(const std::string &file, const std::vector<Evaluation> &evaluations,
                 const FrontEnd &frontEnd, const std::vector<std::string> &show) {
    common::writeFile(file, validUtf8(page(evaluations, frontEnd, show)), reportNoun);
}

} // namespace recognise
