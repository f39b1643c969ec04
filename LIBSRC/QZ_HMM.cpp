// Servers of hidden Markov models and classes of them.
#include "common/hmm.hpp"
#include "common/hmm_layout.hpp"
#include "common/memory.hpp"
#include "common/report.hpp"
#include "qzk.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qzk {

constinit Registry<HMMServer> hmmServers;
constinit Registry<HMMClass> hmmClasses;
constinit HMMServer *hmmServerHint = &hmmServers.sentinel;

namespace {

constexpr Reporter report("..\\LIBSRC\\QZ_HMM");

template <class Record>
Record *find(Registry<Record> &registry, std::int32_t id) {
    Record *record = registry.first();
    while (!registry.isEnd(record) && record->id < id)
        record = record->next;
    return !registry.isEnd(record) && record->id == id ? record : nullptr;
}

/// The last record from `from` on before a gap in the identifiers.
template <class Record>
Record *endOfRun(Record *from) {
    while (from->next->id == from->id + 1)
        from = from->next;
    return from;
}

template <class Record>
void insertAfter(Registry<Record> &registry, Record *place, Record *record) {
    record->id = place->id + 1;
    record->prev = place;
    record->next = place->next;
    place->next->prev = record;
    place->next = record;
    ++registry.count;
}

template <class Record>
void unlink(Registry<Record> &registry, Record *record) {
    record->prev->next = record->next;
    record->next->prev = record->prev;
    --registry.count;
}

template <class Record>
Record *allocateRecord() {
    return static_cast<Record *>(allocateZeroed(sizeof(Record)));
}

/// A new record with an identifier and nothing else, or null.
HMMServer *registerServer() {
    auto *const server = allocateRecord<HMMServer>();
    if (server == nullptr) return nullptr;
    insertAfter(hmmServers, hmmServerHint, server);
    hmmServerHint = endOfRun(hmmServerHint);
    return server;
}

struct Numbers {
    std::int32_t nStates, nSymbols, flavor;
};

/// A block that stays unless it no longer fits; false without memory.
bool provide(void *&block, bool fits, std::size_t bytes) {
    if (!fits) release(std::exchange(block, nullptr));
    if (block == nullptr) block = allocateZeroed(bytes);
    return block != nullptr;
}

template <class Element>
bool storeTransitions(HMMServer &server, Rows<Element> a, Numbers &numbers, bool sameSize) {
    const std::int64_t n = numbers.nStates;
    const std::int32_t topology = topologyOf<Element>(a, n, numbers.flavor);
    if (!provide(server.transitions, sameSize && (server.flavor & hmmTopologies) == topology,
                 transitionBlockBytes<Element>(topology, n)))
        return false;
    packTransitions<Element>(server.transitions, a, n, topology, numbers.flavor);
    packLanes<Element>(transitionLanes<Element>(server.transitions, topology, n), a, n, topology);
    numbers.flavor = (numbers.flavor & ~hmmTopologies) | topology;
    return true;
}

template <class Element>
bool storeOutputs(HMMServer &server, Rows<Element> b, const Numbers &numbers, bool sameSize) {
    const OutputLayout<Element> layout = {(numbers.flavor & QZ_HMMDiscrete) != 0, numbers.nStates,
                                          numbers.nSymbols};
    if (!provide(server.outputs, sameSize && numbers.nSymbols == server.nSymbols, layout.blockBytes()))
        return false;
    packOutputs<Element>(server.outputs, b, layout, numbers.flavor);
    return true;
}

template <class Element>
bool storeInitial(HMMServer &server, const Element *pi, const Numbers &numbers, bool sameSize) {
    if (!provide(server.initial, sameSize, initialBlockBytes<Element>(numbers.nStates))) return false;
    packInitial<Element>(server.initial, pi, numbers.nStates, numbers.flavor);
    return true;
}

template <class Element>
void storeParameters(HMMServer &server, const HMMParameters &tables, Numbers numbers) {
    constexpr std::int32_t kind = hmmElements | hmmModels;
    const bool sameSize = numbers.nStates == server.nStates && ((numbers.flavor ^ server.flavor) & kind) == 0;
    const auto *const a = reinterpret_cast<Rows<Element>>(tables.a);
    const auto *const b = reinterpret_cast<Rows<Element>>(tables.b);
    const auto *const pi = static_cast<const Element *>(tables.pi);
    if (a != nullptr && !storeTransitions<Element>(server, a, numbers, sameSize)) return;
    if (b != nullptr && (numbers.flavor & (QZ_HMMDiscrete | QZ_HMMSemicont)) != 0 &&
        !storeOutputs<Element>(server, b, numbers, sameSize))
        return;
    if (pi != nullptr && !storeInitial<Element>(server, pi, numbers, sameSize)) return;
    server.nStates = numbers.nStates;
    server.nSymbols = numbers.nSymbols;
    server.flavor = numbers.flavor;
}

void fail(std::int32_t status, const char *message, std::int32_t line) {
    report(status, "QZSetHMMServerParm", message, line);
}

/// What a client gives for a new server.
struct NewModel {
    const void *a, *b, *pi;
    std::int32_t nStates, nSymbols, flavor;
    // Continuous and semicontinuous:
    const void *mixtures = nullptr;
    std::int32_t nMixtures = 0, dim = 0, scale = 0;
};

bool copyMixtures(HMMServer &server, const NewModel &model) {
    const std::size_t bytes = arrayBytes(model.nMixtures, sizeof(void *));
    server.mixtures = allocate(bytes);
    if (server.mixtures == nullptr) return false;
    if (bytes != 0) std::memcpy(server.mixtures, model.mixtures, bytes);
    server.dim = model.dim;
    server.scale = model.scale;
    return true;
}

std::int32_t initServer(const NewModel &model) {
    HMMServer *const server = registerServer();
    if (server == nullptr) return -1;
    const std::int32_t id = server->id;
    QZSetHMMServerParm(
        id, {static_cast<const void *const *>(model.a), static_cast<const void *const *>(model.b), model.pi},
        model.nStates, model.nSymbols, model.flavor);
    // kept: without memory for the mixtures the server stays registered.
    if ((model.flavor & QZ_HMMDiscrete) == 0 && !copyMixtures(*server, model)) return -1;
    // kept: also when the status was negative before; callers see the identifier and check the status.
    if (QZGetStatus() < 0) QZFreeHMMServer(id);
    return id;
}

/// The block that an identifier belongs to, in a class that has members; `previous` becomes the one before.
HMMClassBlock *blockOf(const HMMClass &cls, std::int32_t serverId, HMMClassBlock *&previous) {
    previous = nullptr;
    HMMClassBlock *block = cls.firstBlock;
    while (block->maxId < serverId && block->next != nullptr) {
        previous = block;
        block = block->next;
    }
    return block;
}

/// Index of the first member whose identifier is not below `serverId`.
std::int32_t indexOf(const HMMClassBlock &block, std::int32_t serverId) {
    const auto *const end = block.members + block.count;
    const auto *const found =
        std::lower_bound(block.members, end, serverId,
                         [](const HMMClassBlock::Member &m, std::int32_t id) { return m.id < id; });
    return static_cast<std::int32_t>(found - block.members);
}

bool isMember(const HMMClassBlock &block, std::int32_t index, std::int32_t serverId) {
    return index < block.count && block.members[index].id == serverId;
}

HMMClassBlock *newBlock(const HMMClass &cls, HMMClassBlock *next, std::int32_t maxId) {
    auto *const block = allocateRecord<HMMClassBlock>();
    if (block == nullptr) return nullptr;
    block->classId = cls.id;
    block->next = next;
    block->maxId = maxId;
    return block;
}

/// Moves the upper half of a full block into a new one behind it; false without memory.
bool split(HMMClass &cls, HMMClassBlock *block) {
    constexpr std::int32_t half = HMMClassBlock::capacity / 2;
    HMMClassBlock *const upper = newBlock(cls, block->next, block->maxId);
    if (upper == nullptr) return false;
    std::copy_n(block->members + half, half, upper->members);
    upper->count = block->count = half;
    block->next = upper;
    block->maxId = block->members[half - 1].id;
    if (cls.cursorBlock == block && cls.cursorIndex >= half) {
        cls.cursorBlock = upper;
        cls.cursorIndex -= half;
    }
    return true;
}

void insertMember(HMMClass &cls, HMMClassBlock *block, HMMServer *server) {
    const std::int32_t index = indexOf(*block, server->id);
    std::copy_backward(block->members + index, block->members + block->count,
                       block->members + block->count + 1);
    block->members[index] = {server->id, server};
    ++block->count;
    ++cls.nServers;
    block->maxId = std::max(block->maxId, server->id);
    if (cls.cursorBlock == block && cls.cursorIndex >= index) ++cls.cursorIndex;
}

void restart(HMMClass &cls) {
    cls.classFlags |= HMMClass::restart;
    cls.cursorBlock = cls.firstBlock;
    cls.cursorIndex = 0;
}

/// Steps the cursor back where the member at `index` leaves, so that the same member comes next.
void keepCursor(HMMClass &cls, HMMClassBlock *block, HMMClassBlock *previous, std::int32_t index) {
    if (cls.cursorBlock != block || cls.cursorIndex < index) return;
    if (cls.cursorIndex > 0) {
        --cls.cursorIndex;
    } else if (previous != nullptr) {
        cls.cursorBlock = previous;
        cls.cursorIndex = previous->count - 1;
    } else {
        restart(cls);
    }
}

void removeBlock(HMMClass &cls, HMMClassBlock *block, HMMClassBlock *previous) {
    if (previous != nullptr) {
        previous->next = block->next;
        if (block->maxId == HMMClassBlock::unbounded) previous->maxId = HMMClassBlock::unbounded;
    } else {
        cls.firstBlock = block->next;
        if (cls.cursorBlock == block) cls.cursorBlock = cls.firstBlock;
    }
    release(block);
}

void removeMember(HMMClass &cls, HMMClassBlock *block, HMMClassBlock *previous, std::int32_t index) {
    const std::int32_t id = block->members[index].id;
    std::copy(block->members + index + 1, block->members + block->count, block->members + index);
    --block->count;
    --cls.nServers;
    keepCursor(cls, block, previous, index);
    if (block->count == 0)
        removeBlock(cls, block, previous);
    else if (block->maxId == id && id != HMMClassBlock::unbounded)
        block->maxId = block->members[block->count - 1].id;
}

void releaseClass(HMMClass *cls) {
    for (HMMClassBlock *block = cls->firstBlock; block != nullptr;) {
        HMMClassBlock *const next = block->next;
        release(block);
        block = next;
    }
    release(cls);
}

template <class T>
void storeIf(T *output, T value) {
    if (output != nullptr) *output = value;
}

} // namespace

HMMServer *findHMMServer(std::int32_t id) { return find(hmmServers, id); }
HMMClass *findHMMClass(std::int32_t id) { return find(hmmClasses, id); }

void QZSetHMMServerParm(std::int32_t id, const HMMParameters &tables, std::int32_t nStates,
                        std::int32_t nSymbols, std::int32_t flavor) {
    HMMServer *const server = findHMMServer(id);
    if (server == nullptr) return;
    if (flavor < 0) flavor = server->flavor;
    const bool needsOutputs = (flavor & QZ_HMMCont) == 0;
    if (nStates >= 0 &&
        (tables.a == nullptr || tables.pi == nullptr || (needsOutputs && tables.b == nullptr)))
        return fail(QZ_StsBadArg, "change HMM nStates without data", 433);
    if (nSymbols >= 0 && tables.b == nullptr)
        return fail(QZ_StsBadArg, "change HMM nSymbols without data", 441);
    if ((flavor & hmmElements) == 0) return fail(QZ_StsError, "wrong HMM flavor", 451);

    if (tables.a == nullptr) flavor = (flavor & ~hmmTopologies) | (server->flavor & hmmTopologies);
    const Numbers numbers = {nStates >= 0 ? nStates : server->nStates,
                             nSymbols >= 0 ? nSymbols : server->nSymbols, flavor};
    if ((flavor & QZ_HMM16) != 0)
        storeParameters<std::int16_t>(*server, tables, numbers);
    else
        storeParameters<float>(*server, tables, numbers);
}

void QZGetHMMServerParm(std::int32_t id, std::int32_t *unnamed, void **transitions, void **outputs,
                        void **initial, std::int32_t *nStates, std::int32_t *nSymbols, std::int32_t *flavor) {
    const HMMServer *found = findHMMServer(id);
    const HMMServer none = {};
    const HMMServer &server = found != nullptr ? *found : none;
    storeIf(unnamed, server.unnamed);
    storeIf(transitions, server.transitions);
    storeIf(outputs, server.outputs);
    storeIf(initial, server.initial);
    storeIf(nStates, server.nStates);
    storeIf(nSymbols, server.nSymbols);
    storeIf(flavor, server.flavor);
}

std::int32_t rewindHMMClass(std::int32_t classId) {
    HMMClass *const cls = findHMMClass(classId);
    if (cls == nullptr) return -1;
    cls->classFlags &= ~HMMClass::exhausted;
    restart(*cls);
    return 1;
}

std::int32_t nextHMMClassMember(std::int32_t classId) {
    HMMClass *const cls = findHMMClass(classId);
    if (cls == nullptr) return -1;
    if ((cls->classFlags & HMMClass::exhausted) != 0) return 0;
    HMMClassBlock *block = cls->cursorBlock;
    std::int32_t index = cls->cursorIndex + 1;
    if ((cls->classFlags & HMMClass::restart) != 0) {
        cls->classFlags &= ~HMMClass::restart;
        block = cls->firstBlock;
        index = 0;
    } else if (block != nullptr && index >= block->count) {
        block = block->next;
        index = 0;
    }
    if (block == nullptr) {
        cls->classFlags |= HMMClass::exhausted;
        return 0;
    }
    cls->cursorBlock = block;
    cls->cursorIndex = index;
    return block->members[index].id;
}

} // namespace qzk

using namespace qzk;

extern "C" {

int32_t QZsInitHMMServer(const float *const *a, const float *const *b, const float *pi, int32_t nStates,
                         int32_t nSymbols, int32_t options) {
    return initServer({a, b, pi, nStates, nSymbols, QZ_HMMFloat | QZ_HMMDiscrete | (options & QZ_HMMCost)});
}

int32_t QZwInitHMMServer(const int16_t *const *a, const int16_t *const *b, const int16_t *pi, int32_t nStates,
                         int32_t nSymbols, int32_t options) {
    return initServer({a, b, pi, nStates, nSymbols, QZ_HMM16 | QZ_HMMDiscrete | (options & QZ_HMMCost)});
}

int32_t QZsInitContHMMServer(const float *const *a, const float *pi, QZsGaussMixServer *const *mixtures,
                             int32_t nStates, int32_t dim, int32_t options) {
    return initServer({a, nullptr, pi, nStates, -1, QZ_HMMFloat | QZ_HMMCont | (options & QZ_HMMCost),
                       mixtures, nStates, dim});
}

int32_t QZwInitContHMMServer(const int16_t *const *a, const int16_t *pi, QZwGaussMixServer *const *mixtures,
                             int32_t nStates, int32_t dim, int32_t options, int32_t scale) {
    return initServer({a, nullptr, pi, nStates, -1, QZ_HMM16 | QZ_HMMCont | (options & QZ_HMMCost), mixtures,
                       nStates, dim, scale});
}

int32_t QZsInitSemicontHMMServer(const float *const *a, const float *const *b, const float *pi,
                                 QZsGaussMixServer *const *codebook, int32_t nStates, int32_t nSymbols,
                                 int32_t dim, int32_t options) {
    return initServer({a, b, pi, nStates, nSymbols, QZ_HMMFloat | QZ_HMMSemicont | (options & QZ_HMMCost),
                       codebook, nSymbols, dim});
}

int32_t QZwInitSemicontHMMServer(const int16_t *const *a, const int16_t *const *b, const int16_t *pi,
                                 QZwGaussMixServer *const *codebook, int32_t nStates, int32_t nSymbols,
                                 int32_t dim, int32_t options, int32_t scale) {
    return initServer({a, b, pi, nStates, nSymbols, QZ_HMM16 | QZ_HMMSemicont | (options & QZ_HMMCost),
                       codebook, nSymbols, dim, scale});
}

void QZFreeHMMServer(int32_t id) {
    HMMServer *const server = findHMMServer(id);
    if (server == nullptr) return;
    for (const HMMClass *cls = hmmClasses.first(); !hmmClasses.isEnd(cls); cls = cls->next)
        QZRemoveHMMFromClass(cls->id, id);
    unlink(hmmServers, server);
    if (id <= hmmServerHint->id) hmmServerHint = server->prev;
    for (void *const block :
         {server->mixtures, server->transitions, server->outputs, server->initial, server->buffer})
        release(block);
    release(server);
}

int32_t QZCreateHMMClass(void) {
    auto *const cls = allocateRecord<HMMClass>();
    if (cls == nullptr) return -1;
    insertAfter(hmmClasses, endOfRun(&hmmClasses.sentinel), cls);
    cls->classFlags = HMMClass::restart;
    return cls->id;
}

int32_t QZDeleteHMMClass(int32_t classId) {
    HMMClass *const cls = findHMMClass(classId);
    if (cls == nullptr) return -1;
    unlink(hmmClasses, cls);
    releaseClass(cls);
    return 1;
}

int32_t QZAddHMMToClass(int32_t classId, int32_t serverId) {
    HMMClass *const cls = findHMMClass(classId);
    HMMServer *const server = findHMMServer(serverId);
    if (cls == nullptr || server == nullptr) return -1;
    const auto wanted = static_cast<uint32_t>(server->flavor & classCompatibility);
    const auto present = cls->classFlags & static_cast<uint32_t>(classCompatibility);
    if (present == 0) {
        cls->classFlags |= wanted;
    } else if (present != wanted) {
        report(QZ_StsBadArg, "QZAddHMMToClass", "wrong class for HMM server", 1457);
        return -1;
    }

    if (cls->nServers == 0) {
        HMMClassBlock *const first = newBlock(*cls, nullptr, HMMClassBlock::unbounded);
        if (first == nullptr) return -1;
        first->members[first->count++] = {serverId, server};
        cls->firstBlock = cls->cursorBlock = first;
        cls->cursorIndex = 0;
        cls->nServers = 1;
        return 1;
    }
    HMMClassBlock *previous;
    HMMClassBlock *block = blockOf(*cls, serverId, previous);
    if (isMember(*block, indexOf(*block, serverId), serverId)) return 1;
    if (block->count == HMMClassBlock::capacity) {
        if (!split(*cls, block)) return -1;
        if (serverId > block->maxId) block = block->next;
    }
    insertMember(*cls, block, server);
    return 1;
}

int32_t QZRemoveHMMFromClass(int32_t classId, int32_t serverId) {
    HMMClass *const cls = findHMMClass(classId);
    if (cls == nullptr || findHMMServer(serverId) == nullptr) return -1;
    if (cls->nServers == 0) return 1;
    HMMClassBlock *previous;
    HMMClassBlock *const block = blockOf(*cls, serverId, previous);
    const int32_t index = indexOf(*block, serverId);
    if (isMember(*block, index, serverId)) removeMember(*cls, block, previous, index);
    return 1;
}

void QZHMMFreeAll(void) {
    while (!hmmClasses.isEnd(hmmClasses.first()))
        QZDeleteHMMClass(hmmClasses.first()->id);
    while (!hmmServers.isEnd(hmmServers.first()))
        QZFreeHMMServer(hmmServers.first()->id);
}

} // extern "C"
