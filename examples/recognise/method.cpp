#include "method.hpp"
#include "dtw.hpp"

#include <array>

namespace recognise {
namespace {

template <class M>
std::unique_ptr<Method> make(const MethodSettings &settings) {
    return std::make_unique<M>(settings.band);
}

struct Entry {
    const char *name;
    std::unique_ptr<Method> (*make)(const MethodSettings &);
};

constexpr std::array entries{
    Entry{"dtw", make<FloatDtw>},
    Entry{"dtw16", make<FixedDtw>},
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

} // namespace recognise
