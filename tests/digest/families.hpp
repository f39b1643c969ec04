// One function per module of the library, which exercises the module's exports.
#pragma once

namespace qzk::digest {

struct Family {
    const char *name;
    void (*exercise)();
};

void absShift();
void arithmetic();
void cepstrum();
void conversion();
void distance();
void fourier();
void fourierOfWords();
void logic();
void power2();
void reduction();
void warping();
void windows();

} // namespace qzk::digest
