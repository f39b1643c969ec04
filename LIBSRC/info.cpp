// Which library and which processor.
#include "common/processor_info.hpp"

#include <cstdio>
#include <iterator>

using namespace qzk;

namespace {

constexpr const char *familyNames[] = {"i086/i088", "", "i286", "i386", "i486", "Pentium", "Pentium Pro"};
constexpr int32_t namedFamilies = std::size(familyNames);

/// Families from this one on identify model and stepping.
constexpr int32_t firstIdentifying = 4;

constexpr int32_t pentium = 5, pentiumWithMmx = 55;
constexpr std::uint32_t mmx = 1u << 23;

} // namespace

void qzk::describeProcessor(simd::ProcessorId id, QZProcessorInfo *info) {
    const auto field = [=](int lowest) { return static_cast<int32_t>(id.signature >> lowest & 15); };
    const int32_t family = field(8);
    const char *name = family < namedFamilies ? familyNames[family] : "";
    if (family < firstIdentifying) {
        info->family = family;
        info->model = 0;
        info->stepping = 0;
        std::snprintf(info->name, sizeof info->name, "%s", name);
        return;
    }
    const bool hasMmx = family == pentium && (id.features & mmx) != 0;
    if (hasMmx) name = "P55C";
    info->family = hasMmx ? pentiumWithMmx : family;
    info->model = field(4);
    info->stepping = field(0);
    std::snprintf(info->name, sizeof info->name, "%s [model %d, stepping %d]", name, info->model,
                  info->stepping);
}

extern "C" {

const char *QZGetSpecificLibraryName(void) { return "qzkg1.dll"; }

QZLibraryInfo *QZGetLibraryInfo(QZLibraryInfo *info) {
    *info = {3, 1, 4};
    return info;
}

void QZGetProcessorInfo(QZProcessorInfo *info) { describeProcessor(simd::processorId(), info); }

} // extern "C"
