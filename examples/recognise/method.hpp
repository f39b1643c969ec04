#pragma once

#include "features.hpp"
#include "matrix.hpp"

#include <memory>
#include <string>
#include <vector>

namespace recognise {

/// A recording made ready for recognition.
struct Utterance {
    std::filesystem::path file;
    std::string label;
    double seconds = 0; ///< of the whole recording
    Matrix features;
};

/// What a test is compared with.
struct Candidate {
    std::string label;
    std::size_t reference; ///< the reference that it stands for or is nearest to, for display
};

/// Stands for a candidate that cannot be compared with a test.
constexpr double incomparable = 1e300;

/// A way of recognising: learns from references, then scores tests.
class Method {
public:
    virtual ~Method() = default;

    virtual Arithmetic arithmetic() const = 0;

    virtual void learn(const std::vector<Utterance> &references) = 0;
    virtual const std::vector<Candidate> &candidates() const = 0;

    /// One score per candidate, per frame of the test: the smaller, the more alike. Throws LibraryError.
    virtual std::vector<double> score(const Matrix &features) const = 0;

    /// How many of a word's best candidates decide together.
    virtual std::size_t neighbours() const { return 1; }
};

struct MethodSettings {
    int band = 0;
};

std::vector<std::string> methodNames();
std::unique_ptr<Method> makeMethod(const std::string &name, const MethodSettings &settings);

} // namespace recognise
