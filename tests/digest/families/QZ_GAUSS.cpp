#include "families.hpp"
#include "mixtures.hpp"

namespace qzk::digest {
namespace {

constexpr std::size_t componentCounts[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33};
constexpr std::size_t dimensions[] = {0, 1, 2, 3, 4, 5, 7, 8, 13, 16, 17, 26, 39};
constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4};

void evaluate(Generator &, const QZsGaussMixServer *server, const std::vector<float> &x, std::int32_t dim) {
    call<QZsEvalGaussMix>(server, x.data(), dim);
}
void evaluate(Generator &random, const QZwGaussMixServer *server, const std::vector<std::int16_t> &x,
              std::int32_t dim) {
    const std::int32_t mode = random.oneOf(modes);
    std::int32_t scale = random.between(-30, 30);
    call<QZwEvalGaussMix>(server, x.data(), dim, mode, &scale);
    put(scale);
}

template <class T>
void mixtures(std::string_view name, int rounds) {
    Generator random(name);
    for (int round = 0; round < rounds; ++round)
        for (const Spread spread : spreads)
            for (const bool full : {false, true})
                for (const bool tables : {false, true}) {
                    const std::size_t components = random.oneOf(componentCounts);
                    const std::size_t dim = random.oneOf(dimensions);
                    const MixtureData<T> data(random, spread, full && components > 0, components, dim);
                    const MixtureServer<T> server(data, tables);
                    if (random.below(24) == 0) QZSetStatus(QZ_StsError);
                    evaluate(random, server.get(), data.x, static_cast<std::int32_t>(dim));
                    // Another vector finds another component nearest.
                    if (components > 1)
                        evaluate(random, server.get(), data.means[1], static_cast<std::int32_t>(dim));
                }
}

template <auto init, class T, class... Scale>
void wrongCovariances(Scale... scale) {
    const T weights[] = {1};
    const Rows<T> rows(std::vector<std::vector<T>>{{1}});
    const T *const *const matrices[] = {rows.get()};
    void *const reserved = nullptr;
    const T *const *const noRows = nullptr;
    const T *const *const *const noMatrices = nullptr;
    call<init>(weights, rows.get(), noMatrices, noRows, reserved, 1, 0, scale...);
    call<init>(weights, rows.get(), static_cast<const T *const *const *>(matrices), rows.get(), reserved, 1,
               0, scale...);
}

} // namespace

void gaussMixtures() {
    mixtures<float>("QZsEvalGaussMix", 60);
    mixtures<std::int16_t>("QZwEvalGaussMix", 60);
    wrongCovariances<QZsInitGaussMixServer, float>();
    wrongCovariances<QZwInitGaussMixServer, std::int16_t>(-3);
    call<QZsFreeGaussMixServer>(static_cast<QZsGaussMixServer *>(nullptr));
    call<QZwFreeGaussMixServer>(static_cast<QZwGaussMixServer *>(nullptr));
}

} // namespace qzk::digest
