/* window_text CAPTION
 * Writes what the dialog with this caption shows, each part closed by a zero: whether it lies above other
 * windows, the colour of its icon, and its texts, those of the buttons included. */
#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

enum { dialogIcon = 1088 }; /* the identifier that the system gives it */

static BOOL CALLBACK writeText(HWND window, LPARAM unused) {
    char text[2048];
    (void)unused;
    if (GetWindowTextA(window, text, sizeof text) > 0) printf("%s%c", text, '\0');
    return TRUE;
}

/* Red, green and blue of the icon on the screen, on average. */
static void writeColour(HWND icon) {
    const HDC screen = GetDC(NULL);
    unsigned long red = 0, green = 0, blue = 0, pixels = 0;
    RECT area;
    GetWindowRect(icon, &area);
    for (long y = area.top; y < area.bottom; ++y)
        for (long x = area.left; x < area.right; ++x) {
            const COLORREF colour = GetPixel(screen, (int)x, (int)y);
            red += GetRValue(colour);
            green += GetGValue(colour);
            blue += GetBValue(colour);
            ++pixels;
        }
    ReleaseDC(NULL, screen);
    if (pixels == 0) pixels = 1;
    printf("%lu %lu %lu%c", red / pixels, green / pixels, blue / pixels, '\0');
}

int main(int count, char **arguments) {
    const HWND dialog = count == 2 ? FindWindowA("#32770", arguments[1]) : NULL;
    if (dialog == NULL) return 1;
    _setmode(_fileno(stdout), _O_BINARY);
    printf("%s%c", (GetWindowLongA(dialog, GWL_EXSTYLE) & WS_EX_TOPMOST) != 0 ? "topmost" : "normal", '\0');
    writeColour(GetDlgItem(dialog, dialogIcon));
    EnumChildWindows(dialog, writeText, 0);
    return 0;
}
