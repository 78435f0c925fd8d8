#define LOG_TAG "libhuevane"

#include "HuevaneStagedLuts.h"

#include <log/log.h>

namespace huevane {

void warnUnappliedDataLuts(const HuevaneDataLutList& staged) {
    if (staged.empty()) return;
    ALOGW("previous lut (%d) has not been applied\n", static_cast<int>(staged.size()));
}

void dumpStagedDataLuts(const HuevaneDataLutList& luts) {
    for (const HuevaneDataLut& lut : luts) {
        ALOGD("id[%d] attr(%d,%d,%d,%d) %s\n", lut.first.id, lut.first.attr0, lut.first.attr1,
              lut.first.attr2, lut.first.attr3, lut.second.c_str());
    }
}

}  // namespace huevane
