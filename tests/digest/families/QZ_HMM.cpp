#include "families.hpp"
#include "hmm_models.hpp"

namespace qzk::digest {
namespace {

/// A server of any model and size; one in eight has no table, or a negative status to begin with.
template <class T>
std::int32_t addServer(Generator &random, HmmMaker<T> &maker) {
    const std::size_t nStates = random.below(6);
    if (random.below(12) == 0) QZSetStatus(QZ_StsError);
    switch (random.below(4)) {
    case 0:
        return maker.continuous(nStates);
    case 1:
        return maker.semicontinuous(nStates);
    default:
        return maker.discrete(nStates);
    }
}

template <auto init, class T>
void withoutTables(Generator &random) {
    const Rows<T> rows(random, 3, 3, Kind::small);
    const std::vector<T> pi = random.elements<T>(3, Kind::small);
    for (int missing = 0; missing < 8; ++missing)
        for (const std::int32_t options : {0, QZ_HMMCost, 2, -1})
            call<init>(missing & 1 ? nullptr : rows.get(), missing & 2 ? nullptr : rows.get(),
                       missing & 4 ? nullptr : pi.data(), random.between(-1, 3), 3, options);
}

} // namespace

void hiddenMarkovModels() {
    Generator random("QZAddHMMToClass");
    for (int round = 0; round < 40; ++round) {
        HmmMaker<float> floats(random, 2, 3);
        HmmMaker<std::int16_t> words(random, 2, 3);
        for (int step = 0; step < 60; ++step) {
            // Mostly what there is, now and then what there is not.
            const std::int32_t server = random.between(-1, 12), group = random.between(-1, 5);
            switch (random.below(9)) {
            case 0:
                addServer(random, floats);
                break;
            case 1:
                addServer(random, words);
                break;
            case 2:
                call<QZCreateHMMClass>();
                break;
            case 3:
                if (random.below(3) == 0) call<QZDeleteHMMClass>(group);
                break;
            case 4:
                if (random.below(3) == 0) call<QZFreeHMMServer>(server);
                break;
            case 5:
                call<QZRemoveHMMFromClass>(group, server);
                break;
            default:
                call<QZAddHMMToClass>(group, server);
                break;
            }
        }
        withoutTables<QZsInitHMMServer, float>(random);
        withoutTables<QZwInitHMMServer, std::int16_t>(random);
        call<QZHMMFreeAll>();
    }
}

} // namespace qzk::digest
