#pragma once

#include "method.hpp"
#include "train_words.hpp"

#include <functional>

namespace recognise {

/// Cost of a model of the library: a server by its number, a class by its negated number, and which server it
/// is.
using Evaluate = std::function<double(int32_t model, int32_t *best)>;

/// Servers of the library in one class, released with it.
class ModelClass {
public:
    ModelClass() = default;
    ~ModelClass() { clear(); }
    ModelClass(const ModelClass &) = delete;
    ModelClass &operator=(const ModelClass &) = delete;

    void add(int32_t server);
    void clear();

    /// Costs of all servers, in the order in which they were added.
    std::vector<double> all(const Evaluate &evaluate) const;
    /// The same of the two cheapest alone, the others incomparable: two searches of the class.
    std::vector<double> cheapestTwo(const Evaluate &evaluate) const;

private:
    void join(int32_t server) const;

    int32_t identifier = -1;
    std::vector<int32_t> servers;
};

/// Hidden Markov models: a chain of states for each word, and behind its last one a state for the end, which
/// alone expects the frame that is put behind every recording. Thus no path ends half-way through a word,
/// though a search may end in any state.
class Hmm : public Method {
public:
    const std::vector<Candidate> &candidates() const override { return words; }
    void learn(const std::vector<Utterance> &references) override;
    void save(ModelWriter &file) const override;
    void load(ModelReader &file, std::size_t references) override;
    std::vector<double> score(const Matrix &features) const override;
    std::vector<double> scoreTwo(const Matrix &features) const override;
    std::optional<StateCosts> stateCosts(const Matrix &features, std::size_t candidate) const override;

protected:
    using CostOf = std::function<double(std::size_t state, std::size_t frame)>;

    virtual void train(const std::vector<Utterance> &references) = 0;
    virtual void write(ModelWriter &file) const = 0;
    virtual void read(ModelReader &file) = 0;
    /// Makes servers of what was trained or read.
    virtual void build() = 0;
    virtual Evaluate evaluator(const Matrix &features) const = 0;
    virtual CostOf outputCosts(const Matrix &features, std::size_t word) const = 0;

    /// Adds a word; its server is to be added too.
    void addWord(const std::string &label, std::size_t reference, const std::vector<Steps> &steps);

    ModelClass models;
    std::vector<Candidate> words;
    std::vector<std::vector<Steps>> steps; ///< of each word
};

} // namespace recognise
