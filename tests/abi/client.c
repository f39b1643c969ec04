/* A plain C client of the shared library alone. */
#include <qzk.h>

#include <stddef.h>
#include <stdio.h>
#include <string.h>

static int failures;

static void check(int condition, const char *what) {
    if (condition) return;
    ++failures;
    printf("failed: %s\n", what);
}

static char reported[100];

static int32_t handler(int32_t status, const char *funcName, const char *message, const char *file,
                       int32_t line) {
    snprintf(reported, sizeof reported, "%d %s %s %s %d", (int)status, funcName, message, file, (int)line);
    QZSetStatus(status);
    return status;
}

/* What clients have compiled in. */
static void checkCompiledValues(void) {
    check(QZ_ScaleWrap == 0 && QZ_ScaleFixed == 1 && QZ_ScaleAuto == 2 && QZ_ScaleSaturate == 3,
          "scale modes");
    check(QZ_ErrorModeLeaf == 0 && QZ_ErrorModeReport == 1 && QZ_ErrorModeSilent == 2, "error modes");
    check(QZ_StsOk == 0 && QZ_StsNoMem == -4 && QZ_StsBadArg == -5, "status codes");
    check(QZ_FORWARD == 1 && QZ_INVERSE == 2 && QZ_NOSCALE == 8, "directions of the transforms");
    check(QZ_DTWNoBand == 1 && QZ_DTWThreshold == 64 && QZ_DTWCityBlock == 128, "modes of warping");
    check(sizeof(QZComplexFloat) == 8 && offsetof(QZComplexFloat, im) == 4, "complex floats");
    check(sizeof(QZComplexShort) == 4 && offsetof(QZComplexShort, im) == 2, "complex 16-bit integers");
}

static void checkErrors(void) {
    QZSetStatus(QZ_StsOk);
    check(QZRedirectError(handler) == QZStdError, "the console handler is installed first");
    check(QZError(QZ_StsBadArg, "f", "m", "s", 3) == QZ_StsBadArg, "the handler's result comes back");
    check(strcmp(reported, "-5 f m s 3") == 0, "the report arrives");
    check(QZGetStatus() == QZ_StsBadArg, "the status is kept");
    check(QZsAlloc2(-1, 3) == NULL && QZGetStatus() == QZ_StsNoMem, "an impossible size is refused");
    check(QZSetStdError() == handler, "the previous handler comes back");
    QZSetStatus(QZ_StsOk);
}

static void checkInformation(void) {
    QZLibraryInfo library;
    QZProcessorInfo processor;
    check(QZGetLibraryInfo(&library) == &library, "the record comes back");
    check(library.major == 3 && library.minor == 1 && library.build == 4, "version");
    check(strcmp(QZGetSpecificLibraryName(), "qzkg1.dll") == 0, "name of the module");
    QZGetProcessorInfo(&processor);
    check(processor.family > 0, "processor family");
}

static void checkTables(void) {
    int16_t **const table = QZwAllocTable(2, 3);
    check(table != NULL && table[1] - table[0] == 3, "rows of a table are contiguous");
    check(table != NULL && QZwFreeTable(table) == 0, "a table is released");
}

static void checkVectors(void) {
    uint8_t bytes[70], bits[2] = {0xF0, 0x00};
    int16_t words[70], other[70];
    float floats[70], factors[70];
    int32_t scale = 7, index = -1;
    for (int i = 0; i < 70; ++i) {
        bytes[i] = (uint8_t)i;
        words[i] = (int16_t)(900 * (i - 35));
        other[i] = 30000;
        floats[i] = (float)(i - 35);
        factors[i] = 2.0f;
    }
    QZybXor2s(255, bytes, 70);
    check(bytes[0] == 255 && bytes[69] == 186, "logic of bytes");
    QZbbNot(bits, 7, 12);
    check(bits[0] == 0x0F && bits[1] == 0xF0, "logic of bits");
    QZwbAdd2(words, other, 70, QZ_ScaleSaturate, &scale);
    check(other[0] == -1500 && other[69] == 32767 && scale == 0, "sums of words");
    QZsbMpy2(floats, factors, 70);
    check(factors[0] == -70.0f && factors[69] == 68.0f, "products of floats");
    QZsbAbs(factors, 70);
    check(factors[0] == 70.0f && factors[69] == 68.0f, "magnitudes");
    check(QZsMax(floats, 70, &index) == 34.0f && index == 69, "largest float");
    check(QZwSum(words, 70, QZ_ScaleWrap, &scale) == -31500, "sum of words");
    check(QZsDotP(floats, floats, 70) == 28595.0, "dot product");
    check(QZPower2(-3) == 0.125, "power of two");
    check(QZswbConvertDown(floats, words, 70, QZ_ScaleSaturate, &scale) == 0 && words[1] == -34,
          "conversion down");
    check(QZisConvertUp(3, -2) == 12.0f, "conversion up");
}

/* Room for what transforms and models compute, compared between calls. */
struct Results {
    float spectrum[16], window[9], cepstrum[5], output[2], viterbi, distances[2];
    int16_t words[16], best[2];
    double mixture, scores[2];
    int32_t bestPattern, bestServer;
};

static void computeSignals(struct Results *results) {
    int16_t samples[16] = {0, 0, 8};
    float frame[64];
    int32_t scale = 0;
    results->spectrum[0] = 1.0f;
    QZsRealFft(results->spectrum, 4, QZ_FORWARD);
    check(results->spectrum[0] == 1.0f && results->spectrum[1] == 1.0f && results->spectrum[2] == 1.0f,
          "spectrum of an impulse");
    QZwRealFft(samples, 4, QZ_FORWARD, QZ_ScaleSaturate, &scale);
    memcpy(results->words, samples, sizeof samples);
    check(samples[0] == 8 && samples[1] == 8, "spectrum of 16-bit samples");
    for (int i = 0; i < 9; ++i)
        results->window[i] = 1.0f;
    QZsWinHamming(results->window, 9);
    check(results->window[4] == 1.0f, "a window's middle");
    for (int i = 0; i < 64; ++i)
        frame[i] = (float)(i * i % 23) - 11.0f;
    QZMFCCFilters *const filters = QZsMFCCInit(6, 8, 0, 4000, 8000, 0, 0, 0);
    check(filters != NULL && QZsCepstralMFCC(1, frame, filters, results->cepstrum, 5) >= 0, "cepstrum");
    QZsFreeMFCCFilters(filters);
    QZFreeFftTbls();
    check(QZsFreeWinHammingTbls() >= 0, "tables of windows are released");
}

static void computeModels(struct Results *results) {
    const float near[2] = {0.25f, 1.0f}, far[2] = {5.0f, 6.0f}, weight = 1.0f, ones[2] = {1.0f, 1.0f};
    const float *const nearFrames[2] = {near, near}, *const farFrames[2] = {far, far};
    const int32_t ids[2] = {QZsPatternIni(farFrames, 2, 2), QZsPatternIni(nearFrames, 2, 2)};
    results->bestPattern = QZsEvalDTW(ids, 2, nearFrames, 2, 2, QZ_DTWNoBand, 0.0, 0, results->scores);
    check(results->bestPattern == 1 && results->scores[1] == 0.0, "the equal pattern is the nearest");
    check(QZsPatternFreeAll() >= 0, "patterns are released");

    const float *const means[1] = {near}, *const diagonals[1] = {ones};
    QZsGaussMixServer *const server = QZsInitGaussMixServer(&weight, means, NULL, diagonals, NULL, 1, 0);
    check(QZsEvalGaussMix(server, near, 2) == 1.0, "density at the mean");
    results->mixture = QZsEvalGaussMix(server, far, 2);
    QZsFreeGaussMixServer(server);

    const float costs[2][2] = {{1.0f, 2.0f}, {3.0f, 4.0f}};
    const float *const rows[2] = {costs[0], costs[1]};
    const int32_t symbols[3] = {0, 1, 0}, class = QZCreateHMMClass();
    const int32_t model = QZsInitHMMServer(rows, rows, costs[0], 2, 2, QZ_HMMCost);
    check(model > 0 && QZAddHMMToClass(class, model) >= 0, "a model joins a class");
    results->viterbi = QZsEvalHMMViterbi(-class, symbols, 3, &results->bestServer);
    check(results->bestServer == model, "the only model is the best");
    QZHMMFreeAll();

    const float codes[4] = {5.0f, 6.0f, 0.25f, 1.0f};
    QZsVQKohonen(near, 2, 2, codes, 2, results->best, 0, results->distances);
    check(results->best[0] == 2 && results->distances[1] == 0.0f, "nearest code");
    const int32_t layers[1] = {2};
    const float weights[6] = {0};
    QZsMLPerceptron(2, near, 1, layers, weights, results->output);
    check(results->output[0] == 0.5f, "a unit without weights");
}

static void checkImages(void) {
    uint8_t from[2][3] = {{1, 2, 3}, {4, 5, 6}}, to[3][3] = {{0}};
    const uint8_t *const source[2] = {from[0], from[1]};
    uint8_t *const destination[3] = {to[0], to[1], to[2]};
    const QZCopyRegion region = {0, 1, 1, 2};
    QZyCopyImage(source, destination, &region, 1, 1);
    check(to[0][0] == 0 && to[1][1] == 2 && to[2][2] == 6, "copied region");
    QZyRotateImage(source, destination, 180, 2, 3, 2, 3);
    check(to[0][0] == 6 && to[1][2] == 1, "half turn");
    const int8_t one[1] = {1};
    const void *const mask[1] = {one}, *const image[2] = {from[0], from[1]};
    void *const result[2] = {to[0], to[1]};
    int32_t shift = 0;
    QZMaskConvolve(image, mask, result, QZ_ImageByte, QZ_ImageSignedByte, QZ_ImageByte, 2, 3, 1, 1, NULL,
                   QZ_ScaleSaturate, &shift);
    check(to[0][0] == 1 && to[1][2] == 6, "convolution with a unit mask");
}

static struct Results first;
static int calls;

static void callEveryFamily(void) {
    struct Results results;
    memset(&results, 0, sizeof results);
    checkErrors();
    checkInformation();
    checkTables();
    checkVectors();
    computeSignals(&results);
    computeModels(&results);
    checkImages();
    check(QZGetStatus() == QZ_StsOk, "nothing else is reported");
    if (calls++ == 0) first = results;
    check(memcmp(&results, &first, sizeof results) == 0, "every call gives the same");
}

#if defined(__i386__)
/* Calls with a stack pointer that is `past` bytes, a multiple of 4, above a multiple of 16. */
__attribute__((noinline)) static void callOnStackAt(unsigned past, void (*call)(void)) {
    __asm__ volatile("movl %%esp, %%esi\n\t"
                     "andl $-16, %%esp\n\t"
                     "subl $16, %%esp\n\t"
                     "addl %0, %%esp\n\t"
                     "call *%1\n\t"
                     "movl %%esi, %%esp"
                     :
                     : "b"(past), "D"(call)
                     : "eax", "ecx", "edx", "esi", "cc", "memory");
}
#endif

int main(void) {
    check(QZGetStatus() == QZ_StsOk, "initial status");
    checkCompiledValues();
    callEveryFamily();
#if defined(__i386__)
    for (unsigned past = 0; past < 16; past += 4)
        callOnStackAt(past, callEveryFamily);
#endif
    return failures != 0;
}
