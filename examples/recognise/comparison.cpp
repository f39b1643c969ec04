#include "comparison.hpp"
#include "pictures.hpp"
#include "text.hpp"

#include <algorithm>

namespace recognise {
namespace {

constexpr std::size_t mostMissed = 200; // tests in the table of errors

std::string header(const std::vector<std::string> &names) {
    std::string html = "<thead><tr><th>" + escaped(names.front()) + "</th>";
    for (auto name = names.begin() + 1; name != names.end(); ++name)
        html += "<th class='number'>" + escaped(*name) + "</th>";
    return html + "</tr></thead>";
}

std::string numberCell(const std::string &text, bool soft = false) {
    return std::string("<td class='number") + (soft ? " soft" : "") + "'>" + text + "</td>";
}

std::string methodTable(const std::vector<Evaluation> &evaluations) {
    std::vector<std::string> names{"method"};
    const bool grouped = evaluations.front().groups.size() > 1;
    if (grouped)
        for (const Group &group : evaluations.front().groups)
            names.push_back(group.name);
    for (const char *name : {"all tests", "learning", "scoring a test"})
        names.emplace_back(name);
    std::string html = "<table class='wide' id='methods'>" + header(names) + "<tbody>";
    for (const Evaluation &evaluation : evaluations) {
        html += "<tr><td>" + escaped(evaluation.method) + "</td>";
        if (grouped)
            for (const Group &group : evaluation.groups)
                html += numberCell(percent(group.right, group.total));
        html += numberCell("<b>" + percent(evaluation.right(), evaluation.results.size()) + "</b>");
        html += numberCell(evaluation.loaded ? "loaded" : number(evaluation.learnSeconds, 2) + " s", true);
        html += numberCell(number(evaluation.millisecondsPerTest(), 2) + " ms", true) + "</tr>";
    }
    return html + "</tbody></table>";
}

// All methods had the same tests in the same order: a bad file is bad for all.
std::string missedTable(const std::vector<Evaluation> &evaluations) {
    std::vector<std::size_t> missed;
    const std::size_t tests = evaluations.front().results.size();
    for (std::size_t test = 0; test < tests; ++test)
        if (std::ranges::any_of(evaluations, [&](const Evaluation &evaluation) {
                return evaluation.results.size() == tests && !evaluation.results[test].right();
            }))
            missed.push_back(test);
    if (missed.empty()) return "<p class='soft'>No method missed a test.</p>";
    std::string html =
        "<details><summary>" + counted(missed.size(), "test") + " missed by at least one method</summary>";
    if (missed.size() > mostMissed) {
        html += "<p class='soft'>The first " + std::to_string(mostMissed) + ".</p>";
        missed.resize(mostMissed);
    }
    html += "<div class='scroll'><table class='wide'><thead><tr><th>file</th>";
    for (const Evaluation &evaluation : evaluations)
        html += "<th>" + escaped(evaluation.method) + "</th>";
    html += "</tr></thead><tbody>";
    for (const std::size_t test : missed) {
        html += "<tr><td>" + escaped(evaluations.front().results[test].file.string()) + "</td>";
        for (const Evaluation &evaluation : evaluations) {
            if (evaluation.results.size() != tests) {
                html += "<td></td>";
                continue;
            }
            const Result &result = evaluation.results[test];
            html += result.right()
                        ? "<td class='right'>✓</td>"
                        : "<td class='wrong'>" +
                              (result.recognised.empty() ? "nothing" : escaped(result.recognised)) + "</td>";
        }
        html += "</tr>";
    }
    return html + "</tbody></table></div></details>";
}

// Nine of ten costs are below it.
double markOf(const StatesShown &shown) {
    std::vector<float> costs;
    for (const StatesShown::OfWord &word : shown.words)
        for (std::size_t state = 0; state < word.states.costs.rows(); ++state)
            costs.insert(costs.end(), word.states.costs[state],
                         word.states.costs[state] + word.states.costs.columns());
    const auto nth = costs.begin() + static_cast<std::ptrdiff_t>(costs.size() * 9 / 10);
    std::ranges::nth_element(costs, nth);
    return std::max(static_cast<double>(*nth), 1e-3);
}

} // namespace

std::string compareMethods(const std::vector<Evaluation> &evaluations) {
    if (evaluations.size() < 2) return {};
    return "<h2>Methods</h2><div class='card'>" + methodTable(evaluations) + missedTable(evaluations) +
           "</div>";
}

std::string pictureStates(const std::vector<Evaluation> &evaluations) {
    std::string html;
    for (const Evaluation &evaluation : evaluations) {
        if (!evaluation.states) continue;
        const StatesShown &shown = *evaluation.states;
        const double mark = markOf(shown);
        if (html.empty())
            html = "<h2>States over time</h2><p class='soft'>What each frame of " +
                   escaped(shown.file.string()) +
                   " costs in each state (-log<sub>10</sub> of the density or probability; bright is cheap), "
                   "and "
                   "the cheapest way through them: in the model of what was said, and in the strongest other."
                   "</p>";
        html += "<div class='card'><h3>" + escaped(evaluation.method) + "</h3>" +
                legend("0", number(mark, 1) + " and more", levelPalette(), true) + "<div class='pair two'>";
        for (const StatesShown::OfWord &word : shown.words)
            html += "<div><h4>Model of “" + escaped(word.label) + "”<small>" + number(word.score, 3) +
                    " per frame in all</small></h4>" + statePicture(word.states, mark) + "</div>";
        html += "</div></div>";
    }
    return html;
}

} // namespace recognise
