#include "record.hpp"

#include "sha256.hpp"

#include <bit>

namespace qzk::digest {
namespace {

std::map<std::string, Sha256, std::less<>> hashes;
Sha256 *current;

std::int32_t recordReport(std::int32_t status, const char *function, const char *message, const char *file,
                          std::int32_t line) {
    putInteger(status);
    putText(function);
    putText(message);
    putText(file);
    putInteger(line);
    if (status != QZ_StsBackTrace && status != QZ_StsAutoTrace) QZSetStatus(status);
    return status;
}

} // namespace

ExportDigests record(void (*family)()) {
    hashes.clear();
    QZSetStatus(QZ_StsOk);
    const QZErrorHandler previous = QZRedirectError(recordReport);
    family();
    QZRedirectError(previous);

    ExportDigests digests;
    for (auto &[name, hash] : hashes)
        digests[name] = hash.finish();
    return digests;
}

void select(std::string_view name) {
    const auto found = hashes.find(name);
    current = found != hashes.end() ? &found->second : &hashes[std::string(name)];
}

void putBytes(const void *data, std::size_t bytes) { current->add(data, bytes); }

void putText(const char *text) {
    const std::string_view shown = text != nullptr ? text : "(null)";
    putInteger(static_cast<std::int64_t>(shown.size()));
    putBytes(shown.data(), shown.size());
}

void putInteger(std::int64_t value) { putBytes(&value, sizeof value); }
void putReal(double value) { putElements<double>(&value, 1); }

} // namespace qzk::digest
