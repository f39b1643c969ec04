// The members of a class against a set, with its cursor in use while servers come and go.
#include "common/hmm.hpp"
#include "qzk.h"
#include "support/hmm.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <vector>

namespace qzk::test {
namespace {

constexpr std::int32_t nServers = 200;

class Membership : public testing::Test {
protected:
    Membership() {
        const Matrix<float> m(1, 1, 0.5f);
        for (std::int32_t i = 0; i < nServers; ++i)
            QZsInitHMMServer(m.rows(), m.rows(), m[0].data(), 1, 1, 0);
    }
    ~Membership() override { QZHMMFreeAll(); }

    void expectChain() const {
        std::vector<std::int32_t> ids;
        for (const HMMClassBlock *block = findHMMClass(cls)->firstBlock; block != nullptr;
             block = block->next) {
            ASSERT_LT(0, block->count);
            for (std::int32_t i = 0; i < block->count; ++i) {
                ids.push_back(block->members[i].id);
                ASSERT_EQ(findHMMServer(ids.back()), block->members[i].server);
                ASSERT_LE(ids.back(), block->maxId);
            }
            ASSERT_EQ(block->next == nullptr ? HMMClassBlock::unbounded : ids.back(), block->maxId);
        }
        ASSERT_EQ(std::vector<std::int32_t>(members.begin(), members.end()), ids) << "seed " << seed();
        ASSERT_EQ(static_cast<std::int32_t>(ids.size()), findHMMClass(cls)->nServers);
    }

    /// What the iteration has to give next: the first member behind the last one given.
    std::int32_t expectedNext() {
        if (exhausted) return 0;
        const auto next = members.upper_bound(last);
        exhausted = next == members.end();
        if (exhausted) return 0;
        return last = *next;
    }

    /// Leaving the last one given takes the iteration back to the member before it, or to its beginning.
    void erase(std::int32_t id) {
        const auto found = members.find(id);
        if (found == members.end()) return;
        if (id == last) last = found == members.begin() ? 0 : *std::prev(found);
        members.erase(found);
    }

    Random random;
    const std::int32_t cls = QZCreateHMMClass();
    std::set<std::int32_t> members;
    std::int32_t last = 0; // 0: the iteration begins
    bool exhausted = false;
};

TEST_F(Membership, FollowsASet) {
    for (int round = 0; round < 40000; ++round) {
        const auto id = static_cast<std::int32_t>(random.integer(1, nServers));
        // Phases of growth and of shrinking, so that blocks are split and emptied.
        const bool grows = round / 2000 % 2 == 0;
        switch (random.index(8)) {
        case 0:
            ASSERT_EQ(1, rewindHMMClass(cls));
            last = 0;
            exhausted = false;
            break;
        case 1:
        case 2:
        case 3:
            ASSERT_EQ(expectedNext(), nextHMMClassMember(cls)) << round << ", seed " << seed();
            break;
        case 4:
        case 5:
        case 6:
            if (grows == (random.index(4) != 0)) {
                ASSERT_EQ(1, QZAddHMMToClass(cls, id));
                members.insert(id);
            } else {
                ASSERT_EQ(1, QZRemoveHMMFromClass(cls, id));
                erase(id);
            }
            break;
        default:
            if (random.index(16) != 0) break;
            // A server that is freed and made again is the same identifier without memberships.
            QZFreeHMMServer(id);
            erase(id);
            const Matrix<float> m(1, 1, 0.5f);
            ASSERT_EQ(id, QZsInitHMMServer(m.rows(), m.rows(), m[0].data(), 1, 1, 0));
        }
        if (round % 16 == 0) expectChain();
    }
}

TEST_F(Membership, ServersInRandomOrder) {
    std::vector<std::int32_t> order(nServers);
    for (int round = 0; round < 20; ++round) {
        for (std::int32_t i = 0; i < nServers; ++i)
            order[static_cast<std::size_t>(i)] = i + 1;
        for (std::size_t i = order.size(); i > 1; --i)
            std::swap(order[i - 1], order[random.index(i)]);
        for (const std::int32_t id : order) {
            ASSERT_EQ(1, QZAddHMMToClass(cls, id));
            members.insert(id);
        }
        expectChain();
        rewindHMMClass(cls);
        for (std::int32_t id = 1; id <= nServers; ++id)
            ASSERT_EQ(id, nextHMMClassMember(cls));
        ASSERT_EQ(0, nextHMMClassMember(cls));
        std::reverse(order.begin(), order.end());
        for (const std::int32_t id : order) {
            ASSERT_EQ(1, QZRemoveHMMFromClass(cls, id));
            members.erase(id);
        }
        expectChain();
    }
}

} // namespace
} // namespace qzk::test
