#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

namespace recognise {

/// Costs (-log10 of probabilities) of staying in a state, of going to the next, and to the next but one.
using Steps = std::array<float, 3>;

/// The state of every frame of a recording.
using Path = std::vector<std::size_t>;

/// States passed from the first to the last.
struct Chain {
    std::vector<Steps> steps;
    std::vector<Path> paths; ///< of each recording
};

/// A frame of one of the recordings that a chain is trained with.
struct FrameOf {
    std::size_t recording, frame;
};

/// What a chain is trained with.
struct ChainTask {
    std::size_t states;
    std::vector<std::size_t> lengths; ///< frames of each recording, of states / 2 at least
    /// Fits the outputs of each state to the frames that were found to be in it.
    std::function<void(const std::vector<std::vector<FrameOf>> &)> fit;
    /// Cost of a frame in a state, as fitted.
    std::function<double(std::size_t state, FrameOf)> cost;
};

/// States for recordings of these lengths, so that each holds about so many frames, and the shortest
/// recording still passes through them.
std::size_t statesFor(const std::vector<std::size_t> &lengths, double framesPerState, std::size_t least,
                      std::size_t most);

/// Begins with states of equal length, then fits and finds the cheapest paths in turns (segmental k-means,
/// Rabiner, Wilpon and Juang 1986) until the paths stay as they are.
Chain trainChain(const ChainTask &task);

/// The cheapest path from the first state to the last; `cost` is that of a frame in a state.
Path cheapestPath(std::size_t frames, const std::vector<Steps> &steps,
                  const std::function<double(std::size_t state, std::size_t frame)> &cost);

} // namespace recognise
