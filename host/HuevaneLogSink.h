// One way for the tests, the tool, the fuzzers and the benchmarks to hear the library's log lines,
// whichever liblog the host has: the logger callback's form changed between liblog releases.
#ifndef HUEVANE_HOST_HUEVANELOGSINK_H
#define HUEVANE_HOST_HUEVANELOGSINK_H

struct HuevaneLogRecord {
    int priority;         // android_LogPriority
    const char* tag;      // never null
    const char* message;  // never null
};

// Returns true to pass the line on to liblog's own stderr writer as well.
using HuevaneLogSink = bool (*)(const HuevaneLogRecord& record);

// Routes every line this process writes through liblog to `sink`; nullptr restores liblog's
// stderr writer. Lines below the minimum priority never reach the sink (see
// __android_log_set_minimum_priority).
void setHuevaneLogSink(HuevaneLogSink sink);

#endif  // HUEVANE_HOST_HUEVANELOGSINK_H
