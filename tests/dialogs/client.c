/* client MODE [STATUS FUNCTION MESSAGE FILE LINE]...
 * Reports through the message-box handler in the error mode and tells what the handler returned. Without
 * reports, a library function is called with a bad argument. "-" stands for a null pointer. Ends with exit
 * code 7. */
#include "qzk.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char *textOrNull(const char *argument) { return strcmp(argument, "-") == 0 ? NULL : argument; }

static void tell(int32_t result) {
    printf("result %d status %d\n", (int)result, (int)QZGetStatus());
    fflush(stdout);
}

static void exitHandler(void) { puts("exit handler"); }

int main(int count, char **arguments) {
    atexit(exitHandler);
    QZSetWinError();
    QZSetErrMode(atoi(arguments[1]));
    if (count == 2) {
        int32_t scaleFactor = 0;
        tell(QZsiConvertDown(1, 9, &scaleFactor));
    }
    for (char **report = arguments + 2; report + 5 <= arguments + count; report += 5)
        tell(QZError(atoi(report[0]), textOrNull(report[1]), textOrNull(report[2]), textOrNull(report[3]),
                     atoi(report[4])));
    return 7;
}
