// What the digests rest on: the hash against the examples of its standard, and the inputs as numbers.
#include "digest/generator.hpp"
#include "digest/sha256.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace qzk::digest {
namespace {

std::string sha256(const std::string &message, std::size_t step) {
    Sha256 hash;
    for (std::size_t i = 0; i < message.size(); i += step)
        hash.add(message.data() + i, std::min(step, message.size() - i));
    return hash.finish();
}

TEST(Sha256, GivesTheDigestsOfTheStandardHoweverTheMessageIsParted) {
    const struct {
        std::string message, digest;
    } examples[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrs"
         "mnopqrstnopqrstu",
         "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto &[message, digest] : examples)
        for (const std::size_t step : {1u, 7u, 63u, 64u, 65u, 1000u, 1000000u})
            EXPECT_EQ(sha256(message, step), digest) << message.size() << " in steps of " << step;
}

// The digests of every machine begin with these.
TEST(Generator, DrawsTheSameNumbersEverywhere) {
    Generator random("QZybAdd2");
    EXPECT_EQ(random.bits(), 12315897388347684861u);
    EXPECT_EQ(random.between(-5, 5), -2);
    EXPECT_EQ(random.elements<std::int16_t>(3, Kind::wide), (std::vector<std::int16_t>{365, 10212, -32768}));
    EXPECT_EQ(random.elements<float>(3, Kind::small), (std::vector<float>{-0.75f, 0, -3.25f}));
    EXPECT_EQ(random.elements<double>(2, Kind::ordinary),
              (std::vector<double>{-0x1.20fc5d4faf84dp-5, -0x1.195aab312e89fp-4}));
}

} // namespace
} // namespace qzk::digest
