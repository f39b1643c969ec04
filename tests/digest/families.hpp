// One function per module of the library, which exercises the module's exports.
#pragma once

namespace qzk::digest {

struct Family {
    const char *name;
    void (*exercise)();
};

void absShift();
void arithmetic();
void distance();
void logic();
void power2();
void reduction();

} // namespace qzk::digest
