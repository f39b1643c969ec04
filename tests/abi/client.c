/* A plain C client of the shared library alone. */
#include <qzk.h>

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

int main(void) {
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
