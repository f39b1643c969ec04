#pragma once

#include "hmm.hpp"
#include "mixture_servers.hpp"

namespace recognise {

/// Continuous models: each state has Gaussian densities of its own.
template <class Kind>
class MixtureHmm : public Hmm {
public:
    ~MixtureHmm() override { models.clear(); } // before the servers that they look into
    Arithmetic arithmetic() const override { return Kind::arithmetic; }

protected:
    void train(const std::vector<Utterance> &references) override;
    void write(ModelWriter &file) const override;
    void read(ModelReader &file) override;
    void build() override;
    Evaluate evaluator(const Matrix &features) const override;
    CostOf outputCosts(const Matrix &features, std::size_t word) const override;

private:
    std::vector<std::vector<Mixture>> outputs; ///< of each word, of each of its states
    MixtureServers<Kind> servers;              ///< of all states, each word's end after its states
    std::vector<std::size_t> firsts;           ///< of each word in them
};

using FloatMixtureHmm = MixtureHmm<FloatKind>;
using FixedMixtureHmm = MixtureHmm<FixedKind>;

extern template class MixtureHmm<FloatKind>;
extern template class MixtureHmm<FixedKind>;

} // namespace recognise
