#include "families.hpp"
#include "hmm_models.hpp"

namespace qzk::digest {
namespace {

constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4};

template <auto f, class Observations>
void evaluateFloats(Generator &, std::int32_t model, Observations observations, std::int32_t n) {
    std::int32_t best = -7;
    call<f>(model, observations, n, &best);
    put(best);
}
template <auto f, class Observations>
void evaluateWords(Generator &random, std::int32_t model, Observations observations, std::int32_t n) {
    const std::int32_t mode = random.oneOf(modes);
    std::int32_t best = -7, scale = random.between(-33, 33);
    call<f>(model, observations, n, &best, mode, &scale);
    put(best);
    put(scale);
}

template <class T>
struct Evaluations;
template <>
struct Evaluations<float> {
    static constexpr auto discrete = evaluateFloats<QZsEvalHMMViterbi, const std::int32_t *>;
    static constexpr auto continuous = evaluateFloats<QZsEvalContHMMViterbi, const float *const *>;
    static constexpr auto semicontinuous = evaluateFloats<QZsEvalSemicontHMMViterbi, const float *const *>;
};
template <>
struct Evaluations<std::int16_t> {
    static constexpr auto discrete = evaluateWords<QZwEvalHMMViterbi, const std::int32_t *>;
    static constexpr auto continuous = evaluateWords<QZwEvalContHMMViterbi, const std::int16_t *const *>;
    static constexpr auto semicontinuous =
        evaluateWords<QZwEvalSemicontHMMViterbi, const std::int16_t *const *>;
};

/// Few states and many, alone and in classes.
template <class T>
void searches(std::string_view name) {
    using Evaluate = Evaluations<T>;
    Generator random(name);
    for (int round = 0; round < 150; ++round) {
        const std::size_t dim = 1 + random.below(4), nSymbols = 1 + random.below(round % 16 == 0 ? 70 : 6);
        const std::size_t most = round % 8 == 0 ? 100 : 20;
        HmmMaker<T> maker(random, dim, nSymbols);
        std::int32_t classes[3] = {};
        for (std::int32_t &group : classes)
            group = call<QZCreateHMMClass>();
        std::vector<std::int32_t> servers;
        for (std::size_t member = 1 + random.below(4); member > 0; --member) {
            const std::size_t nStates = 1 + random.below(most);
            const std::int32_t ofEachModel[] = {maker.discrete(nStates), maker.continuous(nStates),
                                                maker.semicontinuous(nStates)};
            for (int model = 0; model < 3; ++model) {
                call<QZAddHMMToClass>(classes[model], ofEachModel[model]);
                servers.push_back(ofEachModel[model]);
            }
        }
        const std::size_t n = random.below(16) == 0 ? 0 : 1 + random.below(round % 4 == 0 ? 30 : 8);
        std::vector<std::int32_t> symbols(n + 1);
        for (std::int32_t &symbol : symbols)
            symbol = static_cast<std::int32_t>(random.below(nSymbols));
        const Rows<T> observations = maker.observations(n);

        std::vector<std::int32_t> models = servers;
        for (const std::int32_t group : classes)
            models.push_back(-group);
        models.push_back(random.between(-9, 30)); // there may be none
        for (const std::int32_t model : models) {
            const auto length = static_cast<std::int32_t>(n);
            Evaluate::discrete(random, model, symbols.data(), length);
            Evaluate::continuous(random, model, observations.get(), length);
            Evaluate::semicontinuous(random, model, observations.get(), length);
        }
        call<QZHMMFreeAll>();
    }
}

} // namespace

void viterbi() {
    searches<float>("QZsEvalHMMViterbi");
    searches<std::int16_t>("QZwEvalHMMViterbi");
}

} // namespace qzk::digest
