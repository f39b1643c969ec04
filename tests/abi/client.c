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

int main(void) {
    checkCompiledValues();
    check(QZGetStatus() == QZ_StsOk, "initial status");
    check(QZRedirectError(handler) == QZStdError, "the console handler is installed first");
    check(QZError(QZ_StsBadArg, "f", "m", "s", 3) == QZ_StsBadArg, "the handler's result comes back");
    check(strcmp(reported, "-5 f m s 3") == 0, "the report arrives");
    check(QZGetStatus() == QZ_StsBadArg, "the status is kept");
    check(QZSetStdError() == handler, "the previous handler comes back");

    int16_t **const table = QZwAllocTable(2, 3);
    check(table != NULL && table[1] - table[0] == 3, "rows of a table are contiguous");
    check(table != NULL && QZwFreeTable(table) == 0, "a table is released");
    check(QZsAlloc2(-1, 3) == NULL && QZGetStatus() == QZ_StsNoMem, "an impossible size is refused");
    return failures != 0;
}
