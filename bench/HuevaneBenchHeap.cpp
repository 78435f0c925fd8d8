#include "HuevaneBenchHeap.h"

#include <libxml/xmlmemory.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

int64_t gCurrent = 0;  // signed: a block counted out may have been allocated uncounted
int64_t gPeak = 0;
int64_t gAllocations = 0;
bool gCounting = false;

void* counted(void* pointer) {
    if (gCounting && pointer != nullptr) {
        gAllocations++;
        gCurrent += static_cast<int64_t>(malloc_usable_size(pointer));
        if (gCurrent > gPeak) gPeak = gCurrent;
    }
    return pointer;
}

void release(void* pointer) {
    if (gCounting && pointer != nullptr)
        gCurrent -= static_cast<int64_t>(malloc_usable_size(pointer));
    free(pointer);
}

void* countedMalloc(size_t size) {
    return counted(malloc(size));
}

void* countedRealloc(void* pointer, size_t size) {
    if (gCounting && pointer != nullptr)
        gCurrent -= static_cast<int64_t>(malloc_usable_size(pointer));
    void* moved = realloc(pointer, size);
    if (gCounting && moved == nullptr && pointer != nullptr) {
        gCurrent += static_cast<int64_t>(malloc_usable_size(pointer));
    }
    return counted(moved);
}

char* countedStrdup(const char* text) {
    size_t size = strlen(text) + 1;
    char* copy = static_cast<char*>(countedMalloc(size));
    if (copy != nullptr) memcpy(copy, text, size);
    return copy;
}

}  // namespace

void heapInstall() {
    xmlMemSetup(release, countedMalloc, countedRealloc, countedStrdup);
}

int64_t heapCurrent() {
    return gCurrent;
}

int64_t heapPeak() {
    return gPeak;
}

void heapResetPeak() {
    gPeak = gCurrent;
}

void heapCount(bool on) {
    gCounting = on;
}

int64_t heapAllocations() {
    return gAllocations;
}

void* operator new(size_t size) {
    void* pointer = countedMalloc(size == 0 ? 1 : size);
    if (pointer == nullptr) throw std::bad_alloc();
    return pointer;
}

void* operator new[](size_t size) {
    return operator new(size);
}

void operator delete(void* pointer) noexcept {
    release(pointer);
}

void operator delete[](void* pointer) noexcept {
    release(pointer);
}

void operator delete(void* pointer, size_t) noexcept {
    release(pointer);
}

void operator delete[](void* pointer, size_t) noexcept {
    release(pointer);
}
