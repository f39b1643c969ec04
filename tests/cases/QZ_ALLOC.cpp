// Sizes, order and reports of the two-dimensional storage, read from the log of a heap that fails on request.
#include "qzk.h"
#include "support/failing_heap.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace qzk::test {
namespace {

constexpr const char *file = "..\\LIBSRC\\QZ_ALLOC";
constexpr const char *noPointers = "The pointers vector can not be allocated";
using Kind = FailingHeap::Event::Kind;

/// One allocator with its element type erased.
struct Allocator {
    const char *name;
    void **(*allocate)(int32_t count, int32_t len);
    std::size_t bytesOf9; // row of 9 elements
    int32_t vectorLine;
    int32_t rowsLine;
    const char *rowsName;
    const char *rowsMessage;
};

template <auto Allocate>
void **erased(int32_t count, int32_t len) {
    return reinterpret_cast<void **>(Allocate(count, len));
}

const Allocator rowAllocators[] = {
    {"QZbAlloc2", erased<QZbAlloc2>, 2, 96, 105, "QZbAlloc2", "Current float vector can not be allocated"},
    {"QZnAlloc2", erased<QZnAlloc2>, 5, 130, 139, "QZnAlloc2", "Current vector can not be allocated"},
    {"QZyAlloc2", erased<QZyAlloc2>, 9, 165, 174, "QZyAlloc2", "Current vector can not be allocated"},
    {"QZtAlloc2", erased<QZtAlloc2>, 9, 200, 209, "QZtAlloc2", "Current vector can not be allocated"},
    {"QZwAlloc2", erased<QZwAlloc2>, 18, 234, 243, "QZwAlloc2", "Current vector can not be allocated"},
    {"QZiAlloc2", erased<QZiAlloc2>, 36, 268, 277, "QZiAlloc2", "Current vector can not be allocated"},
    {"QZsAlloc2", erased<QZsAlloc2>, 36, 302, 311, "QZsAlloc2", "Current vector can not be allocated"},
};

constexpr const char *noBlock = "2D array vector can not be allocated";
const Allocator tableAllocators[] = {
    {"QZbAllocTable", erased<QZbAllocTable>, 2, 372, 378, "QZbAllocTable", noBlock},
    {"QZnAllocTable", erased<QZnAllocTable>, 5, 406, 412, "QZnAllocTable", noBlock},
    {"QZyAllocTable", erased<QZyAllocTable>, 9, 439, 445, "QZnAllocTable", noBlock},
    {"QZtAllocTable", erased<QZtAllocTable>, 9, 471, 477, "QZtAllocTable", noBlock},
    {"QZwAllocTable", erased<QZwAllocTable>, 18, 504, 510, "QZwAllocTable", noBlock},
    {"QZsAllocTable", erased<QZsAllocTable>, 36, 537, 543, "QZsAllocTable", noBlock},
    {"QZiAllocTable", erased<QZiAllocTable>, 36, 570, 576, "QZiAllocTable", noBlock},
};

std::vector<std::size_t> allocatedBytes(const FailingHeap &heap) {
    std::vector<std::size_t> bytes;
    for (const auto &event : heap.events())
        if (event.kind == Kind::allocated) bytes.push_back(event.bytes);
    return bytes;
}

std::vector<void *> released(const FailingHeap &heap) {
    std::vector<void *> blocks;
    for (const auto &event : heap.events())
        if (event.kind == Kind::released) blocks.push_back(event.block);
    return blocks;
}

class Rows : public testing::TestWithParam<Allocator> {};
class Tables : public testing::TestWithParam<Allocator> {};
INSTANTIATE_TEST_SUITE_P(Types, Rows, testing::ValuesIn(rowAllocators),
                         [](const auto &info) { return std::string(info.param.name); });
INSTANTIATE_TEST_SUITE_P(Types, Tables, testing::ValuesIn(tableAllocators),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_P(Rows, OneBlockForThePointersAndOnePerRow) {
    const FailingHeap heap;
    void **const array = GetParam().allocate(3, 9);
    ASSERT_NE(nullptr, array);
    const std::size_t row = GetParam().bytesOf9;
    EXPECT_EQ((std::vector<std::size_t>{3 * sizeof(void *), row, row, row}), allocatedBytes(heap));
    const auto &events = heap.events();
    EXPECT_EQ(events[0].block, array);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(events[1 + static_cast<std::size_t>(i)].block, array[i]);
        std::memset(array[i], 0x5A, row);
    }
    const std::vector<void *> expected = {array[2], array[1], array[0], array};
    EXPECT_EQ(0, QZ_Free2(array, 3));
    EXPECT_EQ(expected, released(heap));
    EXPECT_EQ(0, heap.live());
}

TEST_P(Rows, NoRowsStillGiveAPointerVector) {
    const RecordedReports reports;
    const FailingHeap heap;
    void **const array = GetParam().allocate(0, 9);
    ASSERT_NE(nullptr, array);
    EXPECT_EQ(std::vector<std::size_t>{sizeof(void *)}, allocatedBytes(heap));
    EXPECT_EQ(0, QZ_Free2(array, 0));
    EXPECT_EQ(0, heap.live());
    EXPECT_TRUE(reports.all().empty());
}

TEST_P(Rows, EmptyRowsAreBlocksOfTheirOwn) {
    const FailingHeap heap;
    void **const array = GetParam().allocate(2, 0);
    ASSERT_NE(nullptr, array);
    EXPECT_NE(nullptr, array[0]);
    EXPECT_NE(nullptr, array[1]);
    EXPECT_NE(array[0], array[1]);
    QZ_Free2(array, 2);
    EXPECT_EQ(0, heap.live());
}

TEST_P(Rows, FailureOfThePointersIsReported) {
    const RecordedReports reports;
    const FailingHeap heap(0);
    EXPECT_EQ(nullptr, GetParam().allocate(5, 9));
    EXPECT_EQ(1, heap.requests());
    EXPECT_EQ((std::vector<Report>{{-4, GetParam().name, noPointers, file, GetParam().vectorLine}}),
              reports.all());
    EXPECT_EQ(QZ_StsNoMem, QZGetStatus());
}

const FailingHeap *watchedHeap;
int liveAtReport;
int32_t watchHeap(int32_t, const char *, const char *, const char *, int32_t) {
    liveAtReport = watchedHeap->live();
    return 0; // the allocator returns null whatever the handler returns
}

TEST_P(Rows, FailureOfARowReleasesEarlierRowsDownwardsThenThePointers) {
    for (int k = 0; k < 5; ++k) {
        const RecordedReports reports;
        const FailingHeap heap(1 + k);
        EXPECT_EQ(nullptr, GetParam().allocate(5, 9));
        std::vector<void *> expected;
        for (int i = k; i-- > 0;)
            expected.push_back(heap.events()[1 + static_cast<std::size_t>(i)].block);
        expected.push_back(heap.events()[0].block);
        EXPECT_EQ(expected, released(heap)) << "row " << k;
        EXPECT_EQ(k + 2, heap.requests());
        EXPECT_EQ(0, heap.live());
        EXPECT_EQ((std::vector<Report>{
                      {-4, GetParam().rowsName, GetParam().rowsMessage, file, GetParam().rowsLine}}),
                  reports.all());
    }
}

TEST_P(Rows, EverythingIsReleasedBeforeTheReport) {
    const FailingHeap heap(4);
    watchedHeap = &heap;
    liveAtReport = -1;
    QZRedirectError(watchHeap);
    EXPECT_EQ(nullptr, GetParam().allocate(5, 9));
    QZSetStdError();
    EXPECT_EQ(0, liveAtReport);
}

TEST_P(Rows, NegativeCountsAreAFailureOfThePointers) {
    for (const int32_t count : {-1, INT32_MIN}) {
        const RecordedReports reports;
        const FailingHeap heap;
        EXPECT_EQ(nullptr, GetParam().allocate(count, 9));
        EXPECT_TRUE(heap.events().empty());
        EXPECT_EQ((std::vector<Report>{{-4, GetParam().name, noPointers, file, GetParam().vectorLine}}),
                  reports.all());
    }
}

TEST_P(Rows, NegativeSizesAreAFailureOfTheFirstRow) {
    const RecordedReports reports;
    const FailingHeap heap;
    EXPECT_EQ(nullptr, GetParam().allocate(2, -64));
    EXPECT_EQ(0, heap.live());
    EXPECT_EQ(
        (std::vector<Report>{{-4, GetParam().rowsName, GetParam().rowsMessage, file, GetParam().rowsLine}}),
        reports.all());
}

TEST_P(Tables, RowsAreCutFromOneBlock) {
    const FailingHeap heap;
    void **const table = GetParam().allocate(3, 9);
    ASSERT_NE(nullptr, table);
    const std::size_t row = GetParam().bytesOf9;
    EXPECT_EQ((std::vector<std::size_t>{3 * sizeof(void *), 3 * row}), allocatedBytes(heap));
    EXPECT_EQ(heap.events()[0].block, table);
    EXPECT_EQ(heap.events()[1].block, table[0]);
    for (std::size_t i = 1; i < 3; ++i)
        EXPECT_EQ(static_cast<char *>(table[0]) + i * row, table[i]);
    std::memset(table[0], 0x5A, 3 * row);
    const std::vector<void *> expected = {table[0], table};
    EXPECT_EQ(0, QZ_FreeTable(table));
    EXPECT_EQ(expected, released(heap));
}

TEST_P(Tables, OneRowIsTheBlock) {
    const FailingHeap heap;
    void **const table = GetParam().allocate(1, 9);
    ASSERT_NE(nullptr, table);
    EXPECT_EQ((std::vector<std::size_t>{sizeof(void *), GetParam().bytesOf9}), allocatedBytes(heap));
    EXPECT_EQ(heap.events()[1].block, table[0]);
    QZ_FreeTable(table);
    EXPECT_EQ(0, heap.live());
}

TEST_P(Tables, NoRowsCanBeFreed) {
    const FailingHeap heap;
    void **const table = GetParam().allocate(0, 9);
    ASSERT_NE(nullptr, table);
    EXPECT_EQ(sizeof(void *), allocatedBytes(heap)[0]);
    QZ_FreeTable(table);
    EXPECT_EQ(0, heap.live());
}

TEST_P(Tables, FailureOfThePointersIsReported) {
    const RecordedReports reports;
    const FailingHeap heap(0);
    EXPECT_EQ(nullptr, GetParam().allocate(3, 9));
    EXPECT_EQ(1, heap.requests());
    EXPECT_EQ((std::vector<Report>{{-4, GetParam().name, noPointers, file, GetParam().vectorLine}}),
              reports.all());
}

TEST_P(Tables, FailureOfTheBlockLeavesThePointers) {
    const RecordedReports reports;
    const FailingHeap heap(1);
    EXPECT_EQ(nullptr, GetParam().allocate(3, 9));
    EXPECT_EQ(2, heap.requests());
    EXPECT_EQ(1, heap.live());
    EXPECT_TRUE(released(heap).empty());
    EXPECT_EQ(
        (std::vector<Report>{{-4, GetParam().rowsName, GetParam().rowsMessage, file, GetParam().rowsLine}}),
        reports.all());
    std::free(heap.events()[0].block);
}

TEST_P(Tables, NegativeRowsAreAFailureOfThePointers) {
    for (const int32_t rows : {-1, INT32_MIN}) {
        const RecordedReports reports;
        const FailingHeap heap;
        EXPECT_EQ(nullptr, GetParam().allocate(rows, 9));
        EXPECT_TRUE(heap.events().empty());
        EXPECT_EQ((std::vector<Report>{{-4, GetParam().name, noPointers, file, GetParam().vectorLine}}),
                  reports.all());
    }
}

TEST_P(Tables, NegativeSizesAreAFailureOfTheBlock) {
    const RecordedReports reports;
    const FailingHeap heap;
    EXPECT_EQ(nullptr, GetParam().allocate(2, -64));
    EXPECT_EQ(
        (std::vector<Report>{{-4, GetParam().rowsName, GetParam().rowsMessage, file, GetParam().rowsLine}}),
        reports.all());
    std::free(heap.events()[0].block);
}

/// Bytes asked for one row; 0 when the row was refused without asking.
template <class T>
std::size_t rowBytes(T **(*allocate)(int32_t, int32_t), int32_t (*release)(T **, int32_t), int32_t len) {
    const RecordedReports reports;
    const FailingHeap heap;
    T **const array = allocate(1, len);
    if (array == nullptr) return 0;
    release(array, 1);
    return heap.events()[1].bytes;
}

// The heap is never asked for 0 bytes: an empty row is a block of 1.
TEST(RowSize, BitsRoundUpToBytes) {
    for (const auto &[len, bytes] : {std::pair{0, 1u}, {1, 1}, {7, 1}, {8, 1}, {9, 2}, {16, 2}, {17, 3}})
        EXPECT_EQ(bytes, rowBytes(QZbAlloc2, QZbFree2, len)) << len;
}

TEST(RowSize, NibblesRoundUpToBytes) {
    for (const auto &[len, bytes] : {std::pair{0, 1u}, {1, 1}, {2, 1}, {3, 2}, {7, 4}, {8, 4}})
        EXPECT_EQ(bytes, rowBytes(QZnAlloc2, QZnFree2, len)) << len;
}

// -1 to -7 bits round to one byte, -9 to -15 to none; from there on the size is negative and refused.
TEST(RowSize, PackedNegativeLengthsRoundTowardsZeroAndUp) {
    for (const auto &[len, bytes] :
         {std::pair{-1, 1u}, {-7, 1}, {-9, 1}, {-15, 1}, {-8, 0}, {-16, 0}, {-17, 0}})
        EXPECT_EQ(bytes, rowBytes(QZbAlloc2, QZbFree2, len)) << len;
    for (const auto &[len, bytes] : {std::pair{-1, 1u}, {-3, 1}, {-2, 0}, {-4, 0}, {-5, 0}})
        EXPECT_EQ(bytes, rowBytes(QZnAlloc2, QZnFree2, len)) << len;
    EXPECT_EQ(0u, rowBytes(QZbAlloc2, QZbFree2, INT32_MIN));
}

// A table tells a row of -1 bits (one byte) from one of -9 (none): rows stand that far apart.
TEST(RowSize, NegativeLengthsInTables) {
    uint8_t **table = QZbAllocTable(2, -1);
    ASSERT_NE(nullptr, table);
    EXPECT_EQ(1, table[1] - table[0]);
    QZbFreeTable(table);
    table = QZbAllocTable(2, -9);
    ASSERT_NE(nullptr, table);
    EXPECT_EQ(0, table[1] - table[0]);
    QZbFreeTable(table);
}

/// What a heap that refuses the second request is asked for there; 0 when it is not asked.
template <class Allocate>
std::uint64_t secondRequest(Allocate allocate) {
    const RecordedReports reports;
    const FailingHeap heap(1);
    EXPECT_EQ(nullptr, allocate());
    EXPECT_EQ(1u, reports.all().size());
    EXPECT_EQ(QZ_StsNoMem, QZGetStatus());
    if (heap.live() != 0) std::free(heap.events()[0].block); // the pointers of a table
    return heap.requests() == 2 ? heap.events()[1].bytes : 0;
}

// Sizes are exact beyond 32 bits; where the address space ends before them, nothing smaller is asked for.
TEST(RowSize, LargeSizesDoNotWrap) {
    constexpr bool wide = sizeof(void *) == 8;
    EXPECT_EQ(wide ? 0x400000000u : 0, secondRequest([] { return QZsAllocTable(0x10000, 0x10000); }));
    EXPECT_EQ(wide ? 0x1FFFFFFFCu : 0, secondRequest([] { return QZiAlloc2(1, INT32_MAX); }));
    EXPECT_EQ(0x10000000u, secondRequest([] { return QZbAlloc2(1, INT32_MAX); }));
}

char farBlock;
void *allocateFar(std::size_t bytes) { return bytes > 4096 ? &farBlock : std::malloc(bytes); }
void releaseFar(void *block) {
    if (block != &farBlock) std::free(block);
}

TEST(RowSize, RowsBeyondTwoGigabytes) {
    if (sizeof(void *) < 8) GTEST_SKIP();
    const Heap previous = setHeap({allocateFar, releaseFar});
    float **const table = QZsAllocTable(3, INT32_MAX);
    const auto address = [=](int row) { return reinterpret_cast<std::uintptr_t>(table[row]); };
    EXPECT_EQ(0x1FFFFFFFCu, address(1) - address(0));
    EXPECT_EQ(0x1FFFFFFFCu, address(2) - address(1));
    QZsFreeTable(table);
    setHeap(previous);
}

template <auto Free, class T>
int32_t freeErased(void **array, int32_t count) {
    return Free(reinterpret_cast<T **>(array), count);
}
template <auto Free, class T>
int32_t freeTableErased(void **table) {
    return Free(reinterpret_cast<T **>(table));
}

using FreeRows = int32_t (*)(void **, int32_t);
const FreeRows rowReleases[] = {
    QZ_Free2,
    freeErased<QZbFree2, uint8_t>,
    freeErased<QZnFree2, uint8_t>,
    freeErased<QZyFree2, uint8_t>,
    freeErased<QZtFree2, int8_t>,
    freeErased<QZwFree2, int16_t>,
    freeErased<QZiFree2, int32_t>,
    freeErased<QZsFree2, float>,
};

TEST(Release, EveryEntryFreesRowsDownwardsThenThePointers) {
    for (const FreeRows release : rowReleases) {
        const FailingHeap heap;
        void **const array = reinterpret_cast<void **>(QZyAlloc2(3, 1));
        const std::vector<void *> expected = {array[2], array[1], array[0], array};
        EXPECT_EQ(0, release(array, 3));
        EXPECT_EQ(expected, released(heap));
    }
}

TEST(Release, NullRowsAreSkipped) {
    for (const FreeRows release : rowReleases) {
        const FailingHeap heap;
        void **const array = reinterpret_cast<void **>(QZyAlloc2(3, 1));
        std::free(array[1]); // rows belong to the caller as much as to the library
        array[1] = nullptr;
        const std::vector<void *> expected = {array[2], array[0], array};
        EXPECT_EQ(0, release(array, 3));
        EXPECT_EQ(expected, released(heap));
    }
}

TEST(Release, CountsBelowOneFreeThePointersAlone) {
    for (const FreeRows release : rowReleases)
        for (const int32_t count : {0, -1, INT32_MIN}) {
            const FailingHeap heap;
            void **const array = reinterpret_cast<void **>(QZyAlloc2(1, 1));
            void *const row = array[0];
            EXPECT_EQ(0, release(array, count));
            EXPECT_EQ(std::vector<void *>{array}, released(heap));
            std::free(row);
        }
}

TEST(Release, EveryTableEntryFreesTheBlockThenThePointers) {
    using FreeTable = int32_t (*)(void **);
    const FreeTable releases[] = {
        QZ_FreeTable,
        freeTableErased<QZbFreeTable, uint8_t>,
        freeTableErased<QZnFreeTable, uint8_t>,
        freeTableErased<QZyFreeTable, uint8_t>,
        freeTableErased<QZtFreeTable, int8_t>,
        freeTableErased<QZwFreeTable, int16_t>,
        freeTableErased<QZiFreeTable, int32_t>,
        freeTableErased<QZsFreeTable, float>,
    };
    for (const FreeTable release : releases) {
        const FailingHeap heap;
        void **const table = reinterpret_cast<void **>(QZwAllocTable(4, 3));
        const std::vector<void *> expected = {table[0], table};
        EXPECT_EQ(0, release(table));
        EXPECT_EQ(expected, released(heap));
    }
}

} // namespace
} // namespace qzk::test
