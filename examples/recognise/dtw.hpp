#pragma once

#include "method.hpp"

namespace recognise {

/// Template matching by dynamic time warping: every reference is a candidate.
class Dtw : public Method {
public:
    explicit Dtw(int band) : band(band) {}

    void learn(const std::vector<Utterance> &references) override;
    void save(ModelWriter &file) const override;
    void load(ModelReader &file, std::size_t references) override;
    const std::vector<Candidate> &candidates() const override { return templates; }
    bool comparesReferences() const override { return true; }
    std::size_t neighbours() const override { return nearest; }

protected:
    virtual int store(const Matrix &features) = 0;
    virtual void release(int32_t identifier) = 0;

    int band;
    std::vector<int32_t> identifiers;

private:
    void add(const std::string &label, std::size_t reference, const Matrix &features);
    void chooseNeighbours();

    std::vector<Candidate> templates;
    std::vector<Matrix> patterns; ///< what was stored, to be saved
    std::size_t nearest = 1;
};

class FloatDtw : public Dtw {
public:
    using Dtw::Dtw;
    ~FloatDtw() override { QZsPatternFreeAll(); }
    Arithmetic arithmetic() const override { return Arithmetic::floating; }
    std::vector<double> score(const Matrix &features) const override;

protected:
    int store(const Matrix &features) override;
    void release(int32_t identifier) override { QZsPatternFree(identifier); }
};

class FixedDtw : public Dtw {
public:
    using Dtw::Dtw;
    ~FixedDtw() override { QZwPatternFreeAll(); }
    Arithmetic arithmetic() const override { return Arithmetic::fixed; }
    std::vector<double> score(const Matrix &features) const override;

protected:
    int store(const Matrix &features) override;
    void release(int32_t identifier) override { QZwPatternFree(identifier); }
};

} // namespace recognise
