#include "train_chain.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace recognise {
namespace {

constexpr int mostRounds = 12;
// As if every state had been left this often in each way before any recording was seen.
constexpr std::array<double, 3> priorSteps{1.5, 1, 0.25};

Path evenPath(std::size_t frames, std::size_t states) {
    Path path(frames);
    for (std::size_t frame = 0; frame < frames; ++frame)
        path[frame] = std::min(states - 1, frame * states / frames);
    return path;
}

std::vector<Steps> countSteps(const std::vector<Path> &paths, std::size_t states) {
    std::vector<std::array<double, 3>> counts(states, priorSteps);
    for (const Path &path : paths)
        for (std::size_t frame = 1; frame < path.size(); ++frame)
            if (const std::size_t step = path[frame] - path[frame - 1]; step < 3)
                ++counts[path[frame - 1]][step];
    std::vector<Steps> steps(states);
    for (std::size_t state = 0; state < states; ++state) {
        const double sum = std::accumulate(counts[state].begin(), counts[state].end(), 0.0);
        for (std::size_t step = 0; step < 3; ++step)
            steps[state][step] = static_cast<float>(-std::log10(counts[state][step] / sum));
    }
    return steps;
}

std::vector<std::vector<FrameOf>> framesByState(const std::vector<Path> &paths, std::size_t states) {
    std::vector<std::vector<FrameOf>> frames(states);
    for (std::size_t recording = 0; recording < paths.size(); ++recording)
        for (std::size_t frame = 0; frame < paths[recording].size(); ++frame)
            frames[paths[recording][frame]].push_back({recording, frame});
    return frames;
}

} // namespace

std::size_t statesFor(const std::vector<std::size_t> &lengths, double framesPerState, std::size_t least,
                      std::size_t most) {
    const double mean = static_cast<double>(std::accumulate(lengths.begin(), lengths.end(), std::size_t{0})) /
                        static_cast<double>(lengths.size());
    const auto wanted = static_cast<std::size_t>(std::lround(mean / framesPerState));
    return std::min(std::clamp(wanted, least, most), *std::ranges::min_element(lengths));
}

Path cheapestPath(std::size_t frames, const std::vector<Steps> &steps,
                  const std::function<double(std::size_t, std::size_t)> &cost) {
    const std::size_t states = steps.size();
    constexpr double never = std::numeric_limits<double>::infinity();
    std::vector<double> sums(states, never), next(states);
    std::vector<std::vector<unsigned char>> arrivals(frames, std::vector<unsigned char>(states));
    sums[0] = cost(0, 0);
    for (std::size_t frame = 1; frame < frames; ++frame) {
        for (std::size_t state = 0; state < states; ++state) {
            next[state] = never;
            for (std::size_t step = 0; step < 3 && step <= state; ++step)
                if (const double sum = sums[state - step] + steps[state - step][step]; sum < next[state]) {
                    next[state] = sum;
                    arrivals[frame][state] = static_cast<unsigned char>(step);
                }
            if (next[state] < never) next[state] += cost(state, frame);
        }
        sums.swap(next);
    }
    Path path(frames);
    std::size_t state = states - 1;
    for (std::size_t frame = frames; frame-- > 0; state -= arrivals[frame][state])
        path[frame] = state;
    return path;
}

Chain trainChain(const ChainTask &task) {
    Chain chain;
    for (const std::size_t length : task.lengths)
        chain.paths.push_back(evenPath(length, task.states));
    for (int round = 0; round < mostRounds; ++round) {
        chain.steps = countSteps(chain.paths, task.states);
        task.fit(framesByState(chain.paths, task.states));
        std::vector<Path> paths;
        for (std::size_t recording = 0; recording < task.lengths.size(); ++recording)
            paths.push_back(
                cheapestPath(task.lengths[recording], chain.steps, [&](std::size_t state, std::size_t frame) {
                    return task.cost(state, {recording, frame});
                }));
        if (paths == chain.paths) break;
        chain.paths = std::move(paths);
    }
    return chain;
}

} // namespace recognise
