#include "record.hpp"

#include "sha256.hpp"

#include <bit>

namespace qzk::digest {
namespace {

std::map<std::string, Sha256, std::less<>> hashes;
Sha256 *current;

#if defined(__x86_64__) || defined(__i386__)

/// Chooses another x87 precision for every call of the library, which must neither notice nor change it.
class Precision {
public:
    Precision() { __asm__ volatile("fnstcw %0" : "=m"(initial_)); }
    ~Precision() { choose(initial_); }
    Precision(const Precision &) = delete;
    Precision &operator=(const Precision &) = delete;

    void next() {
        checkKept();
        constexpr unsigned bits64 = 0x300, bits53 = 0x200, bits24 = 0, all = 0x300;
        constexpr unsigned precisions[] = {bits64, bits53, bits24};
        choose(static_cast<std::uint16_t>((initial_ & ~all) | precisions[calls_++ % 3]));
    }

private:
    void choose(std::uint16_t control) {
        chosen_ = control;
        __asm__ volatile("fldcw %0" : : "m"(chosen_));
    }
    void checkKept() const {
        std::uint16_t control;
        __asm__ volatile("fnstcw %0" : "=m"(control));
        if (calls_ > 0 && control != chosen_) putText("the x87 control word has changed");
    }

    std::uint16_t initial_, chosen_ = 0;
    unsigned calls_ = 0;
};

#else

struct Precision {
    void next() {}
};

#endif

Precision *precision;

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
    Precision chosen;
    precision = &chosen;
    family();
    QZRedirectError(previous);

    ExportDigests digests;
    for (auto &[name, hash] : hashes)
        digests[name] = hash.finish();
    return digests;
}

void select(std::string_view name) {
    precision->next();
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
