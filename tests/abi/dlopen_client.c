/* Loads the library at run time, as a plug-in would, and unloads it again. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char **argv) {
    for (int round = 0; round < 2; ++round) {
        void *const library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
        if (library == NULL) {
            printf("%s\n", dlerror());
            return 1;
        }
        int32_t (*getStatus)(void);
        void (*setStatus)(int32_t);
        *(void **)&getStatus = dlsym(library, "QZGetStatus");
        *(void **)&setStatus = dlsym(library, "QZSetStatus");
        if (getStatus == NULL || setStatus == NULL || getStatus() != 0) return 2;
        setStatus(-5);
        if (getStatus() != -5) return 3;
        if (dlclose(library) != 0) return 4;
    }
    return 0;
}
