#include "HuevaneBenchLibrary.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace {

HuevaneLibrary gNow{};
HuevaneLibrary gToday{};
bool gHaveToday = false;

bool load(const char* path, const char* label, const char* deviceRoot, HuevaneLibrary* library) {
    // RTLD_LOCAL: each build keeps its own internals, as two compositors' copies would.
    void* handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        return false;
    }
    library->label = label;
    library->create = reinterpret_cast<IHuevane* (*)(uint32_t)>(dlsym(handle, "createInstance"));
    library->destroy = reinterpret_cast<void (*)(IHuevane*)>(dlsym(handle, "destroyInstance"));
    library->setDeviceRoot =
            reinterpret_cast<void (*)(const char*)>(dlsym(handle, "huevaneBenchSetDeviceRoot"));
    if (!library->create || !library->destroy || !library->setDeviceRoot) return false;
    library->setDeviceRoot(deviceRoot);
    return true;
}

}  // namespace

void loadBenchLibraries(const char* deviceRoot) {
    if (!load(NOW_LIBRARY, "now", deviceRoot, &gNow)) abort();
#ifdef TODAY_LIBRARY
    gHaveToday = load(TODAY_LIBRARY, "today", deviceRoot, &gToday);
    if (!gHaveToday) abort();
#endif
}

const HuevaneLibrary& nowLibrary() {
    return gNow;
}

const HuevaneLibrary* todayLibrary() {
    return gHaveToday ? &gToday : nullptr;
}
