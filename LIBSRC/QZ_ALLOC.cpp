// Two-dimensional storage: arrays of separate rows, and tables whose rows are cut from one block.
#include "common/memory.hpp"
#include "common/report.hpp"
#include "qzk.h"

using namespace qzk;

namespace {

constexpr Reporter report("..\\LIBSRC\\QZ_ALLOC");
constexpr const char *noPointers = "The pointers vector can not be allocated";

/// Where one allocator reports from: for its pointer vector, then for its rows or data block.
struct Sites {
    const char *function;
    std::int32_t vectorLine;
    std::int32_t rowsLine;
    const char *rowsFunction = function;
    const char *rowMessage = "Current vector can not be allocated";
};

// kept: signed division, so that -1 elements need one byte and -9 bits none. Sizes below 0 cannot be
// allocated.
constexpr std::int64_t packedBytes(std::int32_t len, std::int32_t perByte) {
    return std::int64_t{len} / perByte + (len % perByte != 0 ? 1 : 0);
}

constexpr std::int64_t bitBytes(std::int32_t len) { return packedBytes(len, 8); }
constexpr std::int64_t nibbleBytes(std::int32_t len) { return packedBytes(len, 2); }

template <class T>
constexpr std::int64_t elementBytes(std::int32_t len) {
    return len * static_cast<std::int64_t>(sizeof(T));
}

// One slot at least: a table stores its data block there even when it has no rows.
template <class T>
T **allocatePointers(std::int32_t count, const Sites &sites) {
    T **const pointers = allocateArray<T *>(count == 0 ? 1 : count);
    if (pointers == nullptr) report(QZ_StsNoMem, sites.function, noPointers, sites.vectorLine);
    return pointers;
}

template <class T>
std::int32_t freeRows(T **array, std::int32_t count) {
    for (std::int32_t left = count; left > 0; --left)
        release(array[left - 1]);
    release(array);
    return 0;
}

template <class T>
T **allocateRows(std::int32_t count, std::int64_t rowBytes, const Sites &sites) {
    T **const array = allocatePointers<T>(count, sites);
    if (array == nullptr) return nullptr;
    for (std::int32_t i = 0; i < count; ++i) {
        array[i] = static_cast<T *>(allocate(arrayBytes(rowBytes, 1)));
        if (array[i] == nullptr) {
            freeRows(array, i);
            report(QZ_StsNoMem, sites.rowsFunction, sites.rowMessage, sites.rowsLine);
            return nullptr;
        }
    }
    return array;
}

template <class T>
std::int32_t freeTable(T **table) {
    release(table[0]);
    release(table);
    return 0;
}

template <class T>
T **allocateTable(std::int32_t rows, std::int64_t rowBytes, const Sites &sites) {
    T **const table = allocatePointers<T>(rows, sites);
    if (table == nullptr) return nullptr;
    auto *const block = static_cast<std::uint8_t *>(allocate(arrayBytes(rows, arrayBytes(rowBytes, 1))));
    if (block == nullptr) {
        // kept: the pointer vector stays allocated, and nobody can reach it any more.
        report(QZ_StsNoMem, sites.rowsFunction, "2D array vector can not be allocated", sites.rowsLine);
        return nullptr;
    }
    table[0] = reinterpret_cast<T *>(block);
    for (std::int32_t i = 1; i < rows; ++i)
        table[i] = reinterpret_cast<T *>(block + i * rowBytes);
    return table;
}

} // namespace

extern "C" {

uint8_t **QZbAlloc2(int32_t count, int32_t len) {
    return allocateRows<uint8_t>(count, bitBytes(len),
                                 {"QZbAlloc2", 96, 105, "QZbAlloc2",
                                  "Current float vector can not be allocated"}); // kept: the odd text
}
uint8_t **QZnAlloc2(int32_t count, int32_t len) {
    return allocateRows<uint8_t>(count, nibbleBytes(len), {"QZnAlloc2", 130, 139});
}
uint8_t **QZyAlloc2(int32_t count, int32_t len) {
    return allocateRows<uint8_t>(count, elementBytes<uint8_t>(len), {"QZyAlloc2", 165, 174});
}
int8_t **QZtAlloc2(int32_t count, int32_t len) {
    return allocateRows<int8_t>(count, elementBytes<int8_t>(len), {"QZtAlloc2", 200, 209});
}
int16_t **QZwAlloc2(int32_t count, int32_t len) {
    return allocateRows<int16_t>(count, elementBytes<int16_t>(len), {"QZwAlloc2", 234, 243});
}
int32_t **QZiAlloc2(int32_t count, int32_t len) {
    return allocateRows<int32_t>(count, elementBytes<int32_t>(len), {"QZiAlloc2", 268, 277});
}
float **QZsAlloc2(int32_t count, int32_t len) {
    return allocateRows<float>(count, elementBytes<float>(len), {"QZsAlloc2", 302, 311});
}

int32_t QZbFree2(uint8_t **array, int32_t count) { return freeRows(array, count); }
int32_t QZnFree2(uint8_t **array, int32_t count) { return freeRows(array, count); }
int32_t QZyFree2(uint8_t **array, int32_t count) { return freeRows(array, count); }
int32_t QZtFree2(int8_t **array, int32_t count) { return freeRows(array, count); }
int32_t QZwFree2(int16_t **array, int32_t count) { return freeRows(array, count); }
int32_t QZiFree2(int32_t **array, int32_t count) { return freeRows(array, count); }
int32_t QZsFree2(float **array, int32_t count) { return freeRows(array, count); }
int32_t QZ_Free2(void **array, int32_t count) { return freeRows(array, count); }

uint8_t **QZbAllocTable(int32_t rows, int32_t len) {
    return allocateTable<uint8_t>(rows, bitBytes(len), {"QZbAllocTable", 372, 378});
}
uint8_t **QZnAllocTable(int32_t rows, int32_t len) {
    return allocateTable<uint8_t>(rows, nibbleBytes(len), {"QZnAllocTable", 406, 412});
}
uint8_t **QZyAllocTable(int32_t rows, int32_t len) {
    // kept: the data block is reported under the nibble allocator's name.
    return allocateTable<uint8_t>(rows, elementBytes<uint8_t>(len),
                                  {"QZyAllocTable", 439, 445, "QZnAllocTable"});
}
int8_t **QZtAllocTable(int32_t rows, int32_t len) {
    return allocateTable<int8_t>(rows, elementBytes<int8_t>(len), {"QZtAllocTable", 471, 477});
}
int16_t **QZwAllocTable(int32_t rows, int32_t len) {
    return allocateTable<int16_t>(rows, elementBytes<int16_t>(len), {"QZwAllocTable", 504, 510});
}
int32_t **QZiAllocTable(int32_t rows, int32_t len) {
    return allocateTable<int32_t>(rows, elementBytes<int32_t>(len), {"QZiAllocTable", 570, 576});
}
float **QZsAllocTable(int32_t rows, int32_t len) {
    return allocateTable<float>(rows, elementBytes<float>(len), {"QZsAllocTable", 537, 543});
}

int32_t QZbFreeTable(uint8_t **table) { return freeTable(table); }
int32_t QZnFreeTable(uint8_t **table) { return freeTable(table); }
int32_t QZyFreeTable(uint8_t **table) { return freeTable(table); }
int32_t QZtFreeTable(int8_t **table) { return freeTable(table); }
int32_t QZwFreeTable(int16_t **table) { return freeTable(table); }
int32_t QZiFreeTable(int32_t **table) { return freeTable(table); }
int32_t QZsFreeTable(float **table) { return freeTable(table); }
int32_t QZ_FreeTable(void **table) { return freeTable(table); }

} // extern "C"
