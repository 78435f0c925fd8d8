// Heap accounting for the memory figures: every operator new and every libxml2 allocation of
// the benchmark process is counted by its usable size, so the peak of one operation can be
// compared with the size of the file it read.
#ifndef HUEVANE_BENCH_HUEVANEBENCHHEAP_H
#define HUEVANE_BENCH_HUEVANEBENCHHEAP_H

#include <cstddef>
#include <cstdint>

// Routes libxml2's allocations through the counter; call before libxml2 allocates anything.
void heapInstall();
int64_t heapCurrent();
int64_t heapPeak();
// Starts a new peak at the current level.
void heapResetPeak();
// Counting costs a lookup per allocation; it is on only where memory is measured.
void heapCount(bool on);
// Allocations made while counting was on.
int64_t heapAllocations();

#endif  // HUEVANE_BENCH_HUEVANEBENCHHEAP_H
