// What the tests share: capturing the library's log lines and building device trees on disk.
#ifndef HUEVANE_TESTS_HUEVANETESTSUPPORT_H
#define HUEVANE_TESTS_HUEVANETESTSUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneDeviceTree.h"

struct LogLine {
    int priority;
    std::string tag;
    std::string message;
};

// Collects every line written through liblog while it lives (debug priority included).
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<LogLine>& lines() const { return mLines; }
    std::vector<std::string> messages() const;
    // Number of lines with exactly this priority and message.
    int count(int priority, const std::string& message) const;
    void clear() { mLines.clear(); }

    void add(const LogLine& line) { mLines.push_back(line); }

  private:
    std::vector<LogLine> mLines;
    int mPreviousMinimum;
};

// Bytes that end right before an unreadable (PROT_NONE) page: a read or write one byte past them
// faults at once instead of passing unnoticed.
class GuardedBytes {
  public:
    explicit GuardedBytes(const std::string& bytes);
    GuardedBytes(const void* bytes, size_t size);
    ~GuardedBytes();
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    uint8_t* data() const { return mData; }
    size_t size() const { return mSize; }
    const char* text() const { return reinterpret_cast<const char*>(mData); }

  private:
    uint8_t* mMapping;
    size_t mMappingSize;
    uint8_t* mData;
    size_t mSize;
};

// The bytes of a data-LUT header, for comparing against the documented wire bytes.
std::vector<uint8_t> headerBytes(const pvx_colormode_data_header& header);
// "DA 04 10 00 ..." -> bytes.
std::vector<uint8_t> hexBytes(const std::string& text);

#endif  // HUEVANE_TESTS_HUEVANETESTSUPPORT_H
