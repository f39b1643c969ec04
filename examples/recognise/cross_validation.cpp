#include "cross_validation.hpp"
#include "common/errors.hpp"
#include "evaluation.hpp"

#include <algorithm>
#include <map>
#include <numeric>
#include <string>

namespace recognise {

std::vector<std::size_t> assignParts(const std::vector<Utterance> &recordings, std::size_t parts) {
    std::vector<std::size_t> order(recordings.size()), part(recordings.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, naturalLess,
                             [&](std::size_t recording) { return recordings[recording].file.string(); });
    std::map<std::string, std::size_t> takes;
    std::size_t most = 0;
    for (const std::size_t recording : order) {
        std::size_t &take = takes[recordings[recording].label];
        part[recording] = take++ % parts;
        most = std::max(most, take);
    }
    if (most < parts)
        throw common::InputError("--cross-validate " + std::to_string(parts) + ": no word has " +
                                 std::to_string(parts) + " takes");
    return part;
}

} // namespace recognise
