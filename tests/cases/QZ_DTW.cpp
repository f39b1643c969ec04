// The pattern stores and the evaluation: identifiers, list order, reports, failures, and warpings whose
// scores are known.
#include "common/patterns.hpp"
#include "qzk.h"
#include "support/failing_heap.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

namespace qzk::test {
namespace {

constexpr double big = 3.4e38;
const std::string file = "..\\LIBSRC\\QZ_DTW", allocFile = "..\\LIBSRC\\QZ_ALLOC";

template <class T>
std::vector<const T *> pointersTo(const std::vector<std::vector<T>> &rows) {
    std::vector<const T *> pointers;
    for (const auto &row : rows)
        pointers.push_back(row.data());
    return pointers;
}

/// A heap that has blocks of up to 64 MiB.
void *allocateSmall(std::size_t bytes) { return bytes > 0x4000000 ? nullptr : std::malloc(bytes); }

/// The two stores under one set of names.
struct Words {
    using Element = int16_t;
    using Pattern = wPattern;
    static constexpr char letter = 'w';
    struct Lines {
        int ini = 131, free = 291, freeAll = 344, ptrGet = 467, ptrFree = 521;
    };
    static Pattern *&list() { return wPatternList; }
    static int32_t &number() { return wPatternsNumber; }
    static int32_t ini(const int16_t *const *frames, int32_t nFrames, int32_t dim) {
        return QZwPatternIni(frames, nFrames, dim, 0);
    }
    static int32_t get(int32_t id, int16_t ***frames, int32_t *nFrames, int32_t *dim) {
        int32_t scale = 0;
        return QZwPatternGet(id, frames, nFrames, dim, &scale);
    }
    static int32_t free(int32_t id) { return QZwPatternFree(id); }
    static int32_t freeAll() { return QZwPatternFreeAll(); }
    static int32_t count() { return QZwPatternsNumber(); }
    static int32_t ptrFree(Pattern *pattern) { return QZwPatternPtrFree(pattern); }
    static Pattern *ptrGet(int32_t id) { return QZwPatternPtrGet(id); }
};

struct Floats {
    using Element = float;
    using Pattern = sPattern;
    static constexpr char letter = 's';
    struct Lines {
        int ini = 179, free = 310, freeAll = 367, ptrGet = 489, ptrFree = 557;
    };
    static Pattern *&list() { return sPatternList; }
    static int32_t &number() { return sPatternsNumber; }
    static int32_t ini(const float *const *frames, int32_t nFrames, int32_t dim) {
        return QZsPatternIni(frames, nFrames, dim);
    }
    static int32_t get(int32_t id, float ***frames, int32_t *nFrames, int32_t *dim) {
        return QZsPatternGet(id, frames, nFrames, dim);
    }
    static int32_t free(int32_t id) { return QZsPatternFree(id); }
    static int32_t freeAll() { return QZsPatternFreeAll(); }
    static int32_t count() { return QZsPatternsNumber(); }
    static int32_t ptrFree(Pattern *pattern) { return QZsPatternPtrFree(pattern); }
    static Pattern *ptrGet(int32_t id) { return QZsPatternPtrGet(id); }
};

template <class Store>
class PatternStore : public testing::Test {
protected:
    using Element = typename Store::Element;
    static constexpr typename Store::Lines lines{};

    ~PatternStore() override {
        Store::freeAll();
        EXPECT_EQ(nullptr, Store::list());
        Store::number() = 0;
    }

    static int32_t add(Element value = 1, int32_t nFrames = 2, int32_t dim = 3) {
        const std::vector<std::vector<Element>> rows(
            static_cast<std::size_t>(std::max(nFrames, 0)),
            std::vector<Element>(static_cast<std::size_t>(dim), value));
        return Store::ini(pointersTo(rows).data(), nFrames, dim);
    }

    /// Identifiers from head to tail; checks the links on the way.
    static std::vector<int32_t> order() {
        std::vector<int32_t> ids;
        const typename Store::Pattern *before = nullptr;
        for (const auto *p = Store::list(); p != nullptr; before = p, p = p->next) {
            EXPECT_EQ(before, p->prev);
            EXPECT_EQ(before == nullptr ? 1 : 0, p->isHead);
            ids.push_back(p->id);
        }
        return ids;
    }

    static Report report(int32_t status, const char *function, std::string message, int32_t line) {
        const std::string letter(1, Store::letter);
        for (std::size_t at; (at = message.find('?')) != std::string::npos;)
            message.replace(at, 1, letter);
        return {status, "QZ" + letter + function, message, file, line};
    }
    static Report notInitialized() {
        return report(QZ_StsError, "PatternPtrGet", "?Patterns have not been initialized.", lines.ptrGet);
    }
    static Report nullMet() {
        return report(QZ_StsError, "PatternFree",
                      "?Pattern NULL ptr is met in internal structure. The ?Pattern can not be free.",
                      lines.free);
    }
    static Report notAllocated() {
        return report(QZ_StsError, "PatternPtrFree",
                      "Error in internal structure. ?Patterns have not be allocated.", lines.ptrFree);
    }
    static Report cannotFree() {
        return report(QZ_StsError, "PatternFreeAll", "Error in internal structure. ?Pattern can not be free",
                      lines.freeAll);
    }
    static Report noMemory() {
        return report(QZ_StsNoMem, "PatternIni", "?Pattern can not be allocated", lines.ini);
    }

    RecordedReports reports;
    using Reports = std::vector<Report>;
    using Ids = std::vector<int32_t>;
};

using Stores = testing::Types<Words, Floats>;
TYPED_TEST_SUITE(PatternStore, Stores);

TYPED_TEST(PatternStore, ReusesTheLowestIdentifierAndAppends) {
    EXPECT_EQ(1, this->add());
    EXPECT_EQ(2, this->add());
    EXPECT_EQ(3, this->add());
    EXPECT_EQ(3, TypeParam::count());
    EXPECT_EQ(0, TypeParam::free(2));
    EXPECT_EQ(2, TypeParam::count());
    EXPECT_EQ(2, this->add());
    EXPECT_EQ((std::vector<int32_t>{1, 3, 2}), this->order());
    EXPECT_EQ(4, this->add());
    EXPECT_TRUE(this->reports.all().empty());
}

TYPED_TEST(PatternStore, FindsGapsBeyondTheFirstIdentifiers) {
    for (int32_t id = 1; id <= 130; ++id)
        ASSERT_EQ(id, this->add());
    for (const int32_t id : {64, 65, 100, 129})
        ASSERT_EQ(0, TypeParam::free(id));
    for (const int32_t id : {64, 65, 100, 129, 131})
        ASSERT_EQ(id, this->add());
}

TYPED_TEST(PatternStore, FreeingHeadMiddleAndTail) {
    for (int i = 0; i < 4; ++i)
        this->add();
    EXPECT_EQ(0, TypeParam::free(1));
    EXPECT_EQ((std::vector<int32_t>{2, 3, 4}), this->order());
    EXPECT_EQ(0, TypeParam::free(3));
    EXPECT_EQ((std::vector<int32_t>{2, 4}), this->order());
    EXPECT_EQ(0, TypeParam::free(4));
    EXPECT_EQ((std::vector<int32_t>{2}), this->order());
    EXPECT_EQ(0, TypeParam::free(2));
    EXPECT_EQ(nullptr, TypeParam::list());
    EXPECT_EQ(0, TypeParam::count());
    EXPECT_TRUE(this->reports.all().empty());
    EXPECT_EQ(1, this->add());
    EXPECT_EQ((std::vector<int32_t>{1}), this->order());
}

TYPED_TEST(PatternStore, GetHandsOutTheStoredPattern) {
    using T = typename TypeParam::Element;
    std::vector<std::vector<T>> rows = {{1, 2, 3}, {4, 5, 6}};
    const int32_t id = TypeParam::ini(pointersTo(rows).data(), 2, 3);
    rows = {{0, 0, 0}, {0, 0, 0}};
    T **frames = nullptr;
    int32_t nFrames = 0, dim = 0;
    EXPECT_EQ(id, TypeParam::get(id, &frames, &nFrames, &dim));
    EXPECT_EQ(2, nFrames);
    EXPECT_EQ(3, dim);
    EXPECT_EQ((std::vector<T>{1, 2, 3}), std::vector<T>(frames[0], frames[0] + 3));
    EXPECT_EQ((std::vector<T>{4, 5, 6}), std::vector<T>(frames[1], frames[1] + 3));
}

TYPED_TEST(PatternStore, UnknownIdentifiers) {
    using T = typename TypeParam::Element;
    T *row = nullptr, **frames = &row;
    int32_t nFrames = 7, dim = 8;
    EXPECT_EQ(0, TypeParam::get(1, &frames, &nFrames, &dim));
    EXPECT_EQ(std::vector<Report>{this->notInitialized()}, this->reports.all());
    this->reports.clear();

    EXPECT_EQ(-1, TypeParam::free(1));
    EXPECT_EQ((std::vector<Report>{this->notInitialized(), this->nullMet()}), this->reports.all());
    this->reports.clear();

    this->add();
    for (const int32_t id : {0, -1, 2, std::numeric_limits<int32_t>::min()})
        EXPECT_EQ(0, TypeParam::get(id, &frames, &nFrames, &dim));
    EXPECT_TRUE(this->reports.all().empty());
    EXPECT_EQ(&row, frames);
    EXPECT_EQ(7, nFrames);
    EXPECT_EQ(8, dim);

    EXPECT_EQ(-1, TypeParam::free(2));
    EXPECT_EQ(std::vector<Report>{this->nullMet()}, this->reports.all());
}

TYPED_TEST(PatternStore, FreeAll) {
    EXPECT_EQ(0, TypeParam::freeAll());
    for (int i = 0; i < 3; ++i)
        this->add();
    EXPECT_EQ(0, TypeParam::freeAll());
    EXPECT_EQ(0, TypeParam::count());
    EXPECT_TRUE(this->reports.all().empty());
}

TYPED_TEST(PatternStore, PatternsWithoutFrames) {
    using T = typename TypeParam::Element;
    for (const int32_t count : {0, -1, std::numeric_limits<int32_t>::min()}) {
        const int32_t id = TypeParam::ini(nullptr, count, 3);
        ASSERT_LT(0, id);
        T **frames = nullptr;
        int32_t nFrames = 5, dim = 5;
        EXPECT_EQ(id, TypeParam::get(id, &frames, &nFrames, &dim));
        EXPECT_EQ(count, nFrames);
        EXPECT_EQ(3, dim);
    }
    EXPECT_LT(0, this->add(1, 4, 0));
    EXPECT_EQ(4, TypeParam::count());
    EXPECT_TRUE(this->reports.all().empty());
}

TYPED_TEST(PatternStore, SizesBeyondTheAddressSpaceAreRefused) {
    const typename TypeParam::Element *const none = nullptr;
    const Heap previous = setHeap({allocateSmall, std::free});
    EXPECT_EQ(-1, TypeParam::ini(&none, std::numeric_limits<int32_t>::max(), -1));
    EXPECT_EQ(-1, TypeParam::ini(&none, 1, -1));
    setHeap(previous);
    EXPECT_EQ(0, TypeParam::count());
    ASSERT_EQ(4u, this->reports.all().size());
    EXPECT_EQ(this->noMemory(), this->reports.all()[1]);
    EXPECT_EQ(this->noMemory(), this->reports.all()[3]);
}

TYPED_TEST(PatternStore, EveryFailedAllocationLeavesTheStoreUnchanged) {
    this->add();
    int failAt = 0;
    for (bool failed = true; failed; ++failAt) {
        this->reports.clear();
        FailingHeap heap(failAt);
        failed = this->add() == -1;
        if (failed) {
            ASSERT_EQ(0, heap.live()) << "request " << failAt;
            ASSERT_FALSE(this->reports.all().empty());
            EXPECT_EQ(this->noMemory(), this->reports.all().back()) << "request " << failAt;
            EXPECT_EQ((std::vector<int32_t>{1}), this->order());
            EXPECT_EQ(1, TypeParam::count());
        } else {
            EXPECT_EQ((std::vector<int32_t>{1, 2}), this->order());
            EXPECT_EQ(0, TypeParam::free(2));
            EXPECT_EQ(0, heap.live());
        }
    }
    // Record and two-dimensional array of two rows; the 16-bit store also row pointers and block.
    EXPECT_EQ(TypeParam::letter == 'w' ? 6 : 4, failAt - 1);
}

TYPED_TEST(PatternStore, EverythingIsRequestedBeforeAnythingIsLookedAt) {
    FailingHeap heap(0);
    EXPECT_EQ(-1, this->add());
    EXPECT_EQ(TypeParam::letter == 'w' ? 6 : 4, heap.requests());
    EXPECT_EQ(std::vector<Report>{this->noMemory()}, this->reports.all());
}

TYPED_TEST(PatternStore, BlocksAreFreedBackToTheRecord) {
    FailingHeap heap;
    this->add();
    const auto made = heap.events();
    EXPECT_EQ(0, TypeParam::free(1));
    // The float frames, then what was obtained before them.
    std::vector<const void *> expected, freed;
    for (auto event = made.rbegin(); event != made.rend(); ++event)
        expected.push_back(event->block);
    for (std::size_t i = made.size(); i < heap.events().size(); ++i)
        freed.push_back(heap.events()[i].block);
    EXPECT_EQ(expected, freed);
    EXPECT_EQ(sizeof(typename TypeParam::Pattern), made[0].bytes);
}

TYPED_TEST(PatternStore, FailuresOfTheArrayAreReportedFirst) {
    const int array = TypeParam::letter == 'w' ? 3 : 1;
    {
        FailingHeap heap(array);
        EXPECT_EQ(-1, this->add());
    }
    {
        FailingHeap heap(array + 2);
        EXPECT_EQ(-1, this->add());
    }
    const Report noVector = {QZ_StsNoMem, "QZsAlloc2", "The pointers vector can not be allocated", allocFile,
                             302};
    const Report noRow = {QZ_StsNoMem, "QZsAlloc2", "Current vector can not be allocated", allocFile, 311};
    EXPECT_EQ((std::vector<Report>{noVector, this->noMemory(), noRow, this->noMemory()}),
              this->reports.all());
}

TYPED_TEST(PatternStore, RecordWithoutCount) {
    this->add();
    this->add();
    TypeParam::number() = 0;
    EXPECT_EQ(-1, TypeParam::free(1));
    EXPECT_EQ(std::vector<Report>{this->notAllocated()}, this->reports.all());
    this->reports.clear();
    EXPECT_EQ(-1, TypeParam::freeAll());
    EXPECT_EQ((std::vector<Report>{this->notAllocated(), this->cannotFree(), this->notAllocated(),
                                   this->cannotFree()}),
              this->reports.all());
    EXPECT_EQ((std::vector<int32_t>{1, 2}), this->order());

    this->reports.clear();
    TypeParam::number() = 1;
    EXPECT_EQ(-1, TypeParam::freeAll()) << "the count allows one";
    EXPECT_EQ((std::vector<Report>{this->notAllocated(), this->cannotFree()}), this->reports.all());
    EXPECT_EQ((std::vector<int32_t>{2}), this->order());
    TypeParam::number() = 1;
}

TYPED_TEST(PatternStore, OnlyACountOfZeroForbidsToFree) {
    this->add();
    TypeParam::number() = -3;
    EXPECT_EQ(0, TypeParam::free(1));
    EXPECT_EQ(-4, TypeParam::count());
    EXPECT_TRUE(this->reports.all().empty());
}

TYPED_TEST(PatternStore, CountWithoutList) {
    this->add();
    auto *const pattern = TypeParam::list();
    TypeParam::list() = nullptr;
    EXPECT_EQ(-1, TypeParam::ptrFree(pattern));
    EXPECT_EQ(std::vector<Report>{this->notAllocated()}, this->reports.all());
    EXPECT_EQ(1, TypeParam::count());
    TypeParam::list() = pattern;
}

TYPED_TEST(PatternStore, NullRecordIsRefusedSilently) {
    EXPECT_EQ(-1, TypeParam::ptrFree(nullptr));
    EXPECT_TRUE(this->reports.all().empty());
}

TYPED_TEST(PatternStore, IdentifiersWhenListAndCountDisagree) {
    this->add();
    TypeParam::number() = 0;
    EXPECT_EQ(2, this->add());
    TypeParam::number() = -5;
    EXPECT_EQ(-3, this->add());
    TypeParam::number() = 1;
    EXPECT_EQ(3, this->add()) << "1 and 2 are taken, so the number after the count";
    TypeParam::number() = 2;
    EXPECT_EQ(4, this->add());
    TypeParam::number() = 500;
    EXPECT_EQ(5, this->add());
    EXPECT_EQ((std::vector<int32_t>{1, 2, -3, 3, 4, 5}), this->order());
    EXPECT_EQ(501, TypeParam::count());

    TypeParam::number() = 6;
    EXPECT_EQ(0, TypeParam::freeAll());
    TypeParam::number() = 41;
    EXPECT_EQ(1, this->add()) << "an empty list starts at 1 whatever the count";
    EXPECT_EQ(42, TypeParam::count());
}

TYPED_TEST(PatternStore, IdentifierIsTwoWhenTheCountForgetsARecord) {
    this->add();
    this->add();
    TypeParam::free(1);
    TypeParam::number() = 0;
    EXPECT_EQ(2, this->add()) << "though 1 is free";
    EXPECT_EQ((std::vector<int32_t>{2, 2}), this->order());
    TypeParam::number() = 2;
}

TEST(PatternStores, AreIndependent) {
    const float s = 1;
    const int16_t w = 1;
    const float *const sRow = &s;
    const int16_t *const wRow = &w;
    EXPECT_EQ(1, QZsPatternIni(&sRow, 1, 1));
    EXPECT_EQ(1, QZwPatternIni(&wRow, 1, 1, 0));
    EXPECT_EQ(2, QZsPatternIni(&sRow, 1, 1));
    EXPECT_EQ(2, QZsPatternsNumber());
    EXPECT_EQ(1, QZwPatternsNumber());
    EXPECT_EQ(0, QZsPatternFreeAll());
    EXPECT_EQ(0, QZsPatternsNumber());
    EXPECT_EQ(1, QZwPatternsNumber());
    EXPECT_EQ(0, QZwPatternFreeAll());
}

TEST(WordPatterns, UnknownIdentifierLeavesTheScale) {
    const int16_t value = 1;
    const int16_t *const row = &value;
    const int32_t id = QZwPatternIni(&row, 1, 1, 5);
    int16_t **frames = nullptr;
    int32_t nFrames = 7, dim = 8, scale = 9;
    EXPECT_EQ(0, QZwPatternGet(id + 1, &frames, &nFrames, &dim, &scale));
    EXPECT_EQ(9, scale);
    EXPECT_EQ(0, QZwPatternFree(id));
}

TEST(WordPatterns, FloatCopyHasTheScaleApplied) {
    const std::vector<std::vector<int16_t>> rows = {{1, -32768, 5}, {32767, 0, -7}};
    for (const int32_t scale : {3, 0, -2}) {
        const int32_t id = QZwPatternIni(pointersTo(rows).data(), 2, 3, scale);
        const wPattern *const pattern = QZwPatternPtrGet(id);
        int16_t **frames = nullptr;
        int32_t nFrames = 0, dim = 0, storedScale = 99;
        EXPECT_EQ(id, QZwPatternGet(id, &frames, &nFrames, &dim, &storedScale));
        EXPECT_EQ(scale, storedScale);
        EXPECT_EQ(pattern->frames, frames);
        for (std::size_t i = 0; i < 2; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                EXPECT_EQ(rows[i][j], frames[i][j]);
                EXPECT_EQ(std::ldexp(static_cast<float>(rows[i][j]), scale), pattern->sFrames[i][j]);
            }
        }
        EXPECT_EQ(0, QZwPatternFree(id));
    }
}

TEST(WordPatterns, RowsAreEightByteAlignedInOneBlock) {
    for (int32_t dim = 0; dim <= 21; ++dim) {
        const std::vector<std::vector<int16_t>> rows(5,
                                                     std::vector<int16_t>(static_cast<std::size_t>(dim), 3));
        FailingHeap heap;
        const int32_t id = QZwPatternIni(pointersTo(rows).data(), 5, dim, 0);
        EXPECT_EQ(static_cast<std::size_t>(5 * (4 * dim + 64)), heap.events()[2].bytes);
        const wPattern *const pattern = QZwPatternPtrGet(id);
        EXPECT_EQ(heap.events()[2].block, pattern->frameBlock);
        auto next = reinterpret_cast<std::uintptr_t>(pattern->frameBlock);
        for (int i = 0; i < 5; ++i) {
            next = (next + 7) / 8 * 8;
            EXPECT_EQ(next, reinterpret_cast<std::uintptr_t>(pattern->frames[i]));
            next += static_cast<std::uintptr_t>(2 * dim);
        }
        EXPECT_EQ(0, QZwPatternFree(id));
        EXPECT_EQ(0, heap.live());
    }
}

/// Patterns of one coefficient, each value a frame.
class Warping : public testing::Test {
protected:
    ~Warping() override {
        QZsPatternFreeAll();
        QZwPatternFreeAll();
    }

    static std::vector<std::vector<float>> frames(const std::vector<float> &values) {
        std::vector<std::vector<float>> rows;
        for (const float value : values)
            rows.push_back({value});
        return rows;
    }
    static int32_t add(const std::vector<float> &values) {
        return QZsPatternIni(pointersTo(frames(values)).data(), static_cast<int32_t>(values.size()), 1);
    }
    int32_t evaluate(const std::vector<int32_t> &ids, const std::vector<float> &test, int32_t mode,
                     double threshold = 0.0, int32_t width = 0) {
        scores.assign(ids.size(), -1.0);
        return QZsEvalDTW(ids.data(), static_cast<int32_t>(ids.size()), pointersTo(frames(test)).data(),
                          static_cast<int32_t>(test.size()), 1, mode, threshold, width, scores.data());
    }

    static std::vector<float> ramp(int n, float first = 0.0f) {
        std::vector<float> values(static_cast<std::size_t>(n));
        std::iota(values.begin(), values.end(), first);
        return values;
    }

    RecordedReports reports;
    std::vector<double> scores;
    using Scores = std::vector<double>;
};

TEST_F(Warping, EqualPatternsScoreZero) {
    for (int n = 2; n <= 40; ++n) {
        const int32_t id = add(ramp(n));
        EXPECT_EQ(0, evaluate({id}, ramp(n), QZ_DTWNoBand));
        EXPECT_EQ(Scores{0.0}, scores) << n << " frames";
        QZsPatternFreeAll();
    }
}

TEST_F(Warping, PathsReachTheCornersUnlessTheBandAllowsOtherwise) {
    const auto whole = ramp(10);
    const std::vector<float> tail(whole.begin() + 1, whole.end()), head(whole.begin(), whole.end() - 1);
    const int32_t id = add(whole);
    for (const auto &test : {tail, head}) {
        evaluate({id}, test, QZ_DTWNoBand, 0.0, 5);
        EXPECT_LT(0.0, scores[0]);
        evaluate({id}, test, 0, 0.0, 0);
        EXPECT_LT(0.0, scores[0]);
        for (const int32_t width : {1, -1, 3, 100, 1000}) {
            evaluate({id}, test, 0, 0.0, width);
            EXPECT_EQ(0.0, scores[0]) << "width " << width;
        }
    }
}

TEST_F(Warping, LengthsThatCanBeCompared) {
    for (int n = 1; n <= 9; ++n) {
        for (int width = 0; width <= 3; ++width) {
            std::vector<int32_t> ids;
            for (int m = 1; m <= 2 * n + width + 1; ++m)
                ids.push_back(add(std::vector<float>(static_cast<std::size_t>(m), 2.0f)));
            evaluate(ids, std::vector<float>(static_cast<std::size_t>(n), 2.0f), 0, 0.0, width);
            for (int m = 1; m <= 2 * n + width + 1; ++m) {
                const bool comparable = m >= (n + 1) / 2 && m <= 2 * n - 1 + width;
                EXPECT_EQ(comparable ? 0.0 : big, scores[static_cast<std::size_t>(m - 1)])
                    << n << " against " << m << ", width " << width;
            }
            QZsPatternFreeAll();
        }
    }
}

TEST_F(Warping, SlopesBetweenOneHalfAndTwo) {
    // Every frame of the reference twice, and every second frame of it.
    const int32_t id = add({1, 2, 3, 4, 5, 6, 7, 8});
    evaluate({id}, {1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8}, QZ_DTWNoBand);
    EXPECT_EQ(0.0, scores[0]);
    evaluate({id}, {1, 3, 5, 7, 8}, QZ_DTWNoBand);
    EXPECT_EQ(0.0, scores[0]);
    // A frame held three times costs one step.
    evaluate({id}, {1, 2, 2, 2, 3, 4, 5, 6, 7, 8}, QZ_DTWNoBand);
    EXPECT_EQ(1.0, scores[0]);
    // So does a jump over two frames.
    evaluate({id}, {1, 4, 5, 6, 7, 8}, QZ_DTWNoBand);
    EXPECT_EQ(1.0, scores[0]);
}

TEST_F(Warping, OneFrameCountsTwice) {
    const int32_t id = add({5});
    evaluate({id}, {2}, QZ_DTWNoBand);
    EXPECT_EQ(Scores{6.0}, scores);
    evaluate({id}, {2}, QZ_DTWNoBand | QZ_DTWThreshold, 6.0);
    EXPECT_EQ(Scores{6.0}, scores);
    evaluate({id}, {2}, QZ_DTWNoBand | QZ_DTWThreshold, 5.0);
    EXPECT_EQ(Scores{5.0}, scores);
    evaluate({id}, {2}, QZ_DTWNoBand | QZ_DTWThreshold, 7.0);
    EXPECT_EQ(Scores{6.0}, scores);
}

TEST_F(Warping, FrameDistances) {
    const std::vector<std::vector<float>> reference = {{0, 0}, {0, 0}}, test = {{3, 4}, {-3, 4}};
    const int32_t id = QZsPatternIni(pointersTo(reference).data(), 2, 2);
    double score = 0;
    QZsEvalDTW(&id, 1, pointersTo(test).data(), 2, 2, QZ_DTWNoBand, 0.0, 0, &score);
    EXPECT_EQ(10.0, score);
    QZsEvalDTW(&id, 1, pointersTo(test).data(), 2, 2, QZ_DTWNoBand | QZ_DTWCityBlock, 0.0, 0, &score);
    EXPECT_EQ(14.0, score);
    QZsEvalDTW(&id, 1, pointersTo(test).data(), 2, 2, ~(QZ_DTWThreshold | QZ_DTWCityBlock), 0.0, 0, &score);
    EXPECT_EQ(10.0, score) << "other bits are ignored";
}

TEST_F(Warping, OtherDimensionsCannotBeCompared) {
    const int32_t id = add(ramp(5));
    const std::vector<std::vector<float>> test(5, {1.0f, 2.0f});
    double score = 0;
    EXPECT_EQ(0, QZsEvalDTW(&id, 1, pointersTo(test).data(), 5, 2, 0, 0.0, 0, &score));
    EXPECT_EQ(big, score);
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(Warping, BestIsTheFirstOfTheSmallest) {
    const int32_t far = add({9, 9, 9}), near = add({1, 1, 1}), same = add({1, 1, 1}), brief = add({1});
    EXPECT_EQ(1, evaluate({far, near, same}, {0, 0, 0}, QZ_DTWNoBand));
    EXPECT_EQ((Scores{27, 3, 3}), scores);
    EXPECT_EQ(0, evaluate({same, near, far}, {0, 0, 0}, QZ_DTWNoBand));
    EXPECT_EQ(2, evaluate({brief, far, near}, {0, 0, 0}, QZ_DTWNoBand));
    EXPECT_EQ((Scores{big, 27, 3}), scores);
    EXPECT_EQ(0, evaluate({brief, brief}, {0, 0, 0}, QZ_DTWNoBand));
    EXPECT_EQ(3, evaluate({brief, far, far, near, near}, {0, 0, 0}, QZ_DTWNoBand));
}

TEST_F(Warping, PrunedReferencesScoreTheThreshold) {
    const int32_t far = add({9, 9, 9}), near = add({1, 1, 1}), brief = add({1});
    EXPECT_EQ(0, evaluate({far, near}, {0, 0, 0}, QZ_DTWNoBand | QZ_DTWThreshold, 0.5));
    EXPECT_EQ((Scores{0.5, 0.5}), scores);
    EXPECT_EQ(1, evaluate({brief, far}, {0, 0, 0}, QZ_DTWNoBand | QZ_DTWThreshold, 20.0));
    EXPECT_EQ((Scores{big, 20.0}), scores);
    EXPECT_EQ(1, evaluate({far, near}, {0, 0, 0}, QZ_DTWNoBand | QZ_DTWThreshold, 3.5));
    EXPECT_EQ((Scores{3.5, 3.0}), scores);
    EXPECT_EQ(0, evaluate({far, near}, {0, 0, 0}, QZ_DTWNoBand | QZ_DTWThreshold, -4.0));
    EXPECT_EQ((Scores{-4.0, -4.0}), scores);
    EXPECT_EQ(1, evaluate({far, near}, {0, 0, 0}, QZ_DTWNoBand, 0.5)) << "without the bit nothing is pruned";
    EXPECT_EQ((Scores{27, 3}), scores);
}

TEST_F(Warping, FloatSearchStartsAtTheSinglePrecisionInfinity) {
    // One frame of two coefficients, city block: the score lies between 3.4e38 in single and in double.
    const float half = 3.4e38f / 2;
    const std::vector<std::vector<float>> reference = {{half, 1e30f}}, test = {{0, 0}};
    const int32_t ids[] = {add({1}), QZsPatternIni(pointersTo(reference).data(), 1, 2)};
    double both[2] = {};
    EXPECT_EQ(0, QZsEvalDTW(ids, 2, pointersTo(test).data(), 1, 2, QZ_DTWCityBlock, 0.0, 0, both));
    EXPECT_EQ(big, both[0]);
    EXPECT_EQ(2.0 * (static_cast<double>(half) + static_cast<double>(1e30f)), both[1]);
    EXPECT_LT(static_cast<double>(3.4e38f), both[1]);
    EXPECT_GT(big, both[1]);
}

TEST_F(Warping, UnknownIdentifiersCannotBeCompared) {
    EXPECT_EQ(0, evaluate({4, 5}, {1, 2, 3}, 0));
    EXPECT_EQ((Scores{big, big}), scores);
    const Report notInitialized = {QZ_StsError, "QZsPatternPtrGet", "sPatterns have not been initialized.",
                                   file, 489};
    EXPECT_EQ((std::vector<Report>{notInitialized, notInitialized}), reports.all());
    reports.clear();
    const int32_t id = add({1, 2, 3});
    EXPECT_EQ(1, evaluate({id + 1, id, -1}, {1, 2, 3}, QZ_DTWNoBand));
    EXPECT_EQ((Scores{big, 0.0, big}), scores);
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(Warping, NothingToCompare) {
    const int32_t id = add({1, 2, 3});
    const float *const none = nullptr;
    for (const int32_t count : {0, -1, std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(0, QZsEvalDTW(&id, count, &none, 3, 1, 0, 0.0, 0, nullptr));
        for (const int32_t width : {0, 1, 7}) {
            double score = 0;
            EXPECT_EQ(0, QZsEvalDTW(&id, 1, nullptr, count, 1, 0, 0.0, width, &score));
            EXPECT_EQ(big, score);
        }
        int32_t score = 0, scale = 0;
        EXPECT_EQ(0, QZwEvalDTW(&id, 0, nullptr, count, 1, 0, 0, 0, 0, 0, &score, QZ_ScaleWrap, &scale));
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(Warping, ChangesThroughGetReachTheEvaluation) {
    const int32_t id = add({1, 2, 3});
    float **frames = nullptr;
    int32_t nFrames = 0, dim = 0;
    QZsPatternGet(id, &frames, &nFrames, &dim);
    frames[2][0] = 5;
    evaluate({id}, {1, 2, 3}, QZ_DTWNoBand);
    EXPECT_EQ(Scores{2.0}, scores);
}

TEST_F(Warping, BandsThatNoMemoryIsThereFor) {
    const int32_t id = add({1, 2, 3});
    const float *const row = nullptr;
    double score = -7;
    const Heap previous = setHeap({allocateSmall, std::free});
    for (const int32_t width : {std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()})
        EXPECT_EQ(-1, QZsEvalDTW(&id, 1, &row, 3, 1, 0, 0.0, width, &score));
    EXPECT_EQ(-1, QZsEvalDTW(&id, 1, &row, std::numeric_limits<int32_t>::max(), 1, 0, 0.0, 0, &score));
    setHeap(previous);
    EXPECT_EQ(-7, score);
    EXPECT_EQ(std::vector<Report>(
                  3, {QZ_StsNoMem, "QZsEvalDTW", "No memory for work arrays allocation", file, 1061}),
              reports.all());
}

/// Sizes of the first `count` requests.
std::vector<std::size_t> requested(const FailingHeap &heap, std::size_t count) {
    std::vector<std::size_t> bytes;
    for (const auto &event : heap.events())
        if (event.kind != FailingHeap::Event::released && bytes.size() < count) bytes.push_back(event.bytes);
    return bytes;
}

TEST_F(Warping, WorkArraysOfTheFloatEvaluation) {
    const int32_t id = add({1, 2, 3});
    const FailingHeap heap;
    evaluate({id, id, id, id}, {1, 2, 3}, 0, 0.0, -2);
    // The longest reference has 2 * 3 - 1 + 2 frames.
    EXPECT_EQ((std::vector<std::size_t>{9 * 8, 9 * 8, 9 * 4, 3 * 8, 4 * sizeof(void *)}), requested(heap, 5));
    EXPECT_EQ(0, heap.live());
}

TEST_F(Warping, WorkArraysAreRequestedBeforeAnyIsLookedAt) {
    const int32_t id = add({1, 2, 3});
    const FailingHeap heap(0);
    EXPECT_EQ(-1, evaluate({id}, {1, 2, 3}, 0));
    EXPECT_EQ(5, heap.requests());
    EXPECT_EQ(1u, reports.all().size()) << "no reference was looked up";
}

TEST_F(Warping, EveryFailedAllocationOfTheFloatEvaluation) {
    const int32_t id = add({1, 2, 3, 5});
    const auto rows = frames({1, 2, 4, 5});
    const auto test = pointersTo(rows);
    const Report expected = {QZ_StsNoMem, "QZsEvalDTW", "No memory for work arrays allocation", file, 1061};
    const auto run = [&](double *score) {
        return QZsEvalDTW(&id, 1, test.data(), 4, 1, QZ_DTWNoBand, 0.0, 0, score);
    };
    for (int failAt = 0; failAt < 7; ++failAt) {
        reports.clear();
        FailingHeap heap(failAt);
        double score = -7;
        const int32_t result = run(&score);
        EXPECT_EQ(0, heap.live());
        if (failAt < 5) {
            EXPECT_EQ(-1, result);
            EXPECT_EQ(-7, score);
            EXPECT_EQ(std::vector<Report>{expected}, reports.all()) << "request " << failAt;
        } else {
            EXPECT_EQ(0, result) << "what only speeds up may fail";
            EXPECT_EQ(1.0, score);
            EXPECT_TRUE(reports.all().empty());
        }
    }
}

class WordWarping : public Warping {
protected:
    static std::vector<std::vector<int16_t>> wordFrames(const std::vector<int16_t> &values) {
        std::vector<std::vector<int16_t>> rows;
        for (const int16_t value : values)
            rows.push_back({value});
        return rows;
    }
    static int32_t addWords(const std::vector<int16_t> &values, int32_t scale = 0) {
        return QZwPatternIni(pointersTo(wordFrames(values)).data(), static_cast<int32_t>(values.size()), 1,
                             scale);
    }
    int32_t evaluateWords(const std::vector<int32_t> &ids, const std::vector<int16_t> &test,
                          int32_t testScale, int32_t mode, int32_t thresholdValue, int32_t thresholdScale,
                          int32_t scoreMode) {
        wordScores.assign(ids.size(), -1);
        return QZwEvalDTW(ids.data(), static_cast<int32_t>(ids.size()), pointersTo(wordFrames(test)).data(),
                          static_cast<int32_t>(test.size()), 1, testScale, mode, thresholdValue,
                          thresholdScale, 0, wordScores.data(), scoreMode, &scoreScale);
    }
    std::vector<int32_t> wordScores;
    int32_t scoreScale = 0;
    using WordScores = std::vector<int32_t>;
};

TEST_F(WordWarping, ScalesOfTestReferenceAndThreshold) {
    // 8, 16, 24 in the reference; 4, 8, 12 with scale 1 in the test; then one frame 2 * 3 too high.
    const int32_t id = addWords({1, 2, 3}, 3), far = addWords({100, 100, 100});
    EXPECT_EQ(0, evaluateWords({id, far}, {4, 8, 12}, 1, QZ_DTWNoBand, 0, 0, QZ_ScaleWrap));
    EXPECT_EQ((WordScores{0, 92 + 84 + 76}), wordScores);
    EXPECT_EQ(1, evaluateWords({far, id}, {4, 8, 15}, 1, QZ_DTWNoBand, 0, 0, QZ_ScaleWrap));
    EXPECT_EQ((WordScores{92 + 84 + 70, 6}), wordScores);
    EXPECT_EQ(1, evaluateWords({far, id}, {4, 8, 15}, 1, QZ_DTWNoBand | QZ_DTWThreshold, 5, 2, QZ_ScaleWrap));
    EXPECT_EQ((WordScores{20, 6}), wordScores);
    EXPECT_EQ(0,
              evaluateWords({far, id}, {4, 8, 15}, 1, QZ_DTWNoBand | QZ_DTWThreshold, 20, -2, QZ_ScaleWrap));
    EXPECT_EQ((WordScores{5, 5}), wordScores);
}

TEST_F(WordWarping, ScoreModeReachesTheConversion) {
    const int32_t id = addWords({0, 0, 0}), brief = addWords({0});
    scoreScale = 1;
    evaluateWords({id}, {10, 10, 10}, 0, QZ_DTWNoBand, 0, 0, QZ_ScaleFixed);
    EXPECT_EQ(WordScores{15}, wordScores);
    EXPECT_EQ(1, scoreScale);
    evaluateWords({id}, {10, 10, 10}, 0, QZ_DTWNoBand, 0, 0, QZ_ScaleAuto);
    EXPECT_EQ(WordScores{30 << 26}, wordScores);
    EXPECT_EQ(-26, scoreScale);
    EXPECT_EQ(1, evaluateWords({brief, id}, {10, 10, 10}, 0, QZ_DTWNoBand, 0, 0, QZ_ScaleSaturate));
    EXPECT_EQ((WordScores{2147483647, 30}), wordScores);
    EXPECT_EQ(0, scoreScale);

    EXPECT_TRUE(reports.all().empty());
    scoreScale = 9;
    EXPECT_EQ(1, evaluateWords({brief, id}, {10, 10, 10}, 0, QZ_DTWNoBand, 0, 0, 4));
    EXPECT_EQ((WordScores{-1, -1}), wordScores);
    EXPECT_EQ(9, scoreScale);
    EXPECT_EQ((std::vector<Report>{{QZ_StsBadArg, "QZdibConvertDown", "Unknown value   4 for doScale",
                                    "..\\LIBSRC\\QZ_CNVRT", 1910}}),
              reports.all());
}

TEST_F(WordWarping, UnknownIdentifiersCannotBeCompared) {
    EXPECT_EQ(0, evaluateWords({4}, {1, 2, 3}, 0, 0, 0, 0, QZ_ScaleSaturate));
    EXPECT_EQ(WordScores{2147483647}, wordScores);
    EXPECT_EQ((std::vector<Report>{
                  {QZ_StsError, "QZwPatternPtrGet", "wPatterns have not been initialized.", file, 467}}),
              reports.all());
}

TEST_F(WordWarping, SearchStartsAtTheDoublePrecisionInfinity) {
    // One frame, 1072850820 * 2^97 away: twice that lies between 3.4e38 in single and in double.
    const int32_t brief = addWords({0, 0, 0}), id = addWords({-26500}, 97);
    EXPECT_EQ(1, evaluateWords({brief, id}, {32740}, 112, QZ_DTWNoBand, 0, 0, QZ_ScaleSaturate));
    const double score = 2.0 * 1072850820.0 * 0x1p97;
    EXPECT_LT(static_cast<double>(3.4e38f), score);
    EXPECT_GT(big, score);
}

TEST_F(WordWarping, WorkArrays) {
    const int32_t id = addWords({1, 2, 3});
    {
        const FailingHeap heap;
        evaluateWords({id, id, id, id}, {1, 2, 3}, 0, 0, 0, 0, QZ_ScaleWrap);
        // The longest reference has 2 * 3 - 1 frames; then the test copy and the scores.
        constexpr std::size_t pointer = sizeof(void *);
        EXPECT_EQ(
            (std::vector<std::size_t>{7 * 8, 5 * 8, 7 * 4, 3 * 8, 4 * pointer, 3 * pointer, 4, 4, 4, 4 * 8}),
            requested(heap, 10));
        EXPECT_EQ(0, heap.live());
    }
    const FailingHeap heap(0);
    EXPECT_EQ(-1, evaluateWords({id}, {1, 2, 3}, 0, 0, 0, 0, QZ_ScaleWrap));
    EXPECT_EQ(10, heap.requests());
}

TEST_F(WordWarping, EveryFailedAllocationOfTheWordEvaluation) {
    const int32_t id = addWords({1, 2, 3});
    const auto rows = wordFrames({1, 2, 4});
    const auto test = pointersTo(rows);
    const Report expected = {QZ_StsNoMem, "QZwEvalDTW", "No memory for work arrays allocation", file, 901};
    const Report noVector = {QZ_StsNoMem, "QZsAlloc2", "The pointers vector can not be allocated", allocFile,
                             302};
    const Report noRow = {QZ_StsNoMem, "QZsAlloc2", "Current vector can not be allocated", allocFile, 311};
    // Five blocks, the test copy of a vector and three rows, and the scores; then what only speeds up.
    constexpr int blocks = 5, stated = blocks + 4 + 1;
    for (int failAt = 0; failAt < stated + 2; ++failAt) {
        reports.clear();
        FailingHeap heap(failAt);
        int32_t score = -7, scale = 3;
        const int32_t result =
            QZwEvalDTW(&id, 1, test.data(), 3, 1, 0, QZ_DTWNoBand, 0, 0, 0, &score, QZ_ScaleWrap, &scale);
        EXPECT_EQ(0, heap.live());
        if (failAt >= stated) {
            EXPECT_EQ(0, result);
            EXPECT_EQ(1, score);
            continue;
        }
        EXPECT_EQ(-1, result);
        EXPECT_EQ(-7, score);
        EXPECT_EQ(3, scale);
        std::vector<Report> all = {expected};
        if (failAt >= blocks && failAt < blocks + 4)
            all.insert(all.begin(), failAt == blocks ? noVector : noRow);
        EXPECT_EQ(all, reports.all()) << "request " << failAt;
    }
}

} // namespace
} // namespace qzk::test
