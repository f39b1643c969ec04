#pragma once

#include "evaluation.hpp"

#include <string>
#include <vector>

namespace recognise {

/// A table of the methods (accuracy by group, time to learn and to score), and one of the tests that any of
/// them missed. Nothing for a single method.
std::string compareMethods(const std::vector<Evaluation> &evaluations);

/// The test whose states were kept, in the models of its word and of the strongest other, by method.
std::string pictureStates(const std::vector<Evaluation> &evaluations);

} // namespace recognise
