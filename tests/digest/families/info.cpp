#include "families.hpp"
#include "record.hpp"

#include <cstring>

namespace qzk::digest {

void info() {
    putText(call<QZGetSpecificLibraryName>());

    QZLibraryInfo version = {-1, -1, -1};
    put(call<QZGetLibraryInfo>(&version) == &version);
    for (const std::int32_t number : {version.major, version.minor, version.build})
        put(number);

    // What it says about the processor is the processor's.
    QZProcessorInfo processor;
    std::memset(&processor, 'x', sizeof processor);
    call<QZGetProcessorInfo>(&processor);
    put(std::memchr(processor.name, '\0', sizeof processor.name) != nullptr);
}

} // namespace qzk::digest
