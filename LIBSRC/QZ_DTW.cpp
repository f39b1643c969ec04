// The stores of reference patterns and dynamic time warping against them. The two stores are of one design;
// what they report differs in a letter and in the lines.
#include "common/memory.hpp"
#include "common/patterns.hpp"
#include "common/report.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace qzk {

wPattern *wPatternList;
sPattern *sPatternList;
std::int32_t wPatternsNumber;
std::int32_t sPatternsNumber;

namespace {

constexpr Reporter report("..\\LIBSRC\\QZ_DTW");

constexpr std::size_t rowAlignment = 8;

struct Site {
    const char *function;
    const char *message;
    std::int32_t line;
};

template <class Pattern>
struct Store {
    Pattern *&list;
    std::int32_t &number;
    Site ini, free, freeAll, ptrGet, ptrFree;
};

constexpr Store<wPattern> wStore = {
    wPatternList,
    wPatternsNumber,
    {"QZwPatternIni", "wPattern can not be allocated", 131},
    {"QZwPatternFree", "wPattern NULL ptr is met in internal structure. The wPattern can not be free.", 291},
    {"QZwPatternFreeAll", "Error in internal structure. wPattern can not be free", 344},
    {"QZwPatternPtrGet", "wPatterns have not been initialized.", 467},
    {"QZwPatternPtrFree", "Error in internal structure. wPatterns have not be allocated.", 521}};

constexpr Store<sPattern> sStore = {
    sPatternList,
    sPatternsNumber,
    {"QZsPatternIni", "sPattern can not be allocated", 179},
    {"QZsPatternFree", "sPattern NULL ptr is met in internal structure. The sPattern can not be free.", 310},
    {"QZsPatternFreeAll", "Error in internal structure. sPattern can not be free", 367},
    {"QZsPatternPtrGet", "sPatterns have not been initialized.", 489},
    {"QZsPatternPtrFree", "Error in internal structure. sPatterns have not be allocated.", 557}};

void fail(std::int32_t status, const Site &site) { report(status, site.function, site.message, site.line); }

void releaseArrays(const wPattern &pattern) {
    if (pattern.sFrames != nullptr) QZsFree2(pattern.sFrames, pattern.nFrames);
    release(pattern.frameBlock);
    release(pattern.frames);
}

void releaseArrays(const sPattern &pattern) {
    if (pattern.frames != nullptr) QZsFree2(pattern.frames, pattern.nFrames);
}

/// The smallest identifier from 1 to the store's count, the new pattern included, that no record has, else
/// the next one. Looks at 64 candidates in each walk of the list.
template <class Pattern>
std::int32_t newIdentifier(const Store<Pattern> &store) {
    const std::int64_t count = store.number;
    if (store.list == nullptr) return 1;
    if (count == 1) return 2; // kept: a list that the count does not agree with
    std::int64_t id = 1;
    while (id <= count) {
        std::uint64_t taken = 0;
        for (const Pattern *p = store.list; p != nullptr; p = p->next)
            if (p->id >= id && p->id - id < 64) taken |= std::uint64_t{1} << (p->id - id);
        id += std::countr_one(taken);
        if (~taken != 0) break;
    }
    return static_cast<std::int32_t>(std::min(id, count + 1));
}

/// Takes a complete pattern in at the tail and returns its new identifier.
template <class Pattern>
std::int32_t append(const Store<Pattern> &store, Pattern *pattern) {
    store.number = static_cast<std::int32_t>(static_cast<std::uint32_t>(store.number) + 1);
    pattern->id = newIdentifier(store);
    if (store.list == nullptr) {
        pattern->isHead = 1;
        store.list = pattern;
        return pattern->id;
    }
    Pattern *last = store.list;
    while (last->next != nullptr)
        last = last->next;
    last->next = pattern;
    pattern->prev = last;
    return pattern->id;
}

/// Gives up an insertion: releases what had been obtained and reports.
template <class Pattern>
std::int32_t abandon(const Store<Pattern> &store, Pattern *record, const Pattern &arrays) {
    releaseArrays(arrays);
    release(record);
    fail(QZ_StsNoMem, store.ini);
    return -1;
}

template <class Pattern>
Pattern *find(const Store<Pattern> &store, std::int32_t id) {
    if (store.list == nullptr) {
        fail(QZ_StsError, store.ptrGet);
        return nullptr;
    }
    Pattern *pattern = store.list;
    while (pattern != nullptr && pattern->id != id)
        pattern = pattern->next;
    return pattern;
}

template <class Pattern>
void unlink(const Store<Pattern> &store, const Pattern *pattern) {
    if (pattern->isHead != 0) {
        store.list = pattern->next;
        if (pattern->next != nullptr) {
            pattern->next->isHead = 1;
            pattern->next->prev = nullptr;
        }
        return;
    }
    pattern->prev->next = pattern->next;
    if (pattern->next != nullptr) pattern->next->prev = pattern->prev;
}

template <class Pattern>
std::int32_t remove(const Store<Pattern> &store, Pattern *pattern) {
    if (pattern == nullptr) return -1;
    if (store.number == 0 || store.list == nullptr) {
        fail(QZ_StsError, store.ptrFree);
        return -1;
    }
    unlink(store, pattern);
    store.number = static_cast<std::int32_t>(static_cast<std::uint32_t>(store.number) - 1);
    releaseArrays(*pattern);
    release(pattern);
    return 0;
}

template <class Pattern>
std::int32_t removeById(const Store<Pattern> &store, std::int32_t id) {
    Pattern *const pattern = find(store, id);
    if (pattern != nullptr) return remove(store, pattern);
    fail(QZ_StsError, store.free);
    return -1;
}

template <class Pattern>
std::int32_t removeAll(const Store<Pattern> &store) {
    std::int32_t result = 0;
    for (Pattern *pattern = store.list; pattern != nullptr;) {
        Pattern *const next = pattern->next;
        if (remove(store, pattern) < 0) {
            fail(QZ_StsError, store.freeAll);
            result = -1;
        }
        pattern = next;
    }
    return result;
}

std::int32_t negated(std::int32_t scale) {
    return static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(scale));
}

std::int64_t atLeastZero(std::int64_t count) { return std::max(count, std::int64_t{0}); }

/// Room for nFrames aligned rows: twice their size and 64 bytes for each.
std::size_t frameBlockBytes(std::int32_t nFrames, std::int32_t dim) {
    return arrayBytes(atLeastZero(nFrames), arrayBytes(atLeastZero(dim) + 16, 4));
}

void layOutRows(const wPattern &pattern) {
    auto *row = static_cast<std::int16_t *>(pattern.frameBlock);
    for (std::int32_t i = 0; i < pattern.nFrames; ++i, row += pattern.dim)
        pattern.frames[i] = row = alignUp(row, rowAlignment);
}

} // namespace

wPattern *QZwPatternPtrGet(std::int32_t id) { return find(wStore, id); }
sPattern *QZsPatternPtrGet(std::int32_t id) { return find(sStore, id); }
std::int32_t QZwPatternPtrFree(wPattern *pattern) { return remove(wStore, pattern); }
std::int32_t QZsPatternPtrFree(sPattern *pattern) { return remove(sStore, pattern); }

namespace {

const float *const *floatFrames(const wPattern &pattern) { return pattern.sFrames; }
const float *const *floatFrames(const sPattern &pattern) { return pattern.frames; }

/// Work arrays of one evaluation, all requested before any is looked at. `longest` is L of simd::WarpTest.
template <class Pattern>
struct WorkArrays {
    Buffer<double> accumulated, local;
    Buffer<std::int32_t> horizontal;
    Buffer<simd::FrameRange> ranges;
    Buffer<const Pattern *> references;

    WorkArrays(std::int32_t nTest, std::int32_t nIds, std::int64_t longest, std::int64_t nLocal)
        : accumulated(longest + 2), local(nLocal), horizontal(longest + 2), ranges(atLeastZero(nTest)),
          references(atLeastZero(nIds)) {}

    explicit operator bool() const { return accumulated && local && horizontal && ranges && references; }
};

/// B: by how many reference frames the start, the end and the parallelogram are widened.
std::int64_t bandOf(std::int32_t mode, std::int32_t width) {
    return (mode & QZ_DTWNoBand) != 0 ? 0 : std::abs(std::int64_t{width});
}

/// L: frames of the longest reference that can be compared.
std::int64_t longestReference(std::int32_t nTest, std::int64_t band) {
    return atLeastZero(2 * atLeastZero(nTest) - 1 + band);
}

double euclideanDistance(const float *a, const float *b, std::int32_t dim) { return QZsL2Norm(a, b, dim, 1); }

template <class Pattern>
simd::WarpTest warpTest(const WorkArrays<Pattern> &work, const float *const *frames, std::int32_t nTest,
                        std::int32_t dim, std::int32_t mode, double threshold) {
    const bool cityBlock = (mode & QZ_DTWCityBlock) != 0;
    return {frames,
            nTest,
            dim,
            (mode & QZ_DTWThreshold) != 0 ? threshold : simd::deadCell,
            cityBlock,
            cityBlock ? QZsL1Norm : euclideanDistance,
            work.accumulated.get() + 2,
            work.local.get(),
            work.horizontal.get() + 2,
            work.ranges.get(),
            nullptr};
}

/// An identifier without a pattern counts as a reference that cannot be compared, like any reference when the
/// test has no frames.
template <class Pattern>
bool comparable(const Pattern *pattern, const simd::WarpTest &test, std::int64_t band) {
    return pattern != nullptr && test.nFrames > 0 && pattern->dim == test.dim &&
           pattern->nFrames >= (test.nFrames - 1) / 2 + 1 &&
           pattern->nFrames <= longestReference(test.nFrames, band);
}

/// Scores every reference and returns the position of the first of the smallest scores below `best`, or 0.
template <class Pattern>
std::int32_t scoreAll(const Buffer<const Pattern *> &references, std::int32_t nIds, simd::WarpTest test,
                      std::int64_t band, double best, double *scores) {
    std::int32_t longest = 0;
    for (std::int32_t k = 0; k < nIds; ++k)
        if (comparable(references[k], test, band)) longest = std::max(longest, references[k]->nFrames);
    const auto &kernels = simd::kernels().warp;
    const std::size_t packedSize = longest > 0 ? kernels.packedSize(test.nFrames, longest, test.dim) : 0;
    Buffer<double> packed; // only speeds the work up: without it the definition runs
    if (packedSize > 0) packed = Buffer<double>(static_cast<std::int64_t>(packedSize));
    test.packed = packed.get();
    if (test.packed != nullptr) kernels.prepare(test);

    std::int32_t bestIndex = 0;
    for (std::int32_t k = 0; k < nIds; ++k) {
        const Pattern *const pattern = references[k];
        scores[k] = simd::deadCell;
        if (comparable(pattern, test, band))
            scores[k] = kernels.score(
                test, {floatFrames(*pattern), pattern->nFrames,
                       static_cast<std::int32_t>(std::min(band, std::int64_t{pattern->nFrames} - 1))});
        if (best > scores[k]) {
            best = scores[k];
            bestIndex = k;
        }
    }
    return bestIndex;
}

/// Rows of floats that live as long as one evaluation.
class FloatRows {
public:
    FloatRows(std::int32_t count, std::int32_t len) : count_(count), rows_(QZsAlloc2(count, len)) {}
    ~FloatRows() {
        if (rows_ != nullptr) QZsFree2(rows_, count_);
    }
    FloatRows(const FloatRows &) = delete;
    FloatRows &operator=(const FloatRows &) = delete;

    float **get() const { return rows_; }

private:
    std::int32_t count_;
    float **rows_;
};

std::int32_t reportNoWorkArrays(const char *function, std::int32_t line) {
    report(QZ_StsNoMem, function, "No memory for work arrays allocation", line);
    return -1;
}

} // namespace

} // namespace qzk

using namespace qzk;

extern "C" {

int32_t QZwPatternIni(const int16_t *const *frames, int32_t nFrames, int32_t dim, int32_t scale) {
    auto *const pattern = allocateArray<wPattern>(1);
    const auto count = static_cast<int32_t>(atLeastZero(nFrames));
    wPattern made = {};
    made.nFrames = nFrames;
    made.dim = dim;
    made.scale = scale;
    made.frames = allocateArray<int16_t *>(count);
    made.frameBlock = allocate(frameBlockBytes(nFrames, dim));
    made.sFrames = QZsAlloc2(count, dim);
    if (pattern == nullptr || made.frames == nullptr || made.frameBlock == nullptr || made.sFrames == nullptr)
        return abandon(wStore, pattern, made);

    layOutRows(made);
    for (int32_t i = 0; i < nFrames; ++i) {
        QZwsbConvertUp(frames[i], made.sFrames[i], dim, negated(scale));
        QZwbCopy(frames[i], made.frames[i], dim);
    }
    *pattern = made;
    return append(wStore, pattern);
}

int32_t QZsPatternIni(const float *const *frames, int32_t nFrames, int32_t dim) {
    auto *const pattern = allocateArray<sPattern>(1);
    sPattern made = {};
    made.nFrames = nFrames;
    made.dim = dim;
    made.frames = QZsAlloc2(static_cast<int32_t>(atLeastZero(nFrames)), dim);
    if (pattern == nullptr || made.frames == nullptr) return abandon(sStore, pattern, made);

    for (int32_t i = 0; i < nFrames; ++i)
        QZsbCopy(frames[i], made.frames[i], dim);
    *pattern = made;
    return append(sStore, pattern);
}

int32_t QZwPatternGet(int32_t id, int16_t ***frames, int32_t *nFrames, int32_t *dim, int32_t *scale) {
    const wPattern *const pattern = QZwPatternPtrGet(id);
    if (pattern == nullptr) return 0;
    *frames = pattern->frames;
    *nFrames = pattern->nFrames;
    *dim = pattern->dim;
    *scale = pattern->scale;
    return id;
}

int32_t QZsPatternGet(int32_t id, float ***frames, int32_t *nFrames, int32_t *dim) {
    const sPattern *const pattern = QZsPatternPtrGet(id);
    if (pattern == nullptr) return 0;
    *frames = pattern->frames;
    *nFrames = pattern->nFrames;
    *dim = pattern->dim;
    return id;
}

int32_t QZwPatternFree(int32_t id) { return removeById(wStore, id); }
int32_t QZsPatternFree(int32_t id) { return removeById(sStore, id); }
int32_t QZwPatternFreeAll(void) { return removeAll(wStore); }
int32_t QZsPatternFreeAll(void) { return removeAll(sStore); }
int32_t QZwPatternsNumber(void) { return wPatternsNumber; }
int32_t QZsPatternsNumber(void) { return sPatternsNumber; }

int32_t QZsEvalDTW(const int32_t *ids, int32_t nIds, const float *const *test, int32_t nTest, int32_t dim,
                   int32_t mode, double threshold, int32_t width, double *scores) {
    const std::int64_t band = bandOf(mode, width), longest = longestReference(nTest, band);
    const WorkArrays<sPattern> work(nTest, nIds, longest, longest + 2);
    if (!work) return reportNoWorkArrays("QZsEvalDTW", 1061);

    for (int32_t k = 0; k < nIds; ++k)
        work.references[k] = QZsPatternPtrGet(ids[k]);
    constexpr double worst =
        static_cast<double>(3.4e38f); // kept: a little below the score of the incomparable
    return scoreAll(work.references, nIds, warpTest(work, test, nTest, dim, mode, threshold), band, worst,
                    scores);
}

int32_t QZwEvalDTW(const int32_t *ids, int32_t nIds, const int16_t *const *test, int32_t nTest, int32_t dim,
                   int32_t testScale, int32_t mode, int32_t thresholdValue, int32_t thresholdScale,
                   int32_t width, int32_t *scores, int32_t scoreMode, int32_t *scoreScale) {
    const std::int64_t band = bandOf(mode, width), longest = longestReference(nTest, band);
    const WorkArrays<wPattern> work(nTest, nIds, longest, longest);
    const FloatRows copy(static_cast<int32_t>(atLeastZero(nTest)), dim);
    const Buffer<double> doubleScores(atLeastZero(nIds));
    if (!work || copy.get() == nullptr || !doubleScores) return reportNoWorkArrays("QZwEvalDTW", 901);

    for (int32_t k = 0; k < nIds; ++k)
        work.references[k] = QZwPatternPtrGet(ids[k]);
    for (int32_t i = 0; i < nTest; ++i)
        QZwsbConvertUp(test[i], copy.get()[i], dim, negated(testScale));
    const double threshold =
        (mode & QZ_DTWThreshold) != 0 ? QZidConvertUp(thresholdValue, negated(thresholdScale)) : 0.0;
    const int32_t best =
        scoreAll(work.references, nIds, warpTest(work, copy.get(), nTest, dim, mode, threshold), band,
                 simd::deadCell, doubleScores.get());
    QZdibConvertDown(doubleScores.get(), scores, nIds, scoreMode, scoreScale);
    return best;
}

} // extern "C"
