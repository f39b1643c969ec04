/* Finds the strongest frequency of a tone. */
#include <qzk.h>

#include <math.h>
#include <stdio.h>

int main(void) {
    enum { order = 9, n = 1 << order, rate = 8000 };
    float data[n];
    int strongest = 1;
    double most = 0.0;

    for (int i = 0; i < n; ++i)
        data[i] = sinf(6.2831853f * 1000.0f * (float)i / rate);

    QZsWinHamming(data, n);
    QZsRealFft(data, order, QZ_FORWARD);
    if (QZGetStatus() < 0) return 1;

    /* Now data holds X[0] and X[n/2], then real and imaginary parts of X[1] ... X[n/2-1]. */
    for (int k = 1; k < n / 2; ++k) {
        const double power = QZsDotP(&data[2 * k], &data[2 * k], 2);
        if (power > most) {
            most = power;
            strongest = k;
        }
    }
    printf("strongest frequency: %d Hz\n", strongest * rate / n);
    return 0;
}
