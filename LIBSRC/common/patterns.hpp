// The stores of reference patterns: one list of 16-bit patterns, one of float patterns.
#pragma once

#include <cstdint>

namespace qzk {

struct wPattern {
    wPattern *next; // null at the tail
    wPattern *prev; // null at the head
    std::int32_t isHead;
    std::int32_t id;
    std::int16_t **frames; // rows of frameBlock, each 8-byte aligned
    void *frameBlock;
    float **sFrames; // the same values times 2^scale
    std::int32_t nFrames;
    std::int32_t dim;
    std::int32_t scale;
};

struct sPattern {
    sPattern *next;
    sPattern *prev;
    std::int32_t isHead;
    std::int32_t id;
    float **frames;
    std::int32_t nFrames;
    std::int32_t dim;
};

// In order of insertion; the list is null when the store is empty.
extern wPattern *wPatternList;
extern sPattern *sPatternList;
extern std::int32_t wPatternsNumber;
extern std::int32_t sPatternsNumber;

/// The record of an identifier, or null.
wPattern *QZwPatternPtrGet(std::int32_t id);
sPattern *QZsPatternPtrGet(std::int32_t id);

/// Unlinks a record and releases everything it owns: 0, or -1 on failure.
std::int32_t QZwPatternPtrFree(wPattern *pattern);
std::int32_t QZsPatternPtrFree(sPattern *pattern);

} // namespace qzk
