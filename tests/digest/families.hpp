// One function per module of the library, which exercises the module's exports.
#pragma once

namespace qzk::digest {

struct Family {
    const char *name;
    void (*exercise)();
};

void absShift();
void allocation();
void arithmetic();
void cepstrum();
void conversion();
void convolution();
void distance();
void error();
void fourier();
void fourierOfWords();
void gaussMixtures();
void hiddenMarkovModels();
void image();
void info();
void logic();
void perceptron();
void power2();
void quantiser();
void reduction();
void rotation();
void viterbi();
void warping();
void windows();

} // namespace qzk::digest
