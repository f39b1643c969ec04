#pragma once

#include "features.hpp"
#include "matrix.hpp"
#include "model_file.hpp"

#include <memory>
#include <optional>
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

/// What the frames of a recording cost in the states of a word's model, and the cheapest way through them.
struct StateCosts {
    Matrix costs; ///< a row per state, a column per frame
    std::vector<std::size_t> path;
};

/// A way of recognising: learns from references, then scores tests.
class Method {
public:
    virtual ~Method() = default;

    virtual Arithmetic arithmetic() const = 0;

    /// Learns the same from the same references, whatever was learnt before.
    virtual void learn(const std::vector<Utterance> &references) = 0;
    virtual const std::vector<Candidate> &candidates() const = 0;

    /// What was learnt, and takes it back. The file keeps no recordings. Throws InputError.
    virtual void save(ModelWriter &file) const = 0;
    virtual void load(ModelReader &file, std::size_t references) = 0;

    /// One score per candidate, per frame of the test: the smaller, the more alike. Throws LibraryError.
    virtual std::vector<double> score(const Matrix &features) const = 0;

    /// The same where it is cheaper to know the best two words alone; the others are incomparable then.
    virtual std::vector<double> scoreTwo(const Matrix &features) const { return score(features); }

    /// Whether every reference is a candidate, and not every word.
    virtual bool comparesReferences() const { return false; }

    /// How many of a word's best candidates decide together.
    virtual std::size_t neighbours() const { return 1; }

    /// Nothing for a method without states.
    virtual std::optional<StateCosts> stateCosts(const Matrix &, std::size_t /*candidate*/) const {
        return std::nullopt;
    }
};

struct MethodSettings {
    int band = 0;
};

std::vector<std::string> methodNames();
std::unique_ptr<Method> makeMethod(const std::string &name, const MethodSettings &settings);

/// Keeps what a method has learnt, and the names of its references, in a file of the directory, which is made
/// if it is missing. Throws InputError.
void saveMethod(const Method &method, const std::string &name, const std::filesystem::path &directory,
                const std::vector<std::filesystem::path> &references);

/// Gives a method what another has learnt; returns the names of the references. Throws InputError.
std::vector<std::filesystem::path> loadMethod(Method &method, const std::string &name,
                                              const std::filesystem::path &directory);

} // namespace recognise
