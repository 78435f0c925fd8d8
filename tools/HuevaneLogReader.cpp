#include "HuevaneLogReader.h"

#include <cctype>
#include <climits>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

using std::string_view;
constexpr size_t NONE = string_view::npos;

// What a line's prefix says; `message` is the rest of the line.
struct Prefix {
    HuevaneLogForm form = HuevaneLogForm::THREADTIME;
    int pid = -1;
    int tid = -1;
    char priority = 0;
    string_view tag;
    string_view time;
    string_view message;
};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

size_t countDigits(string_view s, size_t p) {
    size_t n = 0;
    while (p + n < s.size() && isDigit(s[p + n])) n++;
    return n;
}

size_t skipSpaces(string_view s, size_t p) {
    while (p < s.size() && s[p] == ' ') p++;
    return p;
}

bool isPriority(char c) {
    return c != 0 && strchr("VDIWEFS", c) != nullptr;
}

// A process or thread id; false beyond int.
bool readId(string_view digits, int* id) {
    if (digits.empty() || digits.size() > 10) return false;
    long long value = 0;
    for (char c : digits) {
        if (!isDigit(c)) return false;
        value = value * 10 + (c - '0');
    }
    if (value > INT_MAX) return false;
    *id = static_cast<int>(value);
    return true;
}

// "DD" after `separator` at p; the end or NONE.
size_t readPair(string_view s, size_t p, char separator) {
    if (p >= s.size() || s[p] != separator || countDigits(s, p + 1) != 2) return NONE;
    return p + 3;
}

// logcat's timestamps: "MM-DD HH:MM:SS.mmm" (microseconds and nanoseconds with usec and nsec,
// the year in front with year, "+hhmm" behind with zone), or seconds with a fraction (epoch,
// monotonic), right-aligned. liblog's stderr writer prints "MM-DD HH:MM:SS". Returns the end.
size_t readTime(string_view s, size_t p) {
    p = skipSpaces(s, p);
    const size_t n = countDigits(s, p);
    if (n == 0) return NONE;
    if (p + n < s.size() && s[p + n] == '.') {
        const size_t fraction = countDigits(s, p + n + 1);
        return fraction > 0 ? p + n + 1 + fraction : NONE;
    }
    if (n != 2 && n != 4) return NONE;
    p += n;
    if (n == 4 && (p = readPair(s, p, '-')) == NONE) return NONE;  // the month after a year
    if ((p = readPair(s, p, '-')) == NONE) return NONE;
    if (p >= s.size() || s[p] != ' ' || countDigits(s, p + 1) != 2) return NONE;
    p += 3;
    if ((p = readPair(s, p, ':')) == NONE || (p = readPair(s, p, ':')) == NONE) return NONE;
    if (p < s.size() && s[p] == '.') {
        const size_t fraction = countDigits(s, p + 1);
        if (fraction == 0) return NONE;
        p += 1 + fraction;
    }
    if (p + 6 <= s.size() && s[p] == ' ' && (s[p + 1] == '+' || s[p + 1] == '-') &&
        countDigits(s, p + 2) == 4) {
        p += 6;
    }
    return p;
}

// The next run of non-space characters at or after p.
string_view nextToken(string_view s, size_t* p) {
    *p = skipSpaces(s, *p);
    const size_t begin = *p;
    while (*p < s.size() && s[*p] != ' ') (*p)++;
    return s.substr(begin, *p - begin);
}

string_view trimRight(string_view s) {
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    return s;
}

// The message after "TAG: " (logcat pads short tags); also a message cut down to nothing.
bool readTagAndMessage(string_view s, size_t p, Prefix* prefix) {
    const size_t colon = s.find(':', p);
    if (colon == NONE || colon == p) return false;
    if (colon + 1 < s.size() && s[colon + 1] != ' ') return false;
    prefix->tag = trimRight(s.substr(p, colon - p));
    prefix->message = colon + 2 <= s.size() ? s.substr(colon + 2) : string_view();
    return !prefix->tag.empty();
}

string_view getTimeText(string_view s, size_t begin, size_t end) {
    begin = skipSpaces(s, begin);
    return s.substr(begin, end - begin);
}

// threadtime: "TIME [UID] PID TID P TAG: MESSAGE".
bool readThreadtime(string_view s, Prefix* prefix) {
    size_t p = readTime(s, 0);
    if (p == NONE || p >= s.size() || s[p] != ' ') return false;
    prefix->time = getTimeText(s, 0, p);
    string_view tokens[3];
    size_t count = 0;
    for (;;) {
        string_view token = nextToken(s, &p);
        if (token.empty()) return false;
        if (token.size() == 1 && isPriority(token[0]) && count >= 2) {
            prefix->priority = token[0];
            break;
        }
        if (count == 3) return false;
        tokens[count++] = token;
    }
    if (!readId(tokens[count - 2], &prefix->pid) || !readId(tokens[count - 1], &prefix->tid)) {
        return false;
    }
    prefix->form = HuevaneLogForm::THREADTIME;
    return p < s.size() && readTagAndMessage(s, p + 1, prefix);
}

// "P/TAG([UID] PID): MESSAGE", the brief form, and the time form behind a timestamp.
bool readTagged(string_view s, size_t p, Prefix* prefix) {
    if (p + 2 > s.size() || !isPriority(s[p]) || s[p + 1] != '/') return false;
    prefix->priority = s[p];
    const size_t open = s.find('(', p + 2);
    if (open == NONE) return false;
    const size_t close = s.find(')', open);
    if (close == NONE || close + 1 >= s.size() || s[close + 1] != ':' ||
        (close + 2 < s.size() && s[close + 2] != ' ')) {
        return false;
    }
    prefix->tag = trimRight(s.substr(p + 2, open - p - 2));
    const string_view inside = trimRight(s.substr(open + 1, close - open - 1));
    const size_t space = inside.rfind(' ');
    if (!readId(space == NONE ? inside : inside.substr(space + 1), &prefix->pid)) return false;
    prefix->message = close + 3 <= s.size() ? s.substr(close + 3) : string_view();
    return !prefix->tag.empty();
}

bool readTimeForm(string_view s, Prefix* prefix) {
    const size_t p = readTime(s, 0);
    if (p == NONE || p >= s.size() || s[p] != ' ') return false;
    prefix->time = getTimeText(s, 0, p);
    prefix->form = HuevaneLogForm::TIME;
    return readTagged(s, p + 1, prefix);
}

bool readBrief(string_view s, Prefix* prefix) {
    prefix->form = HuevaneLogForm::BRIEF;
    return readTagged(s, 0, prefix);
}

// long's header: "[ TIME [UID] PID: TID P/TAG ]"; the message follows on lines of its own.
bool readLongHeader(string_view s, Prefix* prefix) {
    s = trimRight(s);
    if (s.size() < 4 || s.substr(0, 2) != "[ " || s.substr(s.size() - 2) != " ]") return false;
    const size_t p = readTime(s, 2);
    if (p == NONE) return false;
    prefix->time = getTimeText(s, 2, p);
    const size_t colon = s.find(':', p);
    if (colon == NONE) return false;
    const string_view before = trimRight(s.substr(p, colon - p));
    const size_t space = before.rfind(' ');
    if (!readId(space == NONE ? before : before.substr(space + 1), &prefix->pid)) return false;
    size_t q = colon + 1;
    if (!readId(nextToken(s, &q), &prefix->tid)) return false;
    q = skipSpaces(s, q);
    if (q + 2 > s.size() || !isPriority(s[q]) || s[q + 1] != '/') return false;
    prefix->priority = s[q];
    prefix->tag = trimRight(s.substr(q + 2, s.size() - 2 - (q + 2)));
    prefix->form = HuevaneLogForm::LONG;
    return !prefix->tag.empty();
}

// liblog's stderr writer: "TAG P MM-DD HH:MM:SS PID TID MESSAGE".
bool readHost(string_view s, Prefix* prefix) {
    size_t p = 0;
    prefix->tag = nextToken(s, &p);
    if (prefix->tag.empty() || p + 3 > s.size() || !isPriority(s[p + 1]) || s[p + 2] != ' ') {
        return false;
    }
    prefix->priority = s[p + 1];
    const size_t timeBegin = p + 3;
    p = readTime(s, timeBegin);
    if (p == NONE || countDigits(s, timeBegin) != 2) return false;
    prefix->time = s.substr(timeBegin, p - timeBegin);
    if (!readId(nextToken(s, &p), &prefix->pid) || !readId(nextToken(s, &p), &prefix->tid)) {
        return false;
    }
    if (p < s.size() && s[p] != ' ') return false;
    prefix->message = p + 1 <= s.size() ? s.substr(p + 1) : string_view();
    prefix->form = HuevaneLogForm::HOST;
    return true;
}

// `adb logcat -v color` wraps every line in an ANSI colour sequence and a reset; a capture made
// on Windows ends every line in CR. Anything else in a line is the library's own text.
std::string getPlainLine(string_view line, bool crlf) {
    if (crlf && !line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.size() >= 2 && line[0] == '\x1b' && line[1] == '[') {
        const size_t end = line.find('m', 2);
        if (end != NONE) line.remove_prefix(end + 1);
    }
    const string_view reset = "\x1b[0m";
    if (line.size() >= reset.size() && line.substr(line.size() - reset.size()) == reset) {
        line.remove_suffix(reset.size());
    }
    return std::string(line);
}

class LogReader {
  public:
    LogReader(std::string tag, bool crlf, HuevaneLogRead* read)
        : mTag(std::move(tag)), mCrlf(crlf), mRead(read) {}
    void readLine(long number, const std::string& line);
    void finish() { flushLong(); }

  private:
    void add(long number, const Prefix& prefix, HuevaneLogBoundary boundary);
    void startLong(long number, const Prefix& prefix);
    void flushLong();
    void noteForm(HuevaneLogForm form);

    std::string mTag;
    bool mCrlf;
    HuevaneLogRead* mRead;
    // A long entry whose lines are still coming.
    bool mInLong = false;
    HuevaneLogLine mLong;
    bool mLongOurs = false;
    std::vector<std::pair<long, std::string>> mLongLines;
    // The last line liblog's stderr writer printed: bare lines after it are its message's.
    bool mAfterHost = false;
    bool mHostOurs = false;
    HuevaneLogLine mHost;
    // The last line in threadtime's prefix. Newer liblog's stderr writer prints that prefix too,
    // but only on a message's first line: a bare line after one tells that writer apart.
    bool mAfterThreadtime = false;
    bool mThreadtimeOurs = false;
};

void LogReader::noteForm(HuevaneLogForm form) {
    for (HuevaneLogForm seen : mRead->forms) {
        if (seen == form) return;
    }
    mRead->forms.push_back(form);
}

void LogReader::add(long number, const Prefix& prefix, HuevaneLogBoundary boundary) {
    noteForm(prefix.form);
    if (prefix.tag == "chatty") {
        mRead->drops.push_back({number, prefix.pid, std::string(prefix.message)});
    }
    if (prefix.tag != mTag) {
        mRead->otherLines++;
        return;
    }
    HuevaneLogLine line;
    line.number = number;
    line.form = prefix.form;
    line.boundary = boundary;
    line.pid = prefix.pid;
    line.tid = prefix.tid;
    line.priority = prefix.priority;
    line.time = std::string(prefix.time);
    line.text = std::string(prefix.message);
    mRead->lines.push_back(std::move(line));
}

void LogReader::startLong(long number, const Prefix& prefix) {
    flushLong();
    noteForm(HuevaneLogForm::LONG);
    if (prefix.tag == "chatty") mRead->drops.push_back({number, prefix.pid, ""});
    mInLong = true;
    mLongOurs = prefix.tag == mTag;
    mLong = HuevaneLogLine();
    mLong.number = number;
    mLong.form = HuevaneLogForm::LONG;
    mLong.pid = prefix.pid;
    mLong.tid = prefix.tid;
    mLong.priority = prefix.priority;
    mLong.time = std::string(prefix.time);
}

// The long form ends each entry with one blank line of its own.
void LogReader::flushLong() {
    if (!mInLong) return;
    mInLong = false;
    if (!mLongLines.empty() && mLongLines.back().second.empty()) mLongLines.pop_back();
    if (!mLongOurs) {
        mRead->otherLines += static_cast<long>(mLongLines.size()) + 1;
        mLongLines.clear();
        return;
    }
    if (mLongLines.empty()) mLongLines.push_back({mLong.number, ""});
    for (size_t i = 0; i < mLongLines.size(); i++) {
        HuevaneLogLine line = mLong;
        line.number = mLongLines[i].first;
        line.boundary = i == 0 ? HuevaneLogBoundary::ENTRY : HuevaneLogBoundary::CONTINUATION;
        line.text = std::move(mLongLines[i].second);
        mRead->lines.push_back(std::move(line));
    }
    mLongLines.clear();
}

void LogReader::readLine(long number, const std::string& line) {
    const std::string plain = getPlainLine(line, mCrlf);
    Prefix prefix;
    if (plain.compare(0, 10, "--------- ") == 0) {  // logcat's "beginning of main" and the like
        flushLong();
        mAfterHost = false;
        mAfterThreadtime = false;
        mRead->otherLines++;
        return;
    }
    if (readLongHeader(plain, &prefix)) {
        mAfterHost = false;
        mAfterThreadtime = false;
        startLong(number, prefix);
        return;
    }
    if (mInLong) {
        mLongLines.push_back({number, plain});
        return;
    }
    if (readHost(plain, &prefix)) {
        add(number, prefix, HuevaneLogBoundary::ENTRY);
        mAfterHost = true;
        mAfterThreadtime = false;
        mHostOurs = prefix.tag == mTag;
        if (mHostOurs) mHost = mRead->lines.back();
        return;
    }
    if (readThreadtime(plain, &prefix) || readTimeForm(plain, &prefix) ||
        readBrief(plain, &prefix)) {
        add(number, prefix, HuevaneLogBoundary::UNKNOWN);
        mAfterHost = false;
        mAfterThreadtime = prefix.form == HuevaneLogForm::THREADTIME;
        mThreadtimeOurs = prefix.tag == mTag;
        return;
    }
    // logcat prints no bare lines: a bare line after a threadtime line means that line came from
    // newer liblog's stderr writer, and the bare line continues its message. Unless it names the
    // tag, which no message of the library does: that is a garbled logcat line.
    const bool writers = mAfterThreadtime && plain.find(mTag) == std::string::npos;
    mAfterThreadtime = false;
    if (writers) {
        noteForm(HuevaneLogForm::HOST);
        mAfterHost = true;
        mHostOurs = mThreadtimeOurs;
        if (mHostOurs) {
            HuevaneLogLine& first = mRead->lines.back();
            first.form = HuevaneLogForm::HOST;
            first.boundary = HuevaneLogBoundary::ENTRY;
            mHost = first;
        }
    }
    if (mAfterHost) {  // a further plain of the message the stderr writer printed last
        if (!mHostOurs) {
            mRead->otherLines++;
            return;
        }
        HuevaneLogLine continued = mHost;
        continued.number = number;
        continued.boundary = HuevaneLogBoundary::CONTINUATION;
        continued.text = plain;
        mRead->lines.push_back(std::move(continued));
        return;
    }
    if (plain.find_first_not_of(" \t") == std::string::npos) {
        mRead->otherLines++;
        return;
    }
    mRead->unreadCount++;
    if (plain.find(mTag) != std::string::npos) mRead->garbled.push_back(number);
}

}  // namespace

const char* getLogFormName(HuevaneLogForm form) {
    switch (form) {
        case HuevaneLogForm::THREADTIME:
            return "threadtime";
        case HuevaneLogForm::TIME:
            return "time";
        case HuevaneLogForm::BRIEF:
            return "brief";
        case HuevaneLogForm::LONG:
            return "long";
        case HuevaneLogForm::HOST:
            return "host";
    }
    return "unknown";
}

bool isFinalNewlineShown(HuevaneLogForm form) {
    return form == HuevaneLogForm::HOST || form == HuevaneLogForm::LONG;
}

HuevaneLogRead readHuevaneLog(const std::string& text, const std::string& tag) {
    HuevaneLogRead read;
    const size_t firstEnd = text.find('\n');
    const bool crlf = firstEnd != std::string::npos && firstEnd > 0 && text[firstEnd - 1] == '\r';
    LogReader reader(tag, crlf, &read);
    size_t begin = 0;
    long number = 0;
    while (begin < text.size()) {
        size_t end = text.find('\n', begin);
        if (end == std::string::npos) {
            read.cutLine = ++number;
            break;
        }
        reader.readLine(++number, text.substr(begin, end - begin));
        begin = end + 1;
    }
    reader.finish();
    read.lineCount = number;
    return read;
}
