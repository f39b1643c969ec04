// Hidden Markov models: their records, the packed tables that the evaluation walks, and the registries.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk {

/// Bits of a server's flavor, beside the client's QZ_HMMCost.
constexpr std::int32_t QZ_HMM16 = 0x10;
constexpr std::int32_t QZ_HMMFloat = 0x20;
constexpr std::int32_t QZ_HMMLeftRight = 0x1000;
constexpr std::int32_t QZ_HMMBakis = 0x2000;
constexpr std::int32_t QZ_HMMSemicont = 0x200000;
constexpr std::int32_t QZ_HMMCont = 0x400000;
constexpr std::int32_t QZ_HMMDiscrete = 0x800000;

/// What all servers of a class have in common.
constexpr std::int32_t classCompatibility = 0xE000F3;
constexpr std::int32_t hmmElements = QZ_HMM16 | QZ_HMMFloat;
constexpr std::int32_t hmmModels = QZ_HMMDiscrete | QZ_HMMCont | QZ_HMMSemicont;
constexpr std::int32_t hmmTopologies = QZ_HMMLeftRight | QZ_HMMBakis;

struct HMMServer {
    std::int32_t id;
    std::int32_t unnamed; // always 0
    std::int32_t nStates;
    std::int32_t nSymbols; // discrete: alphabet; semicontinuous: codebook
    void *transitions;     // blocks; packedData() tells where their data begin
    void *outputs;
    void *initial;
    HMMServer *next, *prev;
    std::int32_t flavor;
    void *buffer;   // released with the server
    void *mixtures; // copy of the client's array: one per state (continuous) or codebook entry
    std::int32_t dim;
    std::int32_t scale; // of the output costs, 16-bit continuous and semicontinuous
};

struct HMMClassBlock {
    static constexpr std::int32_t capacity = 64;
    static constexpr std::int32_t unbounded = 0x1FFFFFFF; // maxId of the last block

    struct Member {
        std::int32_t id;
        HMMServer *server;
    };

    std::int32_t classId;
    HMMClassBlock *next;
    std::int32_t maxId; // the largest identifier that belongs here
    std::int32_t count;
    Member members[capacity]; // by identifier
};

struct HMMClass {
    static constexpr std::uint32_t restart = 0x80000000;   // the iteration begins with the first member
    static constexpr std::uint32_t exhausted = 0x40000000; // it has passed the last one

    std::int32_t id;
    std::int32_t unnamed; // always 0
    HMMClass *next, *prev;
    std::int32_t nServers;
    std::uint32_t classFlags; // compatibility bits of the members and the two above
    HMMClassBlock *firstBlock;
    HMMClassBlock *cursorBlock;
    std::int32_t cursorIndex;
};

/// A circular list ordered by identifier and closed by a sentinel with identifier 0.
template <class Record>
struct Registry {
    Record sentinel;
    std::int32_t count;

    constexpr Registry() : sentinel{}, count(0) { clear(); }
    constexpr void clear() {
        sentinel.next = sentinel.prev = &sentinel;
        count = 0;
    }
    Record *first() { return sentinel.next; }
    bool isEnd(const Record *record) const { return record == &sentinel; }
};

extern Registry<HMMServer> hmmServers;
extern Registry<HMMClass> hmmClasses;
/// Last server of the leading run of identifiers 1, 2, 3, ...; the sentinel when 1 is free.
extern HMMServer *hmmServerHint;

/// Row pointers and vectors of floats (letter s) or words (letter w), as the flavor says.
struct HMMParameters {
    const void *const *a;
    const void *const *b;
    const void *pi;
};

/// The record of an identifier, or null.
HMMServer *findHMMServer(std::int32_t id);
HMMClass *findHMMClass(std::int32_t id);

/// Stores or changes a server's parameters: a null table and a negative number leave what is there. Without
/// memory nothing but what was packed before that changes.
void QZSetHMMServerParm(std::int32_t id, const HMMParameters &tables, std::int32_t nStates,
                        std::int32_t nSymbols, std::int32_t flavor);

/// Every output may be null; an unknown identifier gives zeros.
void QZGetHMMServerParm(std::int32_t id, std::int32_t *unnamed, void **transitions, void **outputs,
                        void **initial, std::int32_t *nStates, std::int32_t *nSymbols, std::int32_t *flavor);

/// The iteration over a class begins anew: 1, or -1 for an unknown class.
std::int32_t rewindHMMClass(std::int32_t classId);
/// Identifier of the next member; 0 behind the last one, -1 for an unknown class.
std::int32_t nextHMMClassMember(std::int32_t classId);

/// Where the data of a packed block begin: words (letter w) at the first 8-byte boundary from the block's
/// fifth byte on, floats at the block's start.
template <class T>
T *packedData(void *block, std::int32_t flavor) {
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    return reinterpret_cast<T *>((flavor & QZ_HMM16) != 0 ? (address + 4 + 7) / 8 * 8 : address);
}

} // namespace qzk
