#pragma once

#include "matrix.hpp"

#include <cstdint>
#include <functional>
#include <vector>

namespace recognise {

/// A network of logistic units in the form that the library takes: sizes of the layers above the input, and
/// the weights in their order. Biases are weights of an input that is always 1, and in the hidden layer of
/// its last unit, which that input alone holds at 1.
struct Network {
    std::size_t inputs = 0; ///< with the constant one
    std::vector<std::int32_t> layers;
    std::vector<float> weights;
};

/// One example: what goes in, the last element being 1, and the output that is to be on.
struct Example {
    std::vector<float> input;
    std::size_t output;
};

/// Trains a network with one hidden layer by back-propagation (Rumelhart, Hinton and Williams 1986) with
/// momentum. `round` gives the examples of each round; the same examples, the same network.
Network trainNetwork(std::size_t inputs, std::size_t hidden, std::size_t outputs, std::size_t rounds,
                     const std::function<std::vector<Example>(std::size_t round)> &examples);

/// Numbers that look random and are the same on every system.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    /// Even between -1 and 1.
    float even();
    /// Below the number.
    std::size_t below(std::size_t end);

private:
    std::uint64_t next();

    std::uint64_t state;
};

} // namespace recognise
