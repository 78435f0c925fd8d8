// The builds of the library under comparison, each loaded as the compositor loads it and reached
// only through its entry points and IHuevane: this tree's ("now") and, when the benchmark was
// built with one, an earlier commit's ("today").
#ifndef HUEVANE_BENCH_HUEVANEBENCHLIBRARY_H
#define HUEVANE_BENCH_HUEVANEBENCHLIBRARY_H

#include <cstdint>
#include <memory>

#include "IHuevane.h"

struct HuevaneLibrary {
    const char* label;
    IHuevane* (*create)(uint32_t);
    void (*destroy)(IHuevane*);
    void (*setDeviceRoot)(const char*);

    using Engine = std::unique_ptr<IHuevane, void (*)(IHuevane*)>;
    Engine createEngine(uint32_t display) const { return Engine(create(display), destroy); }
};

// Loads the libraries once and points them at `deviceRoot`. Aborts when "now" cannot be loaded.
void loadBenchLibraries(const char* deviceRoot);
const HuevaneLibrary& nowLibrary();
// Null when the benchmark was built without the earlier tree.
const HuevaneLibrary* todayLibrary();

#endif  // HUEVANE_BENCH_HUEVANEBENCHLIBRARY_H
