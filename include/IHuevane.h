// The one public header of libhuevane_default: what a display compositor needs to load the
// library, create an engine per display and turn colour requests into coefficient parcels.
// Self-contained: standard headers only.
#ifndef HUEVANE_IHUEVANE_H
#define HUEVANE_IHUEVANE_H

#include <cstdint>
#include <string>
#include <vector>

#if defined(__GNUC__)
#define HUEVANE_EXPORT __attribute__((visibility("default")))
#else
#define HUEVANE_EXPORT
#endif

// One colour mode of the panel, as listed by getColorModes().
struct HuevaneMode {
    uint32_t modeId = 0;
    uint32_t gamutId = 0;
    std::string modeName;
};

// One render intent of a colour mode, as listed by getRenderIntents().
struct DisplayRenderIntent {
    uint32_t intentId = 0;
    std::string intentName;
};

// One entry of setColorExtension()'s list.
//   id 0:       attribute entry; data holds `size` bytes of space-separated decimal values that
//               set the attribute bytes of the LUT entries after it.
//   id 1..12:   LUT entry for that hardware node; data is a NUL-terminated text.
//   id >= 13:   ignored.
struct HuevaneExtension {
    uint32_t id = 0;
    const char* data = nullptr;
    uint32_t size = 0;
};

// The compositor's view of one engine. The order of the virtual operations is part of the
// binary interface: never reorder, insert or remove.
class IHuevane {
  public:
    virtual ~IHuevane() {}

    virtual std::vector<HuevaneMode> getColorModes() = 0;
    virtual int32_t setColorMode(uint32_t mode) = 0;
    virtual std::vector<DisplayRenderIntent> getRenderIntents(uint32_t mode) = 0;
    virtual int32_t setColorModeWithRenderIntent(uint32_t mode, uint32_t intent) = 0;
    // `matrix` points to 16 floats; the second argument is accepted and ignored.
    virtual int32_t setColorTransform(const float* matrix, uint32_t value) = 0;
    virtual int32_t setColorExtension(std::vector<HuevaneExtension>& extensions) = 0;
    // Bytes the buffer of the next updateColorCoef() must hold; ask again before every update.
    virtual int32_t getColorCoefSize() = 0;
    // Writes one coefficient parcel into `buffer`; 0 on success, 1 when nothing was produced.
    virtual int32_t updateColorCoef(void* buffer) = 0;
    virtual void setLogLevel(int32_t level) = 0;

    virtual int32_t getPvxLutSize() { return getColorCoefSize(); }
    virtual int32_t getPvxLut(void* buffer) { return updateColorCoef(buffer); }

    // Builds an engine for display `id` without checking that a calibration file exists.
    HUEVANE_EXPORT static IHuevane* createInstance(uint32_t id);
};

extern "C" {
// Returns a new engine for display `id`, or null when the display has no calibration file.
HUEVANE_EXPORT IHuevane* createInstance(uint32_t id);
// Deletes an engine made by createInstance(); null is allowed.
HUEVANE_EXPORT void destroyInstance(IHuevane* object);
}

#endif  // HUEVANE_IHUEVANE_H
