// Reads a captured Android log as `adb logcat` prints it (`-v threadtime`, `time`, `brief` and
// `long`, with their modifiers: year, zone, epoch, monotonic, usec, nsec, uid, colour) or as
// liblog's stderr writer prints it on a host (up to liblog 29 "TAG P TIME PID TID MESSAGE"; later
// threadtime's prefix on a message's first line only), and keeps the lines of one tag. Every line
// is told apart on its own, so a log that mixes forms (two captures pasted together) reads too.
#ifndef HUEVANE_TOOLS_HUEVANELOGREADER_H
#define HUEVANE_TOOLS_HUEVANELOGREADER_H

#include <string>
#include <vector>

enum class HuevaneLogForm { THREADTIME, TIME, BRIEF, LONG, HOST };

const char* getLogFormName(HuevaneLogForm form);

// Whether a line starts a log entry. liblog's stderr writer prints the further lines of a
// message bare and logcat's long form prints a header per entry, so both tell; logcat's
// one-line forms repeat the prefix on every line of a message, so there a line may start an
// entry or continue the one before.
enum class HuevaneLogBoundary { ENTRY, CONTINUATION, UNKNOWN };

struct HuevaneLogLine {
    long number = 0;  // 1-based line of the log
    HuevaneLogForm form = HuevaneLogForm::THREADTIME;
    HuevaneLogBoundary boundary = HuevaneLogBoundary::ENTRY;
    int pid = -1;       // -1: not printed
    int tid = -1;       // -1: not printed (brief, time)
    char priority = 0;  // 'V', 'D', 'I', 'W', 'E', 'F'
    std::string time;   // as printed; empty in brief
    std::string text;   // one line of the message
};

// The stderr writer and the long form print a message's last newline; logcat's one-line forms
// drop it, so a message that ends in one looks the same as one that does not.
bool isFinalNewlineShown(HuevaneLogForm form);

// logd's note that it dropped lines of a process (tag "chatty").
struct HuevaneLogDrop {
    long number = 0;
    int pid = -1;
    std::string message;
};

struct HuevaneLogRead {
    std::vector<HuevaneLogLine> lines;  // of the tag, in log order
    long lineCount = 0;
    long otherLines = 0;        // other tags, logcat's buffer markers, blank lines
    std::vector<long> garbled;  // lines in no form that name the tag
    long unreadCount = 0;       // lines in no form
    // The log's last line, when the capture was cut inside it (no line break at its end): it
    // is left out, as what it held is not known.
    long cutLine = 0;
    std::vector<HuevaneLogDrop> drops;
    std::vector<HuevaneLogForm> forms;  // seen, in order of first appearance
};

HuevaneLogRead readHuevaneLog(const std::string& text, const std::string& tag);

#endif  // HUEVANE_TOOLS_HUEVANELOGREADER_H
