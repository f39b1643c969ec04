#include "method.hpp"
#include "dtw.hpp"
#include "hmm_codebook.hpp"
#include "hmm_mixture.hpp"
#include "mlp.hpp"

#include <array>
#include <type_traits>

namespace recognise {
namespace {

namespace fs = std::filesystem;

template <class M>
std::unique_ptr<Method> make([[maybe_unused]] const MethodSettings &settings) {
    if constexpr (std::is_base_of_v<Dtw, M>)
        return std::make_unique<M>(settings.band);
    else
        return std::make_unique<M>();
}

struct Entry {
    const char *name;
    std::unique_ptr<Method> (*make)(const MethodSettings &);
};

constexpr std::array entries{
    Entry{"dtw", make<FloatDtw>},
    Entry{"dtw16", make<FixedDtw>},
    Entry{"hmm", make<FloatMixtureHmm>},
    Entry{"hmm16", make<FixedMixtureHmm>},
    Entry{"semihmm", make<SemicontinuousHmm>},
    Entry{"vqhmm", make<DiscreteHmm>},
    Entry{"mlp", make<Perceptron>},
};

} // namespace

std::vector<std::string> methodNames() {
    std::vector<std::string> names;
    for (const Entry &entry : entries)
        names.emplace_back(entry.name);
    return names;
}

std::unique_ptr<Method> makeMethod(const std::string &name, const MethodSettings &settings) {
    for (const Entry &entry : entries)
        if (name == entry.name) return entry.make(settings);
    return nullptr;
}

void saveMethod(const Method &method, const std::string &name, const fs::path &directory,
                const std::vector<fs::path> &references) {
    ModelWriter file(name);
    file.count(references.size());
    file.endLine();
    for (const fs::path &reference : references)
        file.text(reference.string());
    method.save(file);
    file.save(modelFile(directory, name));
}

std::vector<fs::path> loadMethod(Method &method, const std::string &name, const fs::path &directory) {
    constexpr std::size_t mostReferences = 10000000;
    ModelReader file(modelFile(directory, name), name);
    std::vector<fs::path> references;
    for (std::size_t left = file.count(1, mostReferences); left > 0; --left)
        references.emplace_back(file.text());
    method.load(file, references.size());
    file.finish();
    return references;
}

} // namespace recognise
