// Digests of what the library computes, one per family: equal lines mean equal results, whatever the machine.
#include "families.hpp"
#include "record.hpp"
#include "sha256.hpp"
#include "simd/kernels.hpp"
#include "support/extended_precision.hpp"
#include "support/stack.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace qzk::digest {
namespace {

constexpr Family families[] = {
    {"error", error},
    {"info", info},
    {"QZ_ALLOC", allocation},
    {"logic", logic},
    {"arithmetic", arithmetic},
    {"abs_shift", absShift},
    {"reduction", reduction},
    {"distance", distance},
    {"power2", power2},
    {"QZ_CNVRT", conversion},
    {"QZ_FFT", fourier},
    {"QZ_FFTW", fourierOfWords},
    {"QZ_WIND", windows},
    {"QZ_CEPS", cepstrum},
    {"QZ_DTW", warping},
    {"QZ_HMM", hiddenMarkovModels},
    {"QZ_GAUSS", gaussMixtures},
    {"viterbi", viterbi},
    {"quantiser", quantiser},
    {"QZ_IMAGE", image},
    {"MLPERCEP", perceptron},
    {"rotate", rotation},
    {"QZ_CONV", convolution},
};

constexpr const char *usage = "usage: digest [--level plain|sse2|avx2|avx512] [--exports] [--check FILE]\n"
                              "              [--x87 CONTROL_WORD] [--stack BYTES_PAST_A_MULTIPLE_OF_16]";

enum ExitCode { equal = 0, different = 1, badUsage = 2, noSuchLevel = 77 };

struct Options {
    std::optional<simd::Level> level; // none: all there are
    bool exports = false;
    const char *golden = nullptr;
    std::optional<std::uint16_t> x87; // none: as the process starts
    unsigned stack = 0;
};

std::optional<simd::Level> levelNamed(const char *name) {
    for (const simd::Level level :
         {simd::Level::plain, simd::Level::sse2, simd::Level::avx2, simd::Level::avx512})
        if (std::strcmp(name, simd::levelName(level)) == 0) return level;
    return std::nullopt;
}

std::optional<Options> optionsOf(int argc, char **argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--exports") {
            options.exports = true;
        } else if (option == "--level" && i + 1 < argc) {
            options.level = levelNamed(argv[++i]);
            if (!options.level) return std::nullopt;
        } else if (option == "--check" && i + 1 < argc) {
            options.golden = argv[++i];
        } else if (option == "--x87" && i + 1 < argc) {
            options.x87 = static_cast<std::uint16_t>(std::strtoul(argv[++i], nullptr, 16));
        } else if (option == "--stack" && i + 1 < argc) {
            options.stack = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
        } else {
            return std::nullopt;
        }
    }
    return options;
}

struct FamilyDigest {
    std::string name, digest;
    ExportDigests exports;
};

/// Records a family as a client with these settings of the processor would call it; ends the process where
/// the control word is another one afterwards.
ExportDigests recordUnder(const Options &options, const Family &family) {
    ExportDigests exports;
#if defined(__x86_64__) || defined(__i386__)
    const std::uint16_t initial = test::controlWord(), chosen = options.x87.value_or(initial);
    test::setControlWord(chosen);
    test::withStackAt(options.stack, [&] { exports = record(family.exercise); });
    const std::uint16_t after = test::controlWord();
    test::setControlWord(initial);
    if (after != chosen) {
        std::fprintf(stderr, "digest: %s leaves the control word %x as %x\n", family.name, chosen, after);
        std::exit(different);
    }
#else
    exports = record(family.exercise);
#endif
    return exports;
}

std::vector<FamilyDigest> digestsAt(simd::Level level, const Options &options) {
    simd::setLevel(level);
    std::vector<FamilyDigest> digests;
    for (const Family &family : families) {
        const ExportDigests exports = recordUnder(options, family);
        Sha256 whole;
        for (const auto &[name, digest] : exports) {
            const std::string line = name + ' ' + digest + '\n';
            whole.add(line.data(), line.size());
        }
        digests.push_back({family.name, whole.finish(), exports});
    }
    return digests;
}

/// Prints which families and exports differ between two levels, and tells whether any does.
bool differ(const std::vector<FamilyDigest> &one, simd::Level oneLevel,
            const std::vector<FamilyDigest> &other, simd::Level otherLevel) {
    bool any = false;
    for (std::size_t i = 0; i < one.size(); ++i) {
        if (one[i].digest == other[i].digest) continue;
        any = true;
        std::fprintf(stderr, "%s: %s differs from %s:", one[i].name.c_str(), simd::levelName(otherLevel),
                     simd::levelName(oneLevel));
        for (const auto &[name, digest] : one[i].exports)
            if (other[i].exports.at(name) != digest) std::fprintf(stderr, " %s", name.c_str());
        std::fprintf(stderr, "\n");
    }
    return any;
}

std::string lineOf(const FamilyDigest &family) {
    return family.name + std::string(12 - family.name.size(), ' ') + family.digest;
}

/// Prints the families whose lines a file has otherwise or not at all, and lines of families that there are
/// not.
ExitCode check(const std::vector<FamilyDigest> &digests, const char *path) {
    std::ifstream file(path);
    std::map<std::string, std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (line.ends_with('\r')) line.pop_back();
        lines[line.substr(0, line.find(' '))] = line;
    }
    if (lines.empty()) {
        std::fprintf(stderr, "digest: no digests in %s\n", path);
        return badUsage;
    }
    ExitCode result = equal;
    for (const FamilyDigest &family : digests) {
        const auto expected = lines.extract(family.name);
        if (!expected.empty() && expected.mapped() == lineOf(family)) continue;
        std::fprintf(stderr, "%s differs from %s\n", family.name.c_str(), path);
        result = different;
    }
    for (const auto &[name, line] : lines) {
        std::fprintf(stderr, "%s has %s, which is no family\n", path, name.c_str());
        result = different;
    }
    return result;
}

int run(const Options &options) {
    std::vector<simd::Level> levels;
    for (int level = 0; level <= static_cast<int>(simd::highestLevel()); ++level)
        levels.push_back(static_cast<simd::Level>(level));
    if (options.level) {
        if (*options.level > simd::highestLevel()) {
            std::fprintf(stderr, "digest: %s is not available here\n", simd::levelName(*options.level));
            return noSuchLevel;
        }
        levels = {*options.level};
    }

    const std::vector<FamilyDigest> digests = digestsAt(levels.front(), options);
    bool levelsDiffer = false;
    for (std::size_t i = 1; i < levels.size(); ++i)
        levelsDiffer |= differ(digests, levels.front(), digestsAt(levels[i], options), levels[i]);

    for (const FamilyDigest &family : digests) {
        if (!options.exports) std::printf("%s\n", lineOf(family).c_str());
        if (options.exports)
            for (const auto &[name, digest] : family.exports)
                std::printf("%s %s %s\n", family.name.c_str(), name.c_str(), digest.c_str());
    }
    std::fflush(stdout);
    const ExitCode checked = options.golden != nullptr ? check(digests, options.golden) : equal;
    return checked == equal && levelsDiffer ? different : checked;
}

} // namespace
} // namespace qzk::digest

int main(int argc, char **argv) {
    const auto options = qzk::digest::optionsOf(argc, argv);
    if (!options) {
        std::fprintf(stderr, "%s\n", qzk::digest::usage);
        return qzk::digest::badUsage;
    }
    return qzk::digest::run(*options);
}
