#pragma once

#include "hmm.hpp"
#include "mixture_servers.hpp"

namespace recognise {

/// Models over a codebook that all words share: a state is told by how much of each code belongs to it. One
/// more code stands for the end.
class CodebookHmm : public Hmm {
public:
    Arithmetic arithmetic() const override { return Arithmetic::floating; }

protected:
    void train(const std::vector<Utterance> &references) override;
    void write(ModelWriter &file) const override;
    void read(ModelReader &file) override;

    std::size_t codes() const { return codebook.means.rows(); }

    Codebook codebook;
    std::vector<Matrix> weights; ///< of each word: a row for each state
};

/// Discrete models: a frame is no more than the number of the code that is nearest.
class DiscreteHmm : public CodebookHmm {
protected:
    void build() override;
    Evaluate evaluator(const Matrix &features) const override;
    CostOf outputCosts(const Matrix &features, std::size_t word) const override;

private:
    std::vector<int32_t> nearestCodes(const Matrix &features) const;
};

/// Semicontinuous models: a frame is what the density of every code is there.
class SemicontinuousHmm : public CodebookHmm {
public:
    ~SemicontinuousHmm() override { models.clear(); } // before the servers that they look into

protected:
    void build() override;
    Evaluate evaluator(const Matrix &features) const override;
    CostOf outputCosts(const Matrix &features, std::size_t word) const override;

private:
    MixtureServers<FloatKind> servers; ///< of the codes, then of the end
};

} // namespace recognise
