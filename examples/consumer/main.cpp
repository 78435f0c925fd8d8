// A compositor-side consumer: loads libhuevane_default with dlopen, as a display compositor does,
// and drives one engine through IHuevane. Needs only the installed IHuevane.h.
//
// usage: huevane-consumer [LIBRARY] [DISPLAY]
#include <IHuevane.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#ifndef HUEVANE_LIBRARY
#define HUEVANE_LIBRARY "libhuevane_default.so"
#endif

using CreateInstance = IHuevane* (*)(uint32_t);
using DestroyInstance = void (*)(IHuevane*);

// Sets a mode, hands over a colour transform and builds one parcel, the way a compositor does
// on every colour change.
static int applyMode(IHuevane& engine, const HuevaneMode& mode) {
    engine.setColorModeWithRenderIntent(mode.modeId, 0);
    // Column-major 4x4: a slightly warm white point.
    const float warm[16] = {1, 0, 0, 0, 0, 0.95f, 0, 0, 0, 0, 0.88f, 0, 0, 0, 0, 1};
    engine.setColorTransform(warm, 0);
    // Ask for the size before every update: it follows what is staged.
    std::vector<uint8_t> buffer(static_cast<size_t>(engine.getColorCoefSize()));
    if (engine.updateColorCoef(buffer.data()) != 0) return 1;
    unsigned total = buffer[2] | buffer[3] << 8;  // parcel header: total_size, little-endian
    printf("mode %u (%s): parcel of %u bytes ready for the hardware block\n", mode.modeId,
           mode.modeName.c_str(), total);
    return 0;
}

int main(int argc, char** argv) {
    const char* library = argc > 1 ? argv[1] : HUEVANE_LIBRARY;
    const uint32_t display = argc > 2 ? static_cast<uint32_t>(strtoul(argv[2], nullptr, 0)) : 0;
    void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        fprintf(stderr, "cannot load %s: %s\n", library, dlerror());
        return 1;
    }
    auto create = reinterpret_cast<CreateInstance>(dlsym(handle, "createInstance"));
    auto destroy = reinterpret_cast<DestroyInstance>(dlsym(handle, "destroyInstance"));
    if (create == nullptr || destroy == nullptr) {
        fprintf(stderr, "%s lacks createInstance/destroyInstance\n", library);
        dlclose(handle);
        return 1;
    }
    int result = 0;
    IHuevane* engine = create(display);
    if (engine == nullptr) {
        // Normal on a machine without /vendor/etc/pvx: the display is simply not calibrated.
        printf("display %u has no calibration file: colour management stays off\n", display);
    } else {
        for (const HuevaneMode& mode : engine->getColorModes()) result |= applyMode(*engine, mode);
        destroy(engine);
    }
    dlclose(handle);
    return result;
}
