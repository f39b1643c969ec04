/* Loads the library at run time, as a plug-in would, and unloads it again. */
#include <stdint.h>
#include <stdio.h>

typedef void (*Function)(void);

#if defined(_WIN32)
#include <windows.h>

typedef HMODULE Library;
static Library load(const char *path) { return LoadLibraryA(path); }
static Function find(Library library, const char *name) { return (Function)GetProcAddress(library, name); }
static int unload(Library library) { return FreeLibrary(library) != 0; }
static void printReason(void) { printf("error %lu\n", GetLastError()); }
#else
#include <dlfcn.h>

typedef void *Library;
static Library load(const char *path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }
static Function find(Library library, const char *name) {
    Function function;
    *(void **)&function = dlsym(library, name);
    return function;
}
static int unload(Library library) { return dlclose(library) == 0; }
static void printReason(void) { printf("%s\n", dlerror()); }
#endif

/* Precision, rounding and traps of the x87 unit, which loading has to leave as they are. */
#if defined(__i386__) || defined(__x86_64__)
static unsigned controlWord(void) {
    uint16_t word;
    __asm__ volatile("fnstcw %0" : "=m"(word));
    return word;
}
static void setControlWord(unsigned value) {
    const uint16_t word = (uint16_t)value;
    __asm__ volatile("fldcw %0" : : "m"(word));
}
#else
static unsigned controlWord(void) { return 0; }
static void setControlWord(unsigned value) { (void)value; }
#endif

/* Loads, uses and unloads the library; 0, or the number of what went wrong. */
static int useOnce(const char *path) {
    const Library library = load(path);
    if (library == NULL) {
        printReason();
        return 1;
    }
    int32_t (*const getStatus)(void) = (int32_t(*)(void))find(library, "QZGetStatus");
    void (*const setStatus)(int32_t) = (void (*)(int32_t))find(library, "QZSetStatus");
    double (*const dotProduct)(const float *, const float *, int32_t) =
        (double (*)(const float *, const float *, int32_t))find(library, "QZsDotP");
    if (getStatus == NULL || setStatus == NULL || getStatus() != 0) return 2;
    setStatus(-5);
    if (getStatus() != -5) return 3;
    const float vector[3] = {1.0f, 2.0f, 3.0f};
    if (dotProduct == NULL || dotProduct(vector, vector, 3) != 14.0) return 4;
    if (find(library, "QZNoSuchFunction") != NULL) return 5;
    return unload(library) ? 0 : 6;
}

#if defined(_WIN32)
/* The file version of the loaded library as the system reads it, four numbers of 16 bits. */
static int versionIs(const char *path, const uint16_t expected[4]) {
    const HMODULE library = LoadLibraryExA(path, NULL, LOAD_LIBRARY_AS_DATAFILE);
    const HRSRC found = FindResourceA(library, MAKEINTRESOURCEA(1), MAKEINTRESOURCEA(16));
    if (found == NULL) return 0;
    const uint16_t *const words = (const uint16_t *)LockResource(LoadResource(library, found));
    const DWORD count = SizeofResource(library, found) / 2;
    for (DWORD i = 0; i + 8 <= count; ++i) { /* VS_FIXEDFILEINFO begins with 0xFEEF04BD */
        if (words[i] != 0x04BD || words[i + 1] != 0xFEEF) continue;
        return words[i + 5] == expected[0] && words[i + 4] == expected[1] && words[i + 7] == expected[2] &&
               words[i + 6] == expected[3];
    }
    return 0;
}
#endif

int main(int argc, char **argv) {
    if (argc != 2) return 9;
    const unsigned initial = controlWord(), chosen[3] = {0x7F, 0x27F, 0x37F};
    for (int i = 0; i < 3; ++i) {
        setControlWord(initial == 0 ? 0 : chosen[i]);
        const int failure = useOnce(argv[1]);
        const unsigned after = controlWord();
        setControlWord(initial);
        if (failure != 0) return failure;
        if (initial != 0 && after != chosen[i]) return 7;
    }
#if defined(_WIN32)
    const uint16_t version[4] = {3, 1, 4, 0};
    if (!versionIs(argv[1], version)) return 8;
#endif
    return 0;
}
