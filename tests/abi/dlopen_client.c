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

int main(int argc, char **argv) {
    if (argc != 2) return 9;
    for (int round = 0; round < 2; ++round) {
        const Library library = load(argv[1]);
        if (library == NULL) {
            printReason();
            return 1;
        }
        int32_t (*const getStatus)(void) = (int32_t(*)(void))find(library, "QZGetStatus");
        void (*const setStatus)(int32_t) = (void (*)(int32_t))find(library, "QZSetStatus");
        if (getStatus == NULL || setStatus == NULL || getStatus() != 0) return 2;
        setStatus(-5);
        if (getStatus() != -5) return 3;
        if (!unload(library)) return 4;
    }
    return 0;
}
