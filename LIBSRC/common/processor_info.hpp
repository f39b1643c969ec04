// The client's record of a processor.
#pragma once

#include "qzk.h"
#include "simd/processor.hpp"

namespace qzk {

void describeProcessor(simd::ProcessorId id, QZProcessorInfo *info);

} // namespace qzk
