#include "families.hpp"
#include "record.hpp"

#include <limits>

namespace qzk::digest {
namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr struct {
    std::int32_t rows, len;
} sizes[] = {{0, 0},   {0, 5},    {1, 0},  {1, 1},  {2, 7},      {3, 8},     {5, 9},
             {17, 33}, {40, 100}, {-1, 4}, {3, -1}, {lowest, 1}, {2, lowest}};

/// Fills every row to its end, which other rows must not share.
template <class T>
void fillRows(T **rows, std::int32_t n, std::int32_t len, std::size_t bits) {
    const std::size_t bytes = (static_cast<std::size_t>(len) * bits + 7) / 8;
    for (std::int32_t i = 0; i < n; ++i)
        __builtin_memset(rows[i], i + 1, bytes);
    for (std::int32_t i = 0; i < n; ++i)
        putBytes(rows[i], bytes);
}

template <auto alloc, auto free>
void arrays(std::size_t bits) {
    for (const auto &[rows, len] : sizes) {
        auto **const array = call<alloc>(rows, len);
        if (array == nullptr) continue;
        fillRows(array, rows, len, bits);
        call<free>(array, rows);
    }
}

template <auto alloc, auto free>
void tables(std::size_t bits) {
    for (const auto &[rows, len] : sizes) {
        auto **const table = call<alloc>(rows, len);
        if (table == nullptr) continue;
        for (std::int32_t i = 1; i < rows; ++i) // how far apart the rows are
            put(reinterpret_cast<const char *>(table[i]) - reinterpret_cast<const char *>(table[0]));
        fillRows(table, rows, len, bits);
        call<free>(table);
    }
}

} // namespace

void allocation() {
    arrays<QZbAlloc2, QZbFree2>(1);
    arrays<QZnAlloc2, QZnFree2>(4);
    arrays<QZyAlloc2, QZyFree2>(8);
    arrays<QZtAlloc2, QZtFree2>(8);
    arrays<QZwAlloc2, QZwFree2>(16);
    arrays<QZiAlloc2, QZiFree2>(32);
    arrays<QZsAlloc2, QZsFree2>(32);
    call<QZ_Free2>(reinterpret_cast<void **>(QZsAlloc2(3, 4)), 3);

    tables<QZbAllocTable, QZbFreeTable>(1);
    tables<QZnAllocTable, QZnFreeTable>(4);
    tables<QZyAllocTable, QZyFreeTable>(8);
    tables<QZtAllocTable, QZtFreeTable>(8);
    tables<QZwAllocTable, QZwFreeTable>(16);
    tables<QZiAllocTable, QZiFreeTable>(32);
    tables<QZsAllocTable, QZsFreeTable>(32);
    call<QZ_FreeTable>(reinterpret_cast<void **>(QZsAllocTable(3, 4)));
}

} // namespace qzk::digest
