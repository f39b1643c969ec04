#pragma once

#include "method.hpp"
#include "train_mlp.hpp"

namespace recognise {

/// A perceptron with an output for each word: it sees a recording stretched or shrunk to a fixed length.
class Perceptron : public Method {
public:
    Arithmetic arithmetic() const override { return Arithmetic::floating; }
    void learn(const std::vector<Utterance> &references) override;
    const std::vector<Candidate> &candidates() const override { return words; }
    void save(ModelWriter &file) const override;
    void load(ModelReader &file, std::size_t references) override;
    std::vector<double> score(const Matrix &features) const override;

private:
    std::vector<Candidate> words;
    Network network;
};

} // namespace recognise
