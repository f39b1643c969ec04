// Servers and classes: identifiers, topologies, the packed tables word by word, membership and its cursor,
// reports, failed allocations.
#include "common/hmm.hpp"
#include "common/hmm_layout.hpp"
#include "qzk.h"
#include "support/failing_heap.hpp"
#include "support/hmm.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace qzk::test {
namespace {

constexpr std::int32_t F17 = 0x1FFFF, F29 = 0x1FFFFFFF;
const std::string file = "..\\LIBSRC\\QZ_HMM";
const Report noStates = {QZ_StsBadArg, "QZSetHMMServerParm", "change HMM nStates without data", file, 433};
const Report noSymbols = {QZ_StsBadArg, "QZSetHMMServerParm", "change HMM nSymbols without data", file, 441};
const Report wrongFlavor = {QZ_StsError, "QZSetHMMServerParm", "wrong HMM flavor", file, 451};
const Report wrongClass = {QZ_StsBadArg, "QZAddHMMToClass", "wrong class for HMM server", file, 1457};
using Reports = std::vector<Report>;
using Ids = std::vector<std::int32_t>;

TEST(Records, HaveTheirFieldsInOrder) {
    const auto rise = [](const std::vector<std::size_t> &offsets) {
        return std::is_sorted(offsets.begin(), offsets.end());
    };
    EXPECT_TRUE(rise({offsetof(HMMServer, id), offsetof(HMMServer, unnamed), offsetof(HMMServer, nStates),
                      offsetof(HMMServer, nSymbols), offsetof(HMMServer, transitions),
                      offsetof(HMMServer, outputs), offsetof(HMMServer, initial), offsetof(HMMServer, next),
                      offsetof(HMMServer, prev), offsetof(HMMServer, flavor), offsetof(HMMServer, buffer),
                      offsetof(HMMServer, mixtures), offsetof(HMMServer, dim), offsetof(HMMServer, scale)}));
    EXPECT_TRUE(rise({offsetof(HMMClass, id), offsetof(HMMClass, unnamed), offsetof(HMMClass, next),
                      offsetof(HMMClass, prev), offsetof(HMMClass, nServers), offsetof(HMMClass, classFlags),
                      offsetof(HMMClass, firstBlock), offsetof(HMMClass, cursorBlock),
                      offsetof(HMMClass, cursorIndex)}));
    EXPECT_TRUE(
        rise({offsetof(HMMClassBlock, classId), offsetof(HMMClassBlock, next), offsetof(HMMClassBlock, maxId),
              offsetof(HMMClassBlock, count), offsetof(HMMClassBlock, members)}));
    if (sizeof(void *) == 4) {
        EXPECT_EQ(4u * 9, sizeof(HMMClass));
        EXPECT_EQ(4u * 132, sizeof(HMMClassBlock));
    }
}

TEST(Records, HaveTheirFlags) {
    EXPECT_EQ(0x1, QZ_HMMCost);
    EXPECT_EQ(0x10, QZ_HMM16);
    EXPECT_EQ(0x20, QZ_HMMFloat);
    EXPECT_EQ(0x1000, QZ_HMMLeftRight);
    EXPECT_EQ(0x2000, QZ_HMMBakis);
    EXPECT_EQ(0x200000, QZ_HMMSemicont);
    EXPECT_EQ(0x400000, QZ_HMMCont);
    EXPECT_EQ(0x800000, QZ_HMMDiscrete);
    EXPECT_EQ(0xE000F3, classCompatibility);
    EXPECT_EQ(0x80000000u, HMMClass::restart);
    EXPECT_EQ(0x40000000u, HMMClass::exhausted);
}

TEST(Records, PackedWordsBeginAtEightBytes) {
    alignas(16) char block[32];
    for (int start = 0; start < 16; ++start) {
        const char *const data = packedData<char>(block + start, QZ_HMM16 | QZ_HMMCost);
        EXPECT_EQ((start + 4 + 7) / 8 * 8, data - block);
        EXPECT_EQ(block + start, packedData<char>(block + start, QZ_HMMFloat | QZ_HMMCost));
    }
}

class Models : public testing::Test {
protected:
    ~Models() override {
        QZHMMFreeAll();
        EXPECT_EQ(0, hmmServers.count);
        EXPECT_EQ(0, hmmClasses.count);
        EXPECT_EQ(&hmmServers.sentinel, hmmServerHint);
    }

    /// A float server of two states and two symbols.
    static std::int32_t add(std::int32_t options = 0) {
        const Matrix<float> m(2, 2, 0.5f);
        return QZsInitHMMServer(m.rows(), m.rows(), m[0].data(), 2, 2, options);
    }
    static std::int32_t addWords(std::int32_t options = 0) {
        const Matrix<std::int16_t> m(2, 2, 5);
        return QZwInitHMMServer(m.rows(), m.rows(), m[0].data(), 2, 2, options);
    }

    /// Identifiers in the list, whose links are checked on the way.
    template <class Record>
    static Ids listed(Registry<Record> &registry) {
        Ids ids;
        const Record *before = &registry.sentinel;
        for (const Record *r = registry.first(); !registry.isEnd(r); before = r, r = r->next) {
            EXPECT_EQ(before, r->prev);
            ids.push_back(r->id);
        }
        EXPECT_EQ(before, registry.sentinel.prev);
        EXPECT_EQ(static_cast<std::size_t>(registry.count), ids.size());
        return ids;
    }

    static Ids members(std::int32_t classId) {
        Ids ids;
        EXPECT_EQ(1, rewindHMMClass(classId));
        for (std::int32_t id; (id = nextHMMClassMember(classId)) > 0;)
            ids.push_back(id);
        return ids;
    }

    RecordedReports reports;
};

TEST_F(Models, ServersTakeTheSmallestFreeIdentifier) {
    EXPECT_EQ(&hmmServers.sentinel, hmmServerHint);
    EXPECT_EQ(1, add());
    EXPECT_EQ(2, add());
    EXPECT_EQ(3, add());
    QZFreeHMMServer(2);
    EXPECT_EQ(1, hmmServerHint->id);
    EXPECT_EQ((Ids{1, 3}), listed(hmmServers));
    EXPECT_EQ(2, add());
    EXPECT_EQ(3, hmmServerHint->id) << "the hint passes over the server behind the gap";
    EXPECT_EQ(4, add());
    QZFreeHMMServer(1);
    EXPECT_EQ(&hmmServers.sentinel, hmmServerHint);
    QZFreeHMMServer(3);
    EXPECT_EQ(&hmmServers.sentinel, hmmServerHint) << "not moved by a server behind it";
    EXPECT_EQ(1, add());
    EXPECT_EQ(2, hmmServerHint->id);
    EXPECT_EQ(3, add());
    EXPECT_EQ(5, add());
    EXPECT_EQ((Ids{1, 2, 3, 4, 5}), listed(hmmServers));
    for (const std::int32_t unknown : {0, -1, 6, std::numeric_limits<std::int32_t>::min()})
        QZFreeHMMServer(unknown);
    EXPECT_EQ(5, hmmServers.count);
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(Models, ClassesTakeTheSmallestFreeIdentifier) {
    for (int id = 1; id <= 4; ++id)
        EXPECT_EQ(id, QZCreateHMMClass());
    EXPECT_EQ(1, QZDeleteHMMClass(2));
    EXPECT_EQ(-1, QZDeleteHMMClass(2));
    EXPECT_EQ(-1, QZDeleteHMMClass(0));
    EXPECT_EQ(-1, QZDeleteHMMClass(-1));
    EXPECT_EQ((Ids{1, 3, 4}), listed(hmmClasses));
    EXPECT_EQ(2, QZCreateHMMClass());
    EXPECT_EQ(1, QZDeleteHMMClass(1));
    EXPECT_EQ(1, QZCreateHMMClass());
    EXPECT_EQ(5, QZCreateHMMClass());
    EXPECT_EQ((Ids{1, 2, 3, 4, 5}), listed(hmmClasses));
    EXPECT_EQ(0x80000000u, findHMMClass(5)->classFlags);
    EXPECT_EQ(nullptr, findHMMClass(5)->firstBlock);
}

/// A server of three states: discrete, continuous or semicontinuous. Its costs allow every step; without
/// #QZ_HMMCost it is a Bakis model.
template <class T>
std::int32_t makeKind(int kind, std::int32_t options = 0) {
    using Letter = HMMLetter<T>;
    const Matrix<T> m = {{1, 1, 1}, {0, 1, 1}, {0, 0, 1}};
    typename Letter::Mixture *mixtures[3] = {};
    if (kind == 0) return Letter::discrete(m.rows(), m.rows(), m[0].data(), 3, 3, options);
    if (kind == 1) return Letter::continuous(m.rows(), m[0].data(), mixtures, 3, 1, options, 0);
    return Letter::semicontinuous(m.rows(), m.rows(), m[0].data(), mixtures, 3, 3, 1, options, 0);
}

/// The packed tables of both letters under one set of names.
template <class T>
class Packing : public Models {
protected:
    using Letter = HMMLetter<T>;
    using Cost = typename Letter::Cost;
    using Costs = std::vector<Cost>;
    static constexpr bool isWord = sizeof(T) == 2;

    static std::size_t filled(std::size_t length) { return isWord ? length + length % 2 : length; }

    /// Entries 10 i + j + 11 where `possible`, else an impossible value.
    template <class Possible>
    static Matrix<T> transitions(std::size_t n, std::int32_t options, Possible possible) {
        Matrix<T> a(n, n, options != 0 ? Letter::impossibleCost : T(0));
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                if (possible(i, j)) a[i][j] = static_cast<T>(10 * i + j + 11);
        return a;
    }

    std::int32_t make(const Matrix<T> &a, std::int32_t options, std::size_t nSymbols = 2) {
        Matrix<T> b(a.size(), nSymbols);
        std::vector<T> pi;
        pi.reserve(a.size() + 1);
        for (std::size_t i = 0; i < a.size(); ++i) {
            for (std::size_t k = 0; k < nSymbols; ++k)
                b[i][k] = static_cast<T>(100 * i + k);
            pi.push_back(static_cast<T>(-static_cast<int>(i) - 1));
        }
        return Letter::discrete(a.rows(), b.rows(), pi.data(), static_cast<std::int32_t>(a.size()),
                                static_cast<std::int32_t>(nSymbols), options);
    }

    static Costs words(void *block, std::size_t count) {
        const auto *const data = packedData<const Cost>(block, Letter::flavor);
        return {data, data + count};
    }
    static std::int32_t topology(std::int32_t id) { return findHMMServer(id)->flavor & hmmTopologies; }

    static bool any(std::size_t, std::size_t) { return true; }
    static bool leftRight(std::size_t i, std::size_t j) { return j >= i; }
    static bool bakis(std::size_t i, std::size_t j) { return j >= i && j <= i + 2; }
};

using Letters = testing::Types<float, std::int16_t>;
TYPED_TEST_SUITE(Packing, Letters);

TYPED_TEST(Packing, General) {
    for (const std::int32_t options : {0, 1}) {
        const auto short2 = this->make(this->transitions(2, options, this->any), options);
        EXPECT_EQ(0, this->topology(short2));
        EXPECT_EQ((typename TestFixture::Costs{12, 22, 11, 21}),
                  this->words(findHMMServer(short2)->transitions, 4));
        const auto id = this->make(this->transitions(3, options, this->any), options);
        EXPECT_EQ(0, this->topology(id));
        const auto packed = this->words(findHMMServer(id)->transitions, 3 * this->filled(3));
        if (this->isWord) {
            const auto f = static_cast<typename TestFixture::Cost>(options != 0 ? F29 : 0);
            EXPECT_EQ((typename TestFixture::Costs{13, 23, 33, f, 12, 22, 32, f, 11, 21, 31, f}), packed);
        } else {
            EXPECT_EQ((typename TestFixture::Costs{13, 23, 33, 12, 22, 32, 11, 21, 31}), packed);
        }
    }
}

TYPED_TEST(Packing, LeftToRight) {
    for (const std::int32_t options : {0, 1}) {
        const auto f = static_cast<typename TestFixture::Cost>(options != 0 ? F29 : 0);
        const auto id = this->make(this->transitions(4, options, this->leftRight), options);
        EXPECT_EQ(QZ_HMMLeftRight, this->topology(id));
        void *const block = findHMMServer(id)->transitions;
        if (this->isWord) {
            EXPECT_EQ((typename TestFixture::Costs{14, 24, 34, 44, 13, 23, 33, f, 12, 22, 11, f}),
                      this->words(block, 12));
        } else {
            EXPECT_EQ((typename TestFixture::Costs{14, 24, 34, 44, 13, 23, 33, 12, 22, 11}),
                      this->words(block, 10));
        }
    }
}

TYPED_TEST(Packing, Bakis) {
    for (const std::int32_t options : {0, 1}) {
        const auto f = static_cast<typename TestFixture::Cost>(options != 0 ? F29 : 0);
        const auto g = static_cast<typename TestFixture::Cost>(options != 0 ? F17 : 0);
        const auto id = this->make(this->transitions(5, options, this->bakis), options);
        EXPECT_EQ(QZ_HMMBakis, this->topology(id));
        void *const block = findHMMServer(id)->transitions;
        if (this->isWord) {
            EXPECT_EQ((typename TestFixture::Costs{11, 22, 33, 44, 55, f, g, 12, 23, 34, 45, f, g, g, 13, 24,
                                                   35, f}),
                      this->words(block, 18));
        } else {
            EXPECT_EQ((typename TestFixture::Costs{11, 22, 33, 44, 55, 12, 23, 34, 45, 13, 24, 35}),
                      this->words(block, 12));
        }
        const auto even = this->make(this->transitions(4, options, this->bakis), options);
        void *const evenBlock = findHMMServer(even)->transitions;
        if (this->isWord) {
            EXPECT_EQ((typename TestFixture::Costs{11, 22, 33, 44, g, 12, 23, 34, g, g, 13, 24}),
                      this->words(evenBlock, 12));
        } else {
            EXPECT_EQ((typename TestFixture::Costs{11, 22, 33, 44, 12, 23, 34, 13, 24}),
                      this->words(evenBlock, 9));
        }
    }
}

TYPED_TEST(Packing, TransitionsTakeTheirWords) {
    const auto words = [](std::int32_t topology, std::int64_t n) {
        return packedTransitionBytes<TypeParam>(topology, n) / 4;
    };
    const bool filled = this->isWord;
    EXPECT_EQ(filled ? 2u : 1u, words(0, 1));
    EXPECT_EQ(filled ? 12u : 9u, words(0, 3));
    EXPECT_EQ(16u, words(0, 4));
    EXPECT_EQ(filled ? 4u : 3u, words(QZ_HMMLeftRight, 2));
    EXPECT_EQ(filled ? 8u : 6u, words(QZ_HMMLeftRight, 3));
    EXPECT_EQ(filled ? 18u : 15u, words(QZ_HMMLeftRight, 5));
    EXPECT_EQ(filled ? 12u : 6u, words(QZ_HMMBakis, 3));
    EXPECT_EQ(filled ? 12u : 9u, words(QZ_HMMBakis, 4));
}

TYPED_TEST(Packing, RowsOfCostsAreReadInWholeVectors) {
    using Cost = typename TestFixture::Cost;
    for (const std::size_t n : {1u, 3u, 16u, 17u}) {
        const FailingHeap heap;
        const HMMServer &server = *findHMMServer(this->make(this->transitions(n, 0, this->any), 0, 3));
        const auto *const last =
            packedData<const Cost *const>(server.outputs, TestFixture::Letter::flavor)[2];
        const auto block = std::find_if(heap.events().begin(), heap.events().end(),
                                        [&](const auto &event) { return event.block == server.outputs; });
        ASSERT_NE(heap.events().end(), block);
        EXPECT_LE(reinterpret_cast<const char *>(last + simd::viterbiStride(n)),
                  static_cast<const char *>(server.outputs) + block->bytes);
    }
}

TYPED_TEST(Packing, LanesHoldTheSame) {
    using Cost = typename TestFixture::Cost;
    for (const std::size_t n : {3u, 5u, 16u, 17u, 40u}) {
        const std::size_t stride = (n + 15) / 16 * 16;
        const auto size = static_cast<std::int64_t>(n);
        for (const std::int32_t kind : {0, QZ_HMMLeftRight, QZ_HMMBakis}) {
            const auto possible = [=](std::size_t i, std::size_t j) {
                return kind == 0 || (j >= i && (kind == QZ_HMMLeftRight || j <= i + 2));
            };
            const auto a = this->transitions(n, 0, possible);
            const auto id = this->make(a, 0);
            // Three states cannot jump further than two ahead.
            const std::int32_t topology = kind == QZ_HMMLeftRight && n == 3 ? QZ_HMMBakis : kind;
            ASSERT_EQ(topology, this->topology(id));
            const Cost *const lanes =
                transitionLanes<TypeParam>(findHMMServer(id)->transitions, topology, size);
            ASSERT_EQ(0u, reinterpret_cast<std::uintptr_t>(lanes) % 64);
            if (topology == QZ_HMMBakis) {
                for (std::size_t d = 0; d < 3; ++d)
                    for (std::size_t j = 0; j < stride; ++j)
                        ASSERT_EQ(j >= d && j < n ? a[j - d][j] : Cost(0), lanes[d * stride + j]);
                continue;
            }
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = 0; j < stride; ++j)
                    ASSERT_EQ(j < n ? a[i][j] : Cost(0), lanes[i * stride + j]) << n << ' ' << i << ' ' << j;
        }
    }
}

TYPED_TEST(Packing, DiscreteOutputsAndInitial) {
    using Cost = typename TestFixture::Cost;
    for (const std::int32_t options : {0, 1}) {
        for (const std::size_t n : {2u, 3u}) {
            const auto id = this->make(this->transitions(n, options, this->any), options, 3);
            const HMMServer &server = *findHMMServer(id);
            EXPECT_EQ(static_cast<std::int32_t>(n), server.nStates);
            EXPECT_EQ(3, server.nSymbols);
            EXPECT_EQ(0, server.unnamed);
            EXPECT_EQ(QZ_HMMDiscrete | TestFixture::Letter::flavor | options, server.flavor);
            const auto *const pointers =
                packedData<const Cost *const>(server.outputs, TestFixture::Letter::flavor);
            const std::size_t length = this->filled(n);
            const auto f = static_cast<Cost>(options != 0 ? F17 : 0);
            for (std::size_t k = 0; k < 3; ++k) {
                // Directly behind the pointers, of which words have an even number.
                EXPECT_EQ(reinterpret_cast<const Cost *>(pointers + (this->isWord ? 4 : 3)) + k * length,
                          pointers[k]);
                for (std::size_t j = 0; j < n; ++j)
                    EXPECT_EQ(static_cast<Cost>(100 * j + k), pointers[k][j]);
                if (length > n) {
                    EXPECT_EQ(f, pointers[k][n]);
                }
            }
            auto initial = this->words(server.initial, length);
            for (std::size_t j = 0; j < n; ++j)
                EXPECT_EQ(static_cast<Cost>(-static_cast<int>(j) - 1), initial[j]) << "sign-extended";
            if (length > n) {
                EXPECT_EQ(f, initial[n]);
            }
            if (this->isWord) {
                for (void *const block : {server.transitions, server.outputs, server.initial}) {
                    const auto offset = packedData<char>(block, QZ_HMM16) - static_cast<const char *>(block);
                    EXPECT_GE(offset, 4);
                    EXPECT_LE(offset, 11);
                    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(packedData<char>(block, QZ_HMM16)) % 8);
                }
            }
        }
    }
}

TYPED_TEST(Packing, SemicontinuousOutputs) {
    using Letter = HMMLetter<TypeParam>;
    for (const std::size_t n : {3u, 4u}) {
        for (const std::size_t s : {1u, 4u, 5u, 8u}) {
            const Matrix<TypeParam> a(n, n, 7);
            Matrix<TypeParam> b(n, s);
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t k = 0; k < s; ++k)
                    b[i][k] = static_cast<TypeParam>(10 * i + k + 1);
            std::vector<typename Letter::Mixture *> codebook(s);
            int tag = 0;
            for (auto &entry : codebook)
                entry = reinterpret_cast<typename Letter::Mixture *>(&tag + 1);
            const auto states = static_cast<std::int32_t>(n), symbols = static_cast<std::int32_t>(s);
            const auto id = Letter::semicontinuous(a.rows(), b.rows(), a[0].data(), codebook.data(), states,
                                                   symbols, 13, 1, -9);
            const HMMServer &server = *findHMMServer(id);
            EXPECT_EQ(QZ_HMMSemicont | Letter::flavor | QZ_HMMCost, server.flavor);
            EXPECT_EQ(states, server.nStates);
            EXPECT_EQ(symbols, server.nSymbols);
            EXPECT_EQ(13, server.dim);
            EXPECT_EQ(this->isWord ? -9 : 0, server.scale);
            const auto *const copy = static_cast<typename Letter::Mixture *const *>(server.mixtures);
            EXPECT_NE(codebook.data(), copy);
            EXPECT_EQ(codebook, std::vector(copy, copy + s));
            const auto *const pointers = packedData<const TypeParam *const>(server.outputs, Letter::flavor);
            const std::size_t stride = this->isWord ? (s == 1 ? 4 : s == 5 ? 8 : s) : s;
            for (std::size_t i = 0; i < n; ++i) {
                EXPECT_EQ(reinterpret_cast<const TypeParam *>(pointers + (this->isWord ? 4 : n)) + i * stride,
                          pointers[i]);
                EXPECT_EQ(b[i], std::vector(pointers[i], pointers[i] + s));
                for (std::size_t k = s; k < stride; ++k)
                    EXPECT_EQ(0, pointers[i][k]);
            }
        }
    }
}

TYPED_TEST(Packing, ContinuousModels) {
    using Letter = HMMLetter<TypeParam>;
    const Matrix<TypeParam> a(2, 2, 7);
    int tags[2];
    std::vector<typename Letter::Mixture *> mixtures = {
        reinterpret_cast<typename Letter::Mixture *>(&tags[0]),
        reinterpret_cast<typename Letter::Mixture *>(&tags[1])};
    const auto id = Letter::continuous(a.rows(), a[0].data(), mixtures.data(), 2, 39, 0, 5);
    const HMMServer &server = *findHMMServer(id);
    EXPECT_EQ(QZ_HMMCont | Letter::flavor, server.flavor);
    EXPECT_EQ(nullptr, server.outputs);
    EXPECT_EQ(0, server.nSymbols);
    EXPECT_EQ(39, server.dim);
    EXPECT_EQ(this->isWord ? 5 : 0, server.scale);
    const auto *const copy = static_cast<typename Letter::Mixture *const *>(server.mixtures);
    EXPECT_EQ(mixtures, std::vector(copy, copy + 2));
}

TYPED_TEST(Packing, Topologies) {
    using Letter = HMMLetter<TypeParam>;
    for (const std::int32_t options : {0, 1}) {
        const auto of = [&](const Matrix<TypeParam> &a) { return this->topology(this->make(a, options)); };
        const TypeParam impossible = options != 0 ? Letter::impossibleCost : TypeParam(0);
        const TypeParam possible = 1;
        EXPECT_EQ(0, of(this->transitions(1, options, this->any))) << "one state is never left-to-right";
        EXPECT_EQ(0, of(this->transitions(2, options, this->any)));
        EXPECT_EQ(QZ_HMMLeftRight, of(this->transitions(2, options, this->bakis)))
            << "two states are never Bakis";
        EXPECT_EQ(QZ_HMMBakis, of(this->transitions(3, options, this->leftRight)));

        auto a = this->transitions(4, options, this->leftRight);
        EXPECT_EQ(QZ_HMMLeftRight, of(a));
        for (std::size_t i = 1; i < 4; ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                auto general = a;
                general[i][j] = possible;
                EXPECT_EQ(0, of(general)) << i << j;
            }
        }
        a[0][3] = impossible;
        EXPECT_EQ(QZ_HMMBakis, of(a));
        auto six = this->transitions(6, options, this->bakis);
        EXPECT_EQ(QZ_HMMBakis, of(six));
        for (std::size_t i = 0; i < 6; ++i) {
            for (std::size_t j = i + 3; j < 6; ++j) {
                auto wider = six;
                wider[i][j] = possible;
                EXPECT_EQ(QZ_HMMLeftRight, of(wider)) << i << j;
            }
        }
        EXPECT_EQ(QZ_HMMLeftRight, of(Matrix<TypeParam>(0, 0)));
    }
}

TEST_F(Models, WhatIsImpossible) {
    const auto floats = [](float value, std::int32_t options) {
        return HMMElement<float>::isImpossible(value, options);
    };
    for (const float value : {1e30f, 2e30f, std::numeric_limits<float>::infinity()})
        EXPECT_TRUE(floats(value, QZ_HMMCost)) << value;
    EXPECT_EQ(0x7149F2CA, std::bit_cast<std::int32_t>(1e30f));
    for (const float value : {std::nextafter(1e30f, 0.0f), 0.0f, -0.0f, -1.0f, -1e38f})
        EXPECT_FALSE(floats(value, QZ_HMMCost)) << value;
    for (const float value : {0.0f, -0.0f, -1.0f, -std::numeric_limits<float>::infinity()})
        EXPECT_TRUE(floats(value, 0)) << value;
    for (const float value : {std::numeric_limits<float>::denorm_min(), 1.0f, 1e38f})
        EXPECT_FALSE(floats(value, 0)) << value;

    // By their bits: positive not-a-numbers lie above all numbers, negative ones below.
    const float notANumber = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(floats(notANumber, QZ_HMMCost));
    EXPECT_FALSE(floats(std::copysign(notANumber, -1.0f), QZ_HMMCost));
    EXPECT_FALSE(floats(notANumber, 0));
    EXPECT_TRUE(floats(std::copysign(notANumber, -1.0f), 0));

    const auto words = [](std::int16_t value, std::int32_t options) {
        return HMMElement<std::int16_t>::isImpossible(value, options);
    };
    EXPECT_TRUE(words(32767, QZ_HMMCost));
    for (const std::int16_t value : {std::int16_t(32766), std::int16_t(0), std::int16_t(-32768)})
        EXPECT_FALSE(words(value, QZ_HMMCost)) << value;
    EXPECT_TRUE(words(0, 0));
    EXPECT_TRUE(words(-32768, 0));
    EXPECT_FALSE(words(1, 0));
    EXPECT_FALSE(words(32767, 0));
}

TYPED_TEST(Packing, OnlyTheCostOptionIsTaken) {
    constexpr std::int32_t models[] = {QZ_HMMDiscrete, QZ_HMMCont, QZ_HMMSemicont};
    for (int kind = 0; kind < 3; ++kind) {
        const std::int32_t flavor = models[kind] | TestFixture::Letter::flavor;
        for (const std::int32_t options : {-1, 1, 3})
            EXPECT_EQ(flavor | QZ_HMMCost, findHMMServer(makeKind<TypeParam>(kind, options))->flavor);
        for (const std::int32_t options : {0, 2, 0x7FFFFFFE})
            EXPECT_EQ(flavor | QZ_HMMBakis, findHMMServer(makeKind<TypeParam>(kind, options))->flavor);
    }
}

TEST_F(Models, MissingTables) {
    const Matrix<float> m(2, 2, 0.5f);
    const float *const pi = m[0].data();
    const struct {
        std::int32_t id;
        Report report;
    } calls[] = {{QZsInitHMMServer(nullptr, m.rows(), pi, 2, 2, 0), noStates},
                 {QZsInitHMMServer(m.rows(), nullptr, pi, 2, 2, 0), noStates},
                 {QZsInitHMMServer(m.rows(), m.rows(), nullptr, 2, 2, 0), noStates},
                 {QZsInitHMMServer(m.rows(), nullptr, pi, -1, 2, 0), noSymbols},
                 {QZsInitContHMMServer(nullptr, pi, nullptr, 0, 1, 0), noStates},
                 {QZsInitSemicontHMMServer(m.rows(), nullptr, pi, nullptr, 2, 0, 1, 0), noStates}};
    ASSERT_EQ(std::size(calls), reports.all().size());
    for (std::size_t i = 0; i < std::size(calls); ++i) {
        EXPECT_EQ(1, calls[i].id) << "each is freed again, so the next has its identifier";
        EXPECT_EQ(calls[i].report, reports.all()[i]);
    }
    EXPECT_EQ(0, hmmServers.count);
}

TEST_F(Models, AnEarlierFailureFreesTheNewServer) {
    QZSetStatus(QZ_StsNoMem);
    EXPECT_EQ(1, add());
    EXPECT_EQ(0, hmmServers.count);
    EXPECT_TRUE(reports.all().empty());
    for (const std::int32_t status : {QZ_StsOk, 7}) {
        QZSetStatus(status);
        EXPECT_EQ(1, add());
        EXPECT_EQ(1, hmmServers.count);
        QZFreeHMMServer(1);
    }
}

TYPED_TEST(Packing, WithoutMemoryForMixturesTheStatusIsNotAsked) {
    for (int kind = 1; kind < 3; ++kind) {
        QZSetStatus(QZ_StsNoMem);
        FailingHeap heap(kind == 1 ? 3 : 4);
        EXPECT_EQ(-1, makeKind<TypeParam>(kind));
        EXPECT_EQ(1, hmmServers.count) << "it stays registered";
        QZHMMFreeAll();
        EXPECT_EQ(0, heap.live());
    }
    EXPECT_TRUE(this->reports.all().empty());
}

TEST_F(Models, NegativeNumbersOfANewServer) {
    const Matrix<float> m(2, 2, 0.5f);
    const std::int32_t id = QZsInitHMMServer(m.rows(), m.rows(), m[0].data(), -3, -1, 0);
    EXPECT_EQ(1, id);
    EXPECT_EQ(0, findHMMServer(id)->nStates);
    EXPECT_EQ(0, findHMMServer(id)->nSymbols);
    EXPECT_EQ(-1, QZsInitContHMMServer(m.rows(), m[0].data(), nullptr, -1, 2, 0));
    EXPECT_EQ(2, hmmServers.count) << "the second has no room for -1 mixtures";
    EXPECT_EQ(-1, QZsInitSemicontHMMServer(m.rows(), m.rows(), m[0].data(), nullptr, 2, -1, 2, 0));
    EXPECT_EQ(3, hmmServers.count);
    EXPECT_EQ(2, findHMMServer(3)->nStates);
    EXPECT_EQ(0, findHMMServer(3)->nSymbols);
    EXPECT_TRUE(reports.all().empty());
}

struct Parameters {
    std::int32_t unnamed = 9, nStates = 9, nSymbols = 9, flavor = 9;
    void *transitions = this, *outputs = this, *initial = this;

    explicit Parameters(std::int32_t id) {
        QZGetHMMServerParm(id, &unnamed, &transitions, &outputs, &initial, &nStates, &nSymbols, &flavor);
    }
};

TEST_F(Models, ParametersOfAServer) {
    const std::int32_t id = add(1);
    const Parameters known(id);
    const HMMServer &server = *findHMMServer(id);
    EXPECT_EQ(0, known.unnamed);
    EXPECT_EQ(server.transitions, known.transitions);
    EXPECT_EQ(server.outputs, known.outputs);
    EXPECT_EQ(server.initial, known.initial);
    EXPECT_EQ(2, known.nStates);
    EXPECT_EQ(2, known.nSymbols);
    EXPECT_EQ(server.flavor, known.flavor);
    for (const std::int32_t wrong : {0, -1, id + 1}) {
        const Parameters unknown(wrong);
        EXPECT_EQ(0, unknown.unnamed | unknown.nStates | unknown.nSymbols | unknown.flavor);
        EXPECT_EQ(nullptr, unknown.transitions);
        EXPECT_EQ(nullptr, unknown.outputs);
        EXPECT_EQ(nullptr, unknown.initial);
    }
    QZGetHMMServerParm(id, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

template <class T>
HMMParameters tables(const Matrix<T> *a, const Matrix<T> *b, const T *pi) {
    const auto rows = [](const Matrix<T> *m) {
        return m != nullptr ? reinterpret_cast<const void *const *>(m->rows()) : nullptr;
    };
    return {rows(a), rows(b), pi};
}

TEST_F(Models, ChangingParameters) {
    const std::int32_t id = add();
    const HMMServer &server = *findHMMServer(id);
    const std::int32_t flavor = server.flavor;
    const auto *const transitions = server.transitions, *const outputs = server.outputs,
                      *const initial = server.initial;

    QZSetHMMServerParm(77, {}, 3, 3, 0);
    EXPECT_TRUE(reports.all().empty()) << "an unknown server is passed over";
    QZSetHMMServerParm(id, {}, -1, -1, -1);
    EXPECT_TRUE(reports.all().empty());

    const Matrix<float> a = {{1, 2}, {3, 4}}, b = {{5, 6}, {7, 8}};
    const float pi[] = {9, 10};
    QZSetHMMServerParm(id, tables(&a, &b, pi), -1, -1, -1);
    EXPECT_EQ(transitions, server.transitions) << "the same size is packed in place";
    EXPECT_EQ(outputs, server.outputs);
    EXPECT_EQ(initial, server.initial);
    EXPECT_EQ(2.0f, static_cast<float *>(server.transitions)[0]);
    EXPECT_EQ(7.0f, static_cast<float **>(server.outputs)[0][1]);
    EXPECT_EQ(10.0f, static_cast<float *>(server.initial)[1]);

    const Matrix<float> upper = {{1, 2}, {0, 4}};
    QZSetHMMServerParm(id, tables<float>(&upper, nullptr, nullptr), -1, -1, -1);
    EXPECT_EQ(flavor | QZ_HMMLeftRight, server.flavor);
    EXPECT_EQ((std::vector<float>{2, 4, 1}), std::vector(static_cast<float *>(server.transitions),
                                                         static_cast<float *>(server.transitions) + 3));
    QZSetHMMServerParm(id, tables<float>(nullptr, nullptr, pi), -1, -1, flavor);
    EXPECT_EQ(flavor | QZ_HMMLeftRight, server.flavor) << "the topology is that of the packed table";

    const Matrix<float> wide = {{1, 2, 3}, {4, 5, 6}};
    QZSetHMMServerParm(id, tables<float>(nullptr, &wide, nullptr), -1, 3, -1);
    EXPECT_EQ(3, server.nSymbols);
    EXPECT_EQ(6.0f, static_cast<float **>(server.outputs)[2][1]);

    const Matrix<float> big(4, 4, 2);
    QZSetHMMServerParm(id, tables(&big, &big, big[0].data()), 4, 4, -1);
    EXPECT_EQ(4, server.nStates);
    EXPECT_EQ(4, server.nSymbols);
    EXPECT_EQ(flavor, server.flavor);
    EXPECT_EQ(2.0f, static_cast<float *>(server.transitions)[15]);
    EXPECT_TRUE(reports.all().empty());
}

/// Everything that a server has packed: transitions and their lanes, outputs, initial vector.
template <class T>
std::vector<CostOf<T>> packedTables(std::int32_t id) {
    using Letter = HMMLetter<T>;
    const HMMServer &server = *findHMMServer(id);
    const std::int32_t topology = server.flavor & hmmTopologies;
    const auto n = static_cast<std::size_t>(server.nStates), s = static_cast<std::size_t>(server.nSymbols);
    std::vector<CostOf<T>> all;
    const auto append = [&](const CostOf<T> *data, std::size_t bytes) {
        all.insert(all.end(), data, data + bytes / sizeof *data);
    };
    append(packedData<CostOf<T>>(server.transitions, Letter::flavor),
           packedTransitionBytes<T>(topology, server.nStates));
    append(transitionLanes<T>(server.transitions, topology, server.nStates),
           laneBytes(topology, server.nStates));
    const std::size_t row = static_cast<std::size_t>(filledLength<T>(server.nStates)) * sizeof(CostOf<T>);
    for (std::size_t k = 0; k < s; ++k)
        append(packedData<const CostOf<T> *>(server.outputs, Letter::flavor)[k], row);
    append(packedData<CostOf<T>>(server.initial, Letter::flavor), row);
    EXPECT_LE(n, all.size());
    return all;
}

TYPED_TEST(Packing, ChangedServersHoldWhatNewOnesHold) {
    using Letter = typename TestFixture::Letter;
    const struct {
        std::size_t n, nSymbols;
        bool (*possible)(std::size_t, std::size_t);
        int replaced; // blocks
    } changes[] = {{5, 2, this->any, 3},       {5, 2, this->any, 0},   {5, 2, this->bakis, 1},
                   {5, 2, this->leftRight, 1}, {5, 2, this->any, 1},   {6, 2, this->any, 3},
                   {6, 3, this->any, 1},       {6, 2, this->bakis, 2}, {4, 2, this->bakis, 3},
                   {3, 1, this->bakis, 3},     {3, 1, this->any, 1},   {17, 40, this->leftRight, 3}};
    for (const std::int32_t options : {0, 1}) {
        const auto id = this->make(this->transitions(3, options, this->bakis), options, 3);
        for (const auto &change : changes) {
            SCOPED_TRACE(testing::Message() << change.n << ' ' << change.nSymbols);
            const auto a = this->transitions(change.n, options, change.possible);
            Matrix<TypeParam> b(change.n, change.nSymbols);
            std::vector<TypeParam> pi(change.n);
            for (std::size_t i = 0; i < change.n; ++i) {
                for (std::size_t k = 0; k < change.nSymbols; ++k)
                    b[i][k] = static_cast<TypeParam>(100 * i + k);
                pi[i] = static_cast<TypeParam>(-static_cast<int>(i) - 1);
            }
            {
                const FailingHeap heap;
                QZSetHMMServerParm(id, tables(&a, &b, pi.data()), static_cast<std::int32_t>(change.n),
                                   static_cast<std::int32_t>(change.nSymbols), -1);
                EXPECT_EQ(change.replaced, heap.requests());
                EXPECT_EQ(2u * static_cast<std::size_t>(change.replaced), heap.events().size())
                    << "each after the release of the one before";
            }
            const auto fresh = this->make(a, options, change.nSymbols);
            EXPECT_EQ(findHMMServer(fresh)->flavor, findHMMServer(id)->flavor);
            EXPECT_EQ(packedTables<TypeParam>(fresh), packedTables<TypeParam>(id));
            QZFreeHMMServer(fresh);
        }
        EXPECT_EQ(Letter::flavor, findHMMServer(id)->flavor & hmmElements);
    }
}

TYPED_TEST(Packing, FailedChangesKeepTheNumbers) {
    const auto a = this->transitions(9, 0, this->leftRight);
    const Matrix<TypeParam> b(9, 4, 3);
    for (int failAt = 0; failAt < 3; ++failAt) {
        const auto id = this->make(this->transitions(4, 0, this->any), 0);
        const HMMServer before = *findHMMServer(id);
        {
            const FailingHeap heap(failAt);
            QZSetHMMServerParm(id, tables(&a, &b, b[0].data()), 9, 4, -1);
            EXPECT_EQ(failAt + 1, heap.requests());
        }
        const HMMServer &after = *findHMMServer(id);
        EXPECT_EQ(before.nStates, after.nStates);
        EXPECT_EQ(before.nSymbols, after.nSymbols);
        EXPECT_EQ(before.flavor, after.flavor);
        EXPECT_EQ(failAt == 0, after.transitions == nullptr);
        EXPECT_EQ(failAt == 1, after.outputs == nullptr);
        EXPECT_EQ(failAt == 2, after.initial == nullptr);
        if (failAt == 0) {
            EXPECT_EQ(before.outputs, after.outputs);
        }
        if (failAt < 2) {
            EXPECT_EQ(before.initial, after.initial);
        }
    }
    EXPECT_TRUE(this->reports.all().empty());
}

TEST_F(Models, ChangingTheKind) {
    const std::int32_t id = add();
    const HMMServer &server = *findHMMServer(id);
    const Matrix<std::int16_t> words = {{1, 2}, {3, 4}}, others = {{5, 6}, {7, 8}};
    QZSetHMMServerParm(id, tables(&words, &words, words[0].data()), 2, 2, QZ_HMM16 | QZ_HMMDiscrete);
    EXPECT_EQ(QZ_HMM16 | QZ_HMMDiscrete, server.flavor);
    EXPECT_EQ((std::vector<std::int32_t>{2, 4, 1, 3, 1, 3, 2, 4, 1, 2}), [&] {
        auto all = packedTables<std::int16_t>(id);
        all.erase(all.begin() + 4, all.end() - 6); // the lanes
        return all;
    }());
    QZSetHMMServerParm(id, tables<std::int16_t>(&others, nullptr, nullptr), -1, -1, -1);
    EXPECT_EQ(QZ_HMM16 | QZ_HMMDiscrete, server.flavor) << "kept";
    EXPECT_EQ(6, packedTables<std::int16_t>(id)[0]);

    // The same numbers in another layout.
    QZSetHMMServerParm(id, tables<std::int16_t>(nullptr, &others, nullptr), -1, -1,
                       QZ_HMM16 | QZ_HMMSemicont);
    EXPECT_EQ(QZ_HMM16 | QZ_HMMSemicont, server.flavor);
    const auto *const rows = packedData<const std::int16_t *>(server.outputs, QZ_HMM16);
    EXPECT_EQ((std::vector<std::int16_t>{5, 6, 0, 0, 7, 8, 0, 0}), std::vector(rows[0], rows[0] + 8));

    // A continuous model has no outputs to pack.
    const void *const outputs = server.outputs;
    QZSetHMMServerParm(id, tables<std::int16_t>(nullptr, &words, nullptr), -1, -1, QZ_HMM16 | QZ_HMMCont);
    EXPECT_EQ(QZ_HMM16 | QZ_HMMCont, server.flavor);
    EXPECT_EQ(outputs, server.outputs);
    EXPECT_EQ(5, rows[0][0]);
    EXPECT_TRUE(reports.all().empty());
}

TYPED_TEST(Packing, MatricesBeyondAllMemory) {
    // Two rows settle the topology; then their number alone makes the request impossible.
    const Matrix<TypeParam> a(2, 4, 1);
    const std::int32_t most = std::numeric_limits<std::int32_t>::max();
    FailingHeap heap;
    const auto id = TestFixture::Letter::discrete(a.rows(), a.rows(), a[0].data(), most, 1, 0);
    EXPECT_EQ(1, id);
    EXPECT_EQ(1, heap.requests()) << "of the record alone";
    EXPECT_EQ(nullptr, findHMMServer(id)->transitions);
    EXPECT_EQ(0, findHMMServer(id)->nStates);
    EXPECT_TRUE(this->reports.all().empty());
}

TEST_F(Models, RefusedChanges) {
    const std::int32_t id = add();
    const Matrix<float> m(3, 3, 1);
    const float *const pi = m[0].data();
    const std::int32_t cont = QZ_HMMFloat | QZ_HMMCont;
    const struct {
        HMMParameters given;
        std::int32_t nStates, nSymbols, flavor;
        const Report *report;
    } calls[] = {{tables<float>(nullptr, &m, pi), 3, -1, -1, &noStates},
                 {tables<float>(&m, nullptr, pi), 3, -1, -1, &noStates},
                 {tables<float>(&m, &m, nullptr), 3, -1, -1, &noStates},
                 {tables<float>(&m, nullptr, nullptr), 3, -1, cont, &noStates},
                 {tables<float>(nullptr, nullptr, nullptr), 0, -1, -1, &noStates},
                 {tables<float>(&m, nullptr, pi), -1, 0, -1, &noSymbols},
                 {tables<float>(&m, nullptr, pi), 3, 3, cont, &noSymbols},
                 {tables<float>(nullptr, nullptr, nullptr), -1, -1, QZ_HMMDiscrete, &wrongFlavor},
                 {tables<float>(nullptr, nullptr, nullptr), 2, 2, QZ_HMMDiscrete, &noStates}};
    for (const auto &call : calls) {
        reports.clear();
        QZSetHMMServerParm(id, call.given, call.nStates, call.nSymbols, call.flavor);
        EXPECT_EQ(Reports{*call.report}, reports.all());
        EXPECT_EQ(2, findHMMServer(id)->nStates);
        EXPECT_EQ(2, findHMMServer(id)->nSymbols);
    }
    // A continuous model changes its states without outputs.
    reports.clear();
    QZSetHMMServerParm(id, tables<float>(&m, nullptr, pi), 3, -1, cont);
    EXPECT_TRUE(reports.all().empty());
    EXPECT_EQ(3, findHMMServer(id)->nStates);
}

TEST_F(Models, ClassesHoldOneKindOfServer) {
    const std::int32_t cls = QZCreateHMMClass();
    const std::int32_t floats = add(), words = addWords(), costs = add(QZ_HMMCost);
    EXPECT_EQ(1, QZAddHMMToClass(cls, floats));
    EXPECT_EQ(-1, QZAddHMMToClass(cls, words));
    EXPECT_EQ(Reports{wrongClass}, reports.all());
    EXPECT_EQ(-1, QZAddHMMToClass(cls, costs));
    EXPECT_EQ((Reports{wrongClass, wrongClass}), reports.all());
    reports.clear();
    QZSetStatus(QZ_StsOk);

    EXPECT_EQ(1, QZAddHMMToClass(cls, floats));
    EXPECT_EQ(1, findHMMClass(cls)->nServers) << "no second membership";
    const Matrix<float> upper = {{1, 2}, {0, 4}};
    const std::int32_t other = QZsInitHMMServer(upper.rows(), upper.rows(), upper[0].data(), 2, 2, 0);
    EXPECT_EQ(1, QZAddHMMToClass(cls, other)) << "the topology may differ";
    const Matrix<float> m(2, 2, 1);
    QZsGaussMixServer *mixtures[2] = {};
    const std::int32_t continuous = QZsInitContHMMServer(m.rows(), m[0].data(), mixtures, 2, 1, 0);
    EXPECT_EQ(-1, QZAddHMMToClass(cls, continuous));
    EXPECT_EQ(Reports{wrongClass}, reports.all());
    reports.clear();

    EXPECT_EQ(1, QZRemoveHMMFromClass(cls, floats));
    EXPECT_EQ(1, QZRemoveHMMFromClass(cls, other));
    EXPECT_EQ(0, findHMMClass(cls)->nServers);
    EXPECT_EQ(nullptr, findHMMClass(cls)->firstBlock);
    EXPECT_EQ(-1, QZAddHMMToClass(cls, words)) << "an empty class keeps its kind";
}

TEST_F(Models, UnknownClassesAndServers) {
    const std::int32_t cls = QZCreateHMMClass(), id = add(), outside = add();
    for (const std::int32_t unknown : {0, -1, 99}) {
        EXPECT_EQ(-1, QZAddHMMToClass(unknown, id));
        EXPECT_EQ(-1, QZAddHMMToClass(cls, unknown));
        EXPECT_EQ(-1, QZRemoveHMMFromClass(unknown, id));
        EXPECT_EQ(-1, QZRemoveHMMFromClass(cls, unknown));
        EXPECT_EQ(-1, rewindHMMClass(unknown));
        EXPECT_EQ(-1, nextHMMClassMember(unknown));
    }
    EXPECT_EQ(1, QZRemoveHMMFromClass(cls, id)) << "a class without members";
    EXPECT_EQ(1, QZAddHMMToClass(cls, id));
    EXPECT_EQ(1, QZRemoveHMMFromClass(cls, outside)) << "no member";
    EXPECT_EQ((Ids{id}), members(cls));
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(Models, FreedServersLeaveEveryClass) {
    const std::int32_t first = QZCreateHMMClass(), second = QZCreateHMMClass();
    for (int i = 0; i < 3; ++i) {
        const std::int32_t id = add();
        QZAddHMMToClass(first, id);
        QZAddHMMToClass(second, id);
    }
    QZRemoveHMMFromClass(second, 1);
    QZFreeHMMServer(1);
    QZFreeHMMServer(3);
    EXPECT_EQ((Ids{2}), members(first));
    EXPECT_EQ((Ids{2}), members(second));
    QZDeleteHMMClass(first);
    EXPECT_NE(nullptr, findHMMServer(2)) << "members outlive their class";
}

class Chains : public Models {
protected:
    void fill(std::int32_t count) {
        for (std::int32_t i = 0; i < count; ++i)
            add();
    }
    /// Identifiers of the members, block by block; checks the chain on the way.
    std::vector<Ids> blocks() const {
        std::vector<Ids> result;
        std::int32_t total = 0;
        for (const HMMClassBlock *block = findHMMClass(cls)->firstBlock; block != nullptr;
             block = block->next) {
            EXPECT_EQ(cls, block->classId);
            EXPECT_LT(0, block->count);
            EXPECT_GE(64, block->count);
            Ids ids;
            for (std::int32_t i = 0; i < block->count; ++i) {
                ids.push_back(block->members[i].id);
                EXPECT_EQ(findHMMServer(ids.back()), block->members[i].server);
            }
            EXPECT_GE(block->maxId, ids.back());
            if (block->next == nullptr) {
                EXPECT_EQ(0x1FFFFFFF, block->maxId);
            } else {
                EXPECT_EQ(ids.back(), block->maxId);
                EXPECT_LT(block->maxId, block->next->members[0].id);
            }
            total += block->count;
            result.push_back(ids);
        }
        EXPECT_EQ(total, findHMMClass(cls)->nServers);
        return result;
    }
    static Ids range(std::int32_t from, std::int32_t to) {
        Ids ids;
        for (std::int32_t id = from; id <= to; ++id)
            ids.push_back(id);
        return ids;
    }
    void join(std::int32_t from, std::int32_t to) {
        for (std::int32_t id = from; id <= to; ++id)
            EXPECT_EQ(1, QZAddHMMToClass(cls, id));
    }
    std::int32_t next() { return nextHMMClassMember(cls); }

    const std::int32_t cls = QZCreateHMMClass();
};

TEST_F(Chains, TheSixtyFifthMemberSplitsABlock) {
    fill(70);
    join(1, 64);
    EXPECT_EQ((std::vector<Ids>{range(1, 64)}), blocks());
    join(65, 65);
    EXPECT_EQ((std::vector<Ids>{range(1, 32), range(33, 65)}), blocks());
    EXPECT_EQ(32, findHMMClass(cls)->firstBlock->maxId);
    EXPECT_EQ(range(1, 65), members(cls));
}

TEST_F(Chains, SplitsInTheMiddle) {
    fill(70);
    join(2, 65);
    join(1, 1);
    EXPECT_EQ((std::vector<Ids>{range(1, 33), range(34, 65)}), blocks());
    QZRemoveHMMFromClass(cls, 33);
    EXPECT_EQ(32, findHMMClass(cls)->firstBlock->maxId) << "follows the last pair";
    join(33, 33);
    EXPECT_EQ((std::vector<Ids>{range(1, 32), range(33, 65)}), blocks());
}

TEST_F(Chains, SplitsBetweenDistantIdentifiers) {
    fill(130);
    for (std::int32_t id = 2; id <= 128; id += 2)
        EXPECT_EQ(1, QZAddHMMToClass(cls, id));
    join(65, 65); // just behind the lower half, which ends with 64
    ASSERT_EQ(2u, blocks().size());
    EXPECT_EQ(64, findHMMClass(cls)->firstBlock->maxId);
    EXPECT_EQ(65, blocks()[1].front());
    join(63, 63);
    EXPECT_EQ(33u, blocks()[0].size());
}

TEST_F(Chains, EmptiedBlocksLeaveTheChain) {
    const FailingHeap heap;
    fill(130);
    const int withoutBlocks = heap.live();
    join(1, 130);
    ASSERT_EQ(4u, blocks().size());
    // The last block; the one before it takes over the open end.
    const std::vector<Ids> whole = blocks();
    for (const std::int32_t id : whole[3])
        EXPECT_EQ(1, QZRemoveHMMFromClass(cls, id));
    ASSERT_EQ(3u, blocks().size());
    // The middle one, then the first.
    for (const std::int32_t id : whole[1])
        EXPECT_EQ(1, QZRemoveHMMFromClass(cls, id));
    ASSERT_EQ((std::vector<Ids>{range(1, 32), range(65, 96)}), blocks());
    for (const std::int32_t id : range(1, 32))
        EXPECT_EQ(1, QZRemoveHMMFromClass(cls, id));
    EXPECT_EQ((std::vector<Ids>{range(65, 96)}), blocks());
    for (const std::int32_t id : range(65, 96))
        EXPECT_EQ(1, QZRemoveHMMFromClass(cls, id));
    EXPECT_EQ(std::vector<Ids>{}, blocks());
    EXPECT_EQ(nullptr, findHMMClass(cls)->cursorBlock);
    EXPECT_EQ(0, findHMMClass(cls)->cursorIndex);
    EXPECT_EQ(withoutBlocks, heap.live());
    join(5, 5);
    EXPECT_EQ((Ids{5}), members(cls));
}

TEST_F(Chains, NewClassesBeginWithTheFirstMember) {
    fill(3);
    EXPECT_EQ(0, next()) << "without members";
    EXPECT_EQ(HMMClass::exhausted, findHMMClass(cls)->classFlags);
    join(2, 3);
    EXPECT_EQ(0, next()) << "exhausted until the next rewind";
    EXPECT_EQ(1, rewindHMMClass(cls));
    join(1, 1);
    EXPECT_EQ(1, next());
    EXPECT_EQ(2, next());
    EXPECT_EQ(1, rewindHMMClass(cls));
    EXPECT_EQ(1, next());
    EXPECT_EQ(2, next());
    EXPECT_EQ(3, next());
    EXPECT_EQ(0, next());
    EXPECT_EQ(0, next());
}

TEST_F(Chains, NewClassesBeginWithTheFirstMemberWhereverItCameFrom) {
    fill(70);
    for (std::int32_t id = 70; id > 0; --id)
        EXPECT_EQ(1, QZAddHMMToClass(cls, id));
    ASSERT_EQ(2u, blocks().size());
    for (std::int32_t id = 1; id <= 70; ++id)
        ASSERT_EQ(id, next());
    EXPECT_EQ(0, next());
}

TEST_F(Chains, TheCursorFollowsAMemberThatMovesToANewBlock) {
    for (const std::int32_t current : {32, 33, 34}) {
        fill(70);
        join(1, 64);
        EXPECT_EQ(1, rewindHMMClass(cls));
        for (std::int32_t id = 1; id <= current; ++id)
            ASSERT_EQ(id, next());
        join(65, 65);
        const HMMClass &record = *findHMMClass(cls);
        EXPECT_EQ(current == 32 ? record.firstBlock : record.firstBlock->next, record.cursorBlock);
        EXPECT_EQ(current == 32 ? 31 : current - 33, record.cursorIndex);
        for (std::int32_t id = current + 1; id <= 65; ++id)
            ASSERT_EQ(id, next());
        EXPECT_EQ(0, next());
        for (std::int32_t id = 1; id <= 70; ++id)
            QZFreeHMMServer(id);
    }
}

TEST_F(Chains, TheCursorKeepsItsPlace) {
    fill(10);
    join(2, 9);
    rewindHMMClass(cls);
    EXPECT_EQ(2, next());
    EXPECT_EQ(3, next());
    EXPECT_EQ(4, next());
    join(1, 1); // in front
    EXPECT_EQ(5, next());
    QZRemoveHMMFromClass(cls, 5); // the current one
    EXPECT_EQ(6, next());
    QZRemoveHMMFromClass(cls, 2); // in front
    QZRemoveHMMFromClass(cls, 7); // the next one
    EXPECT_EQ(8, next());
    join(10, 10);
    EXPECT_EQ(9, next());
    EXPECT_EQ(10, next());
    EXPECT_EQ(0, next());
}

TEST_F(Chains, RemovingTheFirstMemberUnderTheCursor) {
    fill(3);
    join(1, 3);
    rewindHMMClass(cls);
    EXPECT_EQ(1, next());
    QZRemoveHMMFromClass(cls, 1);
    EXPECT_EQ(2, next());
    QZRemoveHMMFromClass(cls, 2);
    QZRemoveHMMFromClass(cls, 3);
    join(3, 3);
    EXPECT_EQ(3, next());
    EXPECT_EQ(0, next());
}

TEST_F(Chains, TheCursorCrossesAndFollowsBlocks) {
    fill(70);
    join(2, 65);
    rewindHMMClass(cls);
    for (std::int32_t id = 2; id <= 40; ++id)
        ASSERT_EQ(id, next());
    join(1, 1); // splits: the cursor moves to the new block
    EXPECT_EQ(findHMMClass(cls)->firstBlock->next, findHMMClass(cls)->cursorBlock);
    for (std::int32_t id = 41; id <= 65; ++id)
        ASSERT_EQ(id, next());
    rewindHMMClass(cls);
    for (std::int32_t id = 1; id <= 34; ++id)
        ASSERT_EQ(id, next());
    QZRemoveHMMFromClass(cls, 34); // first of its block: back to the end of the one before
    EXPECT_EQ(findHMMClass(cls)->firstBlock, findHMMClass(cls)->cursorBlock);
    EXPECT_EQ(32, findHMMClass(cls)->cursorIndex) << "its last member, 33";
    EXPECT_EQ(35, next());
}

TEST_F(Chains, IdentifiersFromTheOpenEndOn) {
    // Nothing but the order of the list keeps servers from such identifiers.
    fill(3);
    constexpr std::int32_t beyond = HMMClassBlock::unbounded + 1;
    findHMMServer(3)->id = beyond;
    findHMMServer(2)->id = HMMClassBlock::unbounded;
    join(1, 1);
    join(beyond, beyond);
    const HMMClassBlock &block = *findHMMClass(cls)->firstBlock;
    EXPECT_EQ(beyond, block.maxId);
    EXPECT_EQ((Ids{1, beyond}), members(cls));
    EXPECT_EQ(1, QZRemoveHMMFromClass(cls, beyond));
    EXPECT_EQ(1, block.maxId);
    join(HMMClassBlock::unbounded, HMMClassBlock::unbounded);
    EXPECT_EQ(HMMClassBlock::unbounded, block.maxId);
    EXPECT_EQ(1, QZRemoveHMMFromClass(cls, HMMClassBlock::unbounded));
    EXPECT_EQ(HMMClassBlock::unbounded, block.maxId) << "the chain stays open";
    EXPECT_EQ((Ids{1}), members(cls));
}

TEST_F(Chains, ServersWithoutTablesHaveNoKind) {
    {
        const FailingHeap heap(1);
        EXPECT_EQ(1, add());
    }
    join(1, 1);
    EXPECT_EQ(HMMClass::restart, findHMMClass(cls)->classFlags);
    EXPECT_EQ(2, addWords());
    join(2, 2);
    EXPECT_EQ(HMMClass::restart | QZ_HMM16 | QZ_HMMDiscrete, findHMMClass(cls)->classFlags);
    EXPECT_EQ(3, add());
    {
        const FailingHeap heap(1);
        EXPECT_EQ(4, add());
    }
    EXPECT_EQ(-1, QZAddHMMToClass(cls, 3));
    EXPECT_EQ(-1, QZAddHMMToClass(cls, 4));
    EXPECT_EQ((Reports{wrongClass, wrongClass}), reports.all());
    EXPECT_EQ((Ids{1, 2}), members(cls));
}

TYPED_TEST(Packing, EveryFailedAllocationOfAServer) {
    for (int kind = 0; kind < 3; ++kind) {
        // Record, transitions, outputs where there are any, initial vector, mixtures where there are any.
        const int outputs = kind == 1 ? -1 : 2, initial = kind == 1 ? 2 : 3,
                  copy = kind == 0 ? -1 : initial + 1;
        const int last = copy > 0 ? copy : initial;
        for (int failAt = 0; failAt <= last + 1; ++failAt) {
            FailingHeap heap(failAt);
            const std::int32_t id = makeKind<TypeParam>(kind);
            EXPECT_TRUE(this->reports.all().empty());
            SCOPED_TRACE(testing::Message() << "kind " << kind << ", request " << failAt);
            EXPECT_EQ(failAt == 0 || failAt == copy ? -1 : 1, id);
            ASSERT_EQ(failAt == 0 ? 0 : 1, hmmServers.count) << "registered all the same";
            if (failAt > 0) {
                const HMMServer &server = *hmmServers.first();
                EXPECT_EQ(failAt > 1, server.transitions != nullptr);
                EXPECT_EQ(kind != 1 && failAt > outputs, server.outputs != nullptr);
                EXPECT_EQ(failAt > initial, server.initial != nullptr);
                EXPECT_EQ(copy > 0 && failAt != copy, server.mixtures != nullptr);
                EXPECT_EQ(failAt > initial ? 3 : 0, server.nStates) << "stored only if everything was packed";
                EXPECT_EQ(failAt > initial, server.flavor != 0);
            }
            QZHMMFreeAll();
            EXPECT_EQ(0, heap.live());
        }
    }
}

TEST_F(Models, BlocksOfAServerAreFreedInOrder) {
    FailingHeap heap;
    const std::int32_t id = makeKind<float>(2);
    const HMMServer server = *findHMMServer(id);
    const void *const record = findHMMServer(id);
    const std::size_t made = heap.events().size();
    QZFreeHMMServer(id);
    std::vector<const void *> freed;
    for (std::size_t i = made; i < heap.events().size(); ++i)
        freed.push_back(heap.events()[i].block);
    EXPECT_EQ((std::vector<const void *>{server.mixtures, server.transitions, server.outputs, server.initial,
                                         record}),
              freed);
}

TEST_F(Models, TheBufferOfAServerIsFreedWithIt) {
    FailingHeap heap;
    findHMMServer(add())->buffer = allocate(8);
    QZHMMFreeAll();
    EXPECT_EQ(0, heap.live());
}

TEST_F(Chains, FailedAllocationsOfAClass) {
    {
        const FailingHeap heap(0);
        EXPECT_EQ(-1, QZCreateHMMClass());
        EXPECT_EQ(1, heap.requests());
    }
    fill(70);
    {
        const FailingHeap heap(0);
        EXPECT_EQ(-1, QZAddHMMToClass(cls, 1));
    }
    EXPECT_EQ(0, findHMMClass(cls)->nServers);
    EXPECT_EQ(-1, QZAddHMMToClass(cls, addWords())) << "the kind was settled before";
    EXPECT_EQ(Reports{wrongClass}, reports.all());
    join(1, 64);
    rewindHMMClass(cls);
    EXPECT_EQ(1, next());
    {
        const FailingHeap heap(0);
        EXPECT_EQ(-1, QZAddHMMToClass(cls, 65));
        EXPECT_EQ(1, QZAddHMMToClass(cls, 64)) << "a member needs nothing";
    }
    EXPECT_EQ((std::vector<Ids>{range(1, 64)}), blocks());
    EXPECT_EQ(2, next());
}

TEST_F(Models, FreeAllLeavesNothing) {
    FailingHeap heap;
    const std::int32_t cls = QZCreateHMMClass(), other = QZCreateHMMClass();
    for (int i = 0; i < 70; ++i)
        QZAddHMMToClass(cls, add());
    QZAddHMMToClass(other, addWords());
    for (int kind = 0; kind < 3; ++kind)
        makeKind<float>(kind);
    QZHMMFreeAll();
    EXPECT_EQ(0, heap.live());
    EXPECT_EQ(nullptr, findHMMClass(cls));
    QZHMMFreeAll();
    EXPECT_EQ(1, add());
    EXPECT_EQ(1, QZCreateHMMClass());
}

} // namespace
} // namespace qzk::test
