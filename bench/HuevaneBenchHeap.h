// Heap accounting for the memory figures: every operator new and every libxml2 allocation of
// the benchmark process is counted by its usable size, so the peak of one operation can be
// compared with the size of the file it read.
#ifndef HUEVANE_BENCH_HUEVANEBENCHHEAP_H
#define HUEVANE_BENCH_HUEVANEBENCHHEAP_H

#include <cstddef>

// Routes libxml2's allocations through the counter; call before libxml2 allocates anything.
void heapInstall();
size_t heapCurrent();
size_t heapPeak();
// Starts a new peak at the current level.
void heapResetPeak();

#endif  // HUEVANE_BENCH_HUEVANEBENCHHEAP_H
